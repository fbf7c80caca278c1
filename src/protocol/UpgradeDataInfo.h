#pragma once

#include <cstdint>

/// The upgrade procedure that a printer names.
enum UPGRADEMODE : std::int32_t {
    UPGRADEMODE_NONE = 0,
    UPGRADEMODE_U1 = 1,
    UPGRADEMODE_U2 = 2,
    UPGRADEMODE_U3 = 3,
    UPGRADEMODE_U4 = 4,
    UPGRADEMODE_U5 = 5,
    UPGRADEMODE_U6 = 6,
};

/// How a printer wants to be upgraded, and who it is. The setters take the text of an answer's field, with or
/// without its delimiters "<" and ">".
class UpgradeDataInfo {
 public:
    /// Stores the mode that "U1" to "U6" names (either case). False, and mode none, for any other text.
    bool SetUpgradeMode(const char* text);

    /// Stores the settings, cut to 511 characters; a single blank means none. Always true.
    bool SetUpgradeConfigurationSettings(const char* text);

    /// Stores "family;model;customization". False, and the stored numbers unchanged, when there are not
    /// exactly three parts or one of them does not start with a number.
    bool SetUpgradeDeviceIDs(const char* text);

    UPGRADEMODE iUpgradeMode = UPGRADEMODE_NONE;
    char strConfigurationSettings[512] = {};
    std::int32_t iFamilyID = 0;         ///< 0: any family
    std::int32_t iModelID = 0;          ///< 0: any model
    std::int32_t iCustomizationID = 0;  ///< 0: any customization
};

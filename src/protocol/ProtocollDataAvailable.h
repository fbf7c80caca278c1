#pragma once

#include <cstdint>

/// What the printer offers, and what the user chose to save of it.
///
/// Each accessor of a bit takes two booleans: with `get` true it returns whether the bit is set and changes
/// nothing; with `get` false it sets the bit when `value` is true, clears it otherwise, and returns its new
/// state.
class ProtocollDataAvailable {
 public:
    /// Clears both sets.
    void Init();

    bool SetupDataAvailable(bool get, bool value);
    bool LogoDataAvailable(bool get, bool value);
    bool UpgradeModulesAvailable(bool get, bool value);
    bool FontsDataAvailable(bool get, bool value);
    bool ToolsAvailable(bool get, bool value);
    bool UpgradePrinterAvailable(bool get, bool value);
    bool StatusPrinterAvailable(bool get, bool value);

    bool SetupDataToSave(bool get, bool value);
    bool LogoDataToSave(bool get, bool value);
    bool UpgradeModulesToSave(bool get, bool value);
    bool FontsDataToSave(bool get, bool value);
    bool ToolsToSave(bool get, bool value);
    bool UpgradePrinterToSave(bool get, bool value);
    bool StatusPrinterToSave(bool get, bool value);

    std::uint64_t Available = 0;  ///< bit 6 (0x40) has no accessor and stays as the printer sent it
    std::uint64_t ToSave = 0;
};

#include "protocol/UpgradeDataInfo.h"

#include <string>
#include <vector>

#include "protocol/ProtocollFieldInfo.h"
#include "support/GenericFunctions.h"
#include "support/Text.h"

bool UpgradeDataInfo::SetUpgradeMode(const char* text) {
    // In the order of the modes from UPGRADEMODE_U1 on.
    static const char* const kModes[] = {"U1", "U2", "U3", "U4", "U5", "U6", nullptr};
    std::string name = WithoutDelimiters(text);
    GenericFunctions::ToUpper(name.data());
    iUpgradeMode = static_cast<UPGRADEMODE>(GenericFunctions::IndexOf(kModes, name.c_str()) + 1);
    return iUpgradeMode != UPGRADEMODE_NONE;
}

bool UpgradeDataInfo::SetUpgradeConfigurationSettings(const char* text) {
    const std::string settings = WithoutDelimiters(text);
    CopyText(strConfigurationSettings, settings == " " ? "" : settings.c_str());
    return true;
}

bool UpgradeDataInfo::SetUpgradeDeviceIDs(const char* text) {
    std::string list = WithoutDelimiters(text);
    std::vector<char*> parts;
    GenericFunctions::splitModify(list.data(), ";", parts);
    if (parts.size() != 3) return false;
    int ids[3] = {};
    for (std::size_t i = 0; i < parts.size(); ++i)
        if (!GenericFunctions::ParseCheckInt(parts[i], &ids[i])) return false;
    iFamilyID = ids[0];
    iModelID = ids[1];
    iCustomizationID = ids[2];
    return true;
}

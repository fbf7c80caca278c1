#include "protocol/ProtocollDataAvailable.h"

namespace {

// Bit 6 has no accessor.
constexpr std::uint64_t kSetupData = 0x01;
constexpr std::uint64_t kLogoData = 0x02;
constexpr std::uint64_t kUpgradeModules = 0x04;
constexpr std::uint64_t kFontsData = 0x08;
constexpr std::uint64_t kTools = 0x10;
constexpr std::uint64_t kUpgradePrinter = 0x20;
constexpr std::uint64_t kStatusPrinter = 0x80;

bool Access(std::uint64_t& set, std::uint64_t bit, bool get, bool value) {
    if (!get) set = value ? set | bit : set & ~bit;
    return (set & bit) != 0;
}

}  // namespace

void ProtocollDataAvailable::Init() {
    Available = 0;
    ToSave = 0;
}

bool ProtocollDataAvailable::SetupDataAvailable(bool get, bool value) {
    return Access(Available, kSetupData, get, value);
}
bool ProtocollDataAvailable::LogoDataAvailable(bool get, bool value) {
    return Access(Available, kLogoData, get, value);
}
bool ProtocollDataAvailable::UpgradeModulesAvailable(bool get, bool value) {
    return Access(Available, kUpgradeModules, get, value);
}
bool ProtocollDataAvailable::FontsDataAvailable(bool get, bool value) {
    return Access(Available, kFontsData, get, value);
}
bool ProtocollDataAvailable::ToolsAvailable(bool get, bool value) {
    return Access(Available, kTools, get, value);
}
bool ProtocollDataAvailable::UpgradePrinterAvailable(bool get, bool value) {
    return Access(Available, kUpgradePrinter, get, value);
}
bool ProtocollDataAvailable::StatusPrinterAvailable(bool get, bool value) {
    return Access(Available, kStatusPrinter, get, value);
}

bool ProtocollDataAvailable::SetupDataToSave(bool get, bool value) {
    return Access(ToSave, kSetupData, get, value);
}
bool ProtocollDataAvailable::LogoDataToSave(bool get, bool value) {
    return Access(ToSave, kLogoData, get, value);
}
bool ProtocollDataAvailable::UpgradeModulesToSave(bool get, bool value) {
    return Access(ToSave, kUpgradeModules, get, value);
}
bool ProtocollDataAvailable::FontsDataToSave(bool get, bool value) {
    return Access(ToSave, kFontsData, get, value);
}
bool ProtocollDataAvailable::ToolsToSave(bool get, bool value) {
    return Access(ToSave, kTools, get, value);
}
bool ProtocollDataAvailable::UpgradePrinterToSave(bool get, bool value) {
    return Access(ToSave, kUpgradePrinter, get, value);
}
bool ProtocollDataAvailable::StatusPrinterToSave(bool get, bool value) {
    return Access(ToSave, kStatusPrinter, get, value);
}

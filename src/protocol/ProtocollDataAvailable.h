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
    void Init() { Available = ToSave = 0; }

    bool SetupDataAvailable(bool get, bool value) { return Access(Available, kSetup, get, value); }
    bool LogoDataAvailable(bool get, bool value) { return Access(Available, kLogo, get, value); }
    bool UpgradeModulesAvailable(bool get, bool value) { return Access(Available, kModules, get, value); }
    bool FontsDataAvailable(bool get, bool value) { return Access(Available, kFonts, get, value); }
    bool ToolsAvailable(bool get, bool value) { return Access(Available, kTools, get, value); }
    bool UpgradePrinterAvailable(bool get, bool value) { return Access(Available, kUpgrade, get, value); }
    bool StatusPrinterAvailable(bool get, bool value) { return Access(Available, kStatus, get, value); }

    bool SetupDataToSave(bool get, bool value) { return Access(ToSave, kSetup, get, value); }
    bool LogoDataToSave(bool get, bool value) { return Access(ToSave, kLogo, get, value); }
    bool UpgradeModulesToSave(bool get, bool value) { return Access(ToSave, kModules, get, value); }
    bool FontsDataToSave(bool get, bool value) { return Access(ToSave, kFonts, get, value); }
    bool ToolsToSave(bool get, bool value) { return Access(ToSave, kTools, get, value); }
    bool UpgradePrinterToSave(bool get, bool value) { return Access(ToSave, kUpgrade, get, value); }
    bool StatusPrinterToSave(bool get, bool value) { return Access(ToSave, kStatus, get, value); }

    std::uint64_t Available = 0;  ///< bit 6 (0x40) has no accessor and stays as the printer sent it
    std::uint64_t ToSave = 0;

 private:
    enum Bit : std::uint64_t {
        kSetup = 0x01,
        kLogo = 0x02,
        kModules = 0x04,
        kFonts = 0x08,
        kTools = 0x10,
        kUpgrade = 0x20,
        kStatus = 0x80,
    };

    static bool Access(std::uint64_t& set, Bit bit, bool get, bool value) {
        if (!get) set = value ? set | bit : set & ~std::uint64_t{bit};
        return (set & bit) != 0;
    }
};

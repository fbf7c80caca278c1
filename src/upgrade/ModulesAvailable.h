#pragma once

/// What a module download tells the printer's exchange about the kind of module; the values that
/// ModuleData::GetModuleID returns.
namespace ModulesAvailable {

enum ModuleType : int {
    FONTS = 1,
    FLASH_DISK = 2,
    RFID_HF = 4,
    RFID_UHF = 8,
    BLUETOOTH = 16,
    LOGOS = 64,
    RADIO_CAMERA = 128,
    OTHER = 0x8000,
};

}  // namespace ModulesAvailable

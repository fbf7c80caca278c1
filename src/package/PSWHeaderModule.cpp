#include "package/PSWHeaderModule.h"

#include "package/PSWRecord.h"
#include "support/Log.h"

namespace {

int ModuleId(std::uint64_t letter) {
    switch (letter) {
        case 'f':
            return PSWHeaderModule::FONT;
        case 'C':
            return PSWHeaderModule::CODEFONT;
        case 'd':
            return PSWHeaderModule::DATA;
        case 'u':
            return PSWHeaderModule::USBLOADER;
        case 'b':
            return PSWHeaderModule::BOOTLOADER;
        case 's':
            return PSWHeaderModule::SOFTWARE;
        case 'l':
            return PSWHeaderModule::LOGO;
        default:
            return PSWHeaderModule::OTHER;
    }
}

}  // namespace

int PSWHeaderModule::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    iNumBank = 0;
    uiBankDim = 0;
    PSWRecord record(file, position);
    record.Int("modModuleID", 1, modModuleID, ModuleId);
    record.Int("iNumModule", 1, iNumModule);
    record.Int("iTotModules", 1, iTotModules);
    record.Unsigned("uiAddrStart", 4, uiAddrStart);
    record.Unsigned("uiModuleSize", 4, uiModuleSize);
    if (modModuleID == SOFTWARE) {
        record.Int("iNumBank", 2, iNumBank);
        record.Unsigned("uiBankDim", 3, uiBankDim);
    }
    return record.Result();
}

int PSWHeaderModule::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    const std::int64_t start = static_cast<std::int64_t>(uiAddrStart) - payloadFilePosition;
    if (TakeSlice(payload, start, uiModuleSize, pData, uiDataSize)) return 0;
    Log::WriteLogP("ExtractDataBuffer", "Module %d: %llu bytes from %llu do not lie in the package",
                   iNumModule, static_cast<unsigned long long>(uiModuleSize),
                   static_cast<unsigned long long>(uiAddrStart));
    return -1;
}

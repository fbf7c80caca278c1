#include "package/PSWHeaderModule.h"

#include "package/PSWField.h"
#include "package/PSWSlice.h"
#include "support/Log.h"

const char* const PSWHeaderModule::HeaderMarker[] = {"m", nullptr};

namespace {

using M = PSWHeaderModule;

int ModuleId(std::uint64_t letter) {
    switch (letter) {
        case 'f':
            return M::FONT;
        case 'C':
            return M::CODEFONT;
        case 'd':
            return M::DATA;
        case 'u':
            return M::USBLOADER;
        case 'b':
            return M::BOOTLOADER;
        case 's':
            return M::SOFTWARE;
        case 'l':
            return M::LOGO;
        default:
            return M::OTHER;
    }
}

constexpr PSWField<M> kFields[] = {
    {"modModuleID", 1, 1, &M::modModuleID, ModuleId}, {"iNumModule", 2, 1, &M::iNumModule},
    {"iTotModules", 3, 1, &M::iTotModules},           {"uiAddrStart", 4, 4, &M::uiAddrStart},
    {"uiModuleSize", 8, 4, &M::uiModuleSize},
};
constexpr PSWField<M> kSoftwareFields[] = {
    {"iNumBank", 12, 2, &M::iNumBank},
    {"uiBankDim", 14, 3, &M::uiBankDim},
};
static_assert(FitsRecord(kFields) && FitsRecord(kSoftwareFields));

}  // namespace

int PSWHeaderModule::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    iNumBank = 0;
    uiBankDim = 0;
    if (!ReadFields(kFields, file, position, *this)) return -1;
    if (modModuleID == SOFTWARE && !ReadFields(kSoftwareFields, file, position, *this)) return -1;
    return 0;
}

int PSWHeaderModule::ExtractDataBuffer(unsigned char* payload, int payloadFilePosition) {
    const std::int64_t start = PayloadStart(uiAddrStart, true, payloadFilePosition);
    return ExtractDataBuffer(UpTo(payload, start, uiModuleSize), payloadFilePosition);
}

int PSWHeaderModule::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    const std::int64_t start = PayloadStart(uiAddrStart, true, payloadFilePosition);
    if (CopySlice(payload, start, uiModuleSize, pData, uiDataSize)) return 0;
    Log::WriteLogP("ExtractDataBuffer", "Module %d: %llu bytes from %llu do not lie in the package",
                   iNumModule, static_cast<unsigned long long>(uiModuleSize),
                   static_cast<unsigned long long>(uiAddrStart));
    return -1;
}

#include "package/PSWHeaderLogos.h"

#include "package/PSWField.h"
#include "package/PSWSlice.h"
#include "support/Log.h"

const char* const PSWHeaderLogos::HeaderMarker[] = {"l", "L", nullptr};

namespace {

using L = PSWHeaderLogos;
constexpr PSWField<L> kCommonFields[] = {
    {"iNumLogo", 1, 1, &L::iNumLogo},
    {"iTotLogos", 2, 1, &L::iTotLogos},
    {"iDotSizeX", 3, 2, &L::iDotSizeX},
    {"iDotSizeY", 5, 2, &L::iDotSizeY},
};
constexpr PSWField<L> kOldFields[] = {
    {"uiAddrStart", 7, 3, &L::uiAddrStart},
    {"iNumColors", 10, 1, &L::iNumColors},
};
constexpr PSWField<L> kNewFields[] = {
    {"uiAddrStart", 7, 4, &L::uiAddrStart},
    {"iNumColors", 11, 1, &L::iNumColors},
    {"strRelHeaderSupp", 12, 3, &L::strRelHeaderSupp},
    {"strHeaderType", 15, 1, &L::strHeaderType},
};
static_assert(FitsRecord(kCommonFields) && FitsRecord(kOldFields) && FitsRecord(kNewFields));

std::uint64_t ImageBytes(const PSWHeaderLogos& logo) {
    return static_cast<std::uint64_t>(std::int64_t{logo.iDotSizeY} * (logo.iDotSizeX / 8));
}

}  // namespace

int PSWHeaderLogos::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    iPswType = ReadForm(file, position, HeaderMarker);
    if (!ReadFields(kCommonFields, file, position, *this)) return -1;
    const bool read = iPswType == 1 ? ReadFields(kNewFields, file, position, *this)
                                    : ReadFields(kOldFields, file, position, *this);
    return read ? 0 : -1;
}

int PSWHeaderLogos::ExtractDataBuffer(unsigned char* payload, int payloadFilePosition) {
    const std::int64_t start = PayloadStart(uiAddrStart, iPswType == 1, payloadFilePosition);
    return ExtractDataBuffer(UpTo(payload, start, ImageBytes(*this)), payloadFilePosition);
}

int PSWHeaderLogos::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    const std::int64_t start = PayloadStart(uiAddrStart, iPswType == 1, payloadFilePosition);
    if (!CopySlice(payload, start, ImageBytes(*this), pData, uiDataSize)) {
        Log::WriteLogP("ExtractDataBuffer", "Logo %d does not lie in the payload: left empty", iNumLogo);
    }
    return 0;
}

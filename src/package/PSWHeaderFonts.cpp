#include "package/PSWHeaderFonts.h"

#include <algorithm>

#include "package/PSWField.h"
#include "package/PSWSlice.h"
#include "support/Log.h"

const char* const PSWHeaderFonts::HeaderMarker[] = {"f", "F", nullptr};

namespace {

using F = PSWHeaderFonts;
constexpr PSWField<F> kCommonFields[] = {
    {"iNumFont", 1, 1, &F::iNumFont},
    {"iTotFonts", 2, 1, &F::iTotFonts},
    {"iFontSizeX", 3, 1, &F::iFontSizeX},
    {"iFontSizeY", 4, 1, &F::iFontSizeY},
    {"iFontAsciiStart", 5, 1, &F::iFontAsciiStart},
    {"iFontAsciiEnd", 6, 1, &F::iFontAsciiEnd},
};
constexpr PSWField<F> kOldFields[] = {
    {"uiAddrStart", 7, 3, &F::uiAddrStart},
    {"iFontOrient", 10, 1, &F::iFontOrient},
    {"iMarginLeft", 11, 1, &F::iMarginLeft, SignedByte},
    {"iMarginRight", 12, 1, &F::iMarginRight, SignedByte},
    {"iMarginUp", 13, 1, &F::iMarginUp, SignedByte},
    {"iMarginDown", 14, 1, &F::iMarginDown, SignedByte},
    {"iSort", 15, 1, &F::iSort},
};
constexpr PSWField<F> kNewFields[] = {
    {"uiAddrStart", 7, 4, &F::uiAddrStart},
    {"iFontOrient", 11, 1, &F::iFontOrient},
    {"iMarginLeft", 12, 1, &F::iMarginLeft, SignedByte},
    {"iMarginRight", 13, 1, &F::iMarginRight, SignedByte},
    {"iMarginUp", 14, 1, &F::iMarginUp, SignedByte},
    {"iMarginDown", 15, 1, &F::iMarginDown, SignedByte},
    {"iSort", 16, 1, &F::iSort},
    {"strFontName", 17, 8, &F::strFontName},
    {"iNumModuleParent", 25, 1, &F::iNumModuleParent},
    {"strRelHeaderSupp", 26, 3, &F::strRelHeaderSupp},
    {"strHeaderType", 29, 1, &F::strHeaderType},
};
static_assert(FitsRecord(kCommonFields) && FitsRecord(kOldFields) && FitsRecord(kNewFields));

// Bytes of all glyphs. Sizes and margins that leave no glyph give 0.
std::uint64_t GlyphBytes(const PSWHeaderFonts& font) {
    const int glyphs = std::max(font.iFontAsciiEnd + 1 - font.iFontAsciiStart, 0);
    const int rowBytes = (std::max(font.iFontSizeX + font.iMarginRight, 0) + 7) / 8;
    return static_cast<std::uint64_t>(std::int64_t{glyphs} * font.iFontSizeY * rowBytes);
}

}  // namespace

int PSWHeaderFonts::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    iPswType = ReadForm(file, position, HeaderMarker);
    if (!ReadFields(kCommonFields, file, position, *this)) return -1;
    const bool read = iPswType == 1 ? ReadFields(kNewFields, file, position, *this)
                                    : ReadFields(kOldFields, file, position, *this);
    return read ? 0 : -1;
}

int PSWHeaderFonts::ExtractDataBuffer(unsigned char* payload, int payloadFilePosition) {
    const std::int64_t start = PayloadStart(uiAddrStart, iPswType == 1, payloadFilePosition);
    return ExtractDataBuffer(UpTo(payload, start, GlyphBytes(*this)), payloadFilePosition);
}

int PSWHeaderFonts::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    const std::int64_t start = PayloadStart(uiAddrStart, iPswType == 1, payloadFilePosition);
    if (!CopySlice(payload, start, GlyphBytes(*this), pData, uiDataSize)) {
        Log::WriteLogP("ExtractDataBuffer", "Font %d does not lie in the payload: left empty", iNumFont);
    }
    return 0;
}

#include "package/PSWHeaderFonts.h"

#include <algorithm>

#include "package/PSWRecord.h"
#include "support/Log.h"

namespace {

int SignedByte(std::uint64_t value) {
    return static_cast<std::int8_t>(value & 0xFF);
}

// Bytes of all glyphs. Sizes and margins that leave no glyph give 0.
std::uint64_t GlyphBytes(const PSWHeaderFonts& font) {
    const int glyphs = std::max(font.iFontAsciiEnd + 1 - font.iFontAsciiStart, 0);
    const int rowBytes = (std::max(font.iFontSizeX + font.iMarginRight, 0) + 7) / 8;
    return static_cast<std::uint64_t>(std::int64_t{glyphs} * font.iFontSizeY * rowBytes);
}

}  // namespace

int PSWHeaderFonts::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    PSWRecord record(file, position);
    iPswType = record.Form(HeaderMarker);
    record.Int("iNumFont", 1, iNumFont);
    record.Int("iTotFonts", 1, iTotFonts);
    record.Int("iFontSizeX", 1, iFontSizeX);
    record.Int("iFontSizeY", 1, iFontSizeY);
    record.Int("iFontAsciiStart", 1, iFontAsciiStart);
    record.Int("iFontAsciiEnd", 1, iFontAsciiEnd);
    record.Unsigned("uiAddrStart", iPswType == 1 ? 4 : 3, uiAddrStart);
    record.Int("iFontOrient", 1, iFontOrient);
    record.Int("iMarginLeft", 1, iMarginLeft, SignedByte);
    record.Int("iMarginRight", 1, iMarginRight, SignedByte);
    record.Int("iMarginUp", 1, iMarginUp, SignedByte);
    record.Int("iMarginDown", 1, iMarginDown, SignedByte);
    record.Int("iSort", 1, iSort);
    if (iPswType == 1) {
        record.Text("strFontName", 8, strFontName);
        record.Int("iNumModuleParent", 1, iNumModuleParent);
        record.Text("strRelHeaderSupp", 3, strRelHeaderSupp);
        record.Text("strHeaderType", 1, strHeaderType);
    }
    return record.Result();
}

int PSWHeaderFonts::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    const std::int64_t start =
        static_cast<std::int64_t>(uiAddrStart) - (iPswType == 1 ? payloadFilePosition : 0);
    if (!TakeSlice(payload, start, GlyphBytes(*this), pData, uiDataSize))
        Log::WriteLogP("ExtractDataBuffer", "Font %d does not lie in the payload: left empty", iNumFont);
    return 0;
}

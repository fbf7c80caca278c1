#pragma once

#include <cstdint>

#include "package/PSWHeader.h"

/// A font of a package.
class PSWHeaderFonts : public PSWHeader {
 public:
    PSWHeaderFonts() : PSWHeader(HTYPE_FONTS) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;
    int ExtractDataBuffer(unsigned char* payload, int payloadFilePosition) override {
        return ExtractDataBuffer(ByteView::Vouched(payload), payloadFilePosition);
    }
    int ExtractDataBuffer(ByteView payload, int payloadFilePosition) override;
    std::uint64_t DataSize() const override { return uiDataSize; }

    static constexpr const char* HeaderMarker[] = {"f", "F", nullptr};

    int iPswType = 0;
    int iNumFont = 0;
    int iTotFonts = 0;
    int iFontSizeX = 0;  ///< Dots.
    int iFontSizeY = 0;  ///< Dots.
    int iFontAsciiStart = 0;
    int iFontAsciiEnd = 0;
    std::uint64_t uiAddrStart = 0;  ///< A file position in the new form, a payload position in the old one.
    int iFontOrient = 0;
    int iMarginLeft = 0;   ///< -128 to 127, as the other margins.
    int iMarginRight = 0;  ///< Part of a glyph's width.
    int iMarginUp = 0;
    int iMarginDown = 0;
    int iSort = 0;
    PSWText strFontName{};  ///< New form only, as all that follows.
    int iNumModuleParent = 0;
    PSWText strRelHeaderSupp{};
    PSWText strHeaderType{};

    OwnedBytes pData;  ///< The glyphs, `uiDataSize` bytes; empty when they lie outside.
    std::uint64_t uiDataSize = 0;
};

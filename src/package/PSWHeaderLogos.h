#pragma once

#include <cstdint>

#include "package/PSWHeader.h"

/// A logo of a package.
class PSWHeaderLogos : public PSWHeader {
 public:
    PSWHeaderLogos() : PSWHeader(HTYPE_LOGOS) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;
    int ExtractDataBuffer(unsigned char* payload, int payloadFilePosition) override {
        return ExtractDataBuffer(ByteView::Vouched(payload), payloadFilePosition);
    }
    int ExtractDataBuffer(ByteView payload, int payloadFilePosition) override;
    std::uint64_t DataSize() const override { return uiDataSize; }

    static constexpr const char* HeaderMarker[] = {"l", "L", nullptr};

    int iPswType = 0;
    int iNumLogo = 0;
    int iTotLogos = 0;
    int iDotSizeX = 0;
    int iDotSizeY = 0;
    std::uint64_t uiAddrStart = 0;  ///< A file position in the new form, a payload position in the old one.
    int iNumColors = 0;
    PSWText strRelHeaderSupp{};  ///< New form only.
    PSWText strHeaderType{};     ///< New form only.

    OwnedBytes pData;  ///< The image, `uiDataSize` bytes; empty when it lies outside.
    std::uint64_t uiDataSize = 0;
};

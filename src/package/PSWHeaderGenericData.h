#pragma once

#include "package/PSWHeader.h"

/// A block of data of a package that has no kind of its own.
class PSWHeaderGenericData : public PSWHeader {
 public:
    PSWHeaderGenericData() : PSWHeader(HTYPE_GENERICDATA) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    static constexpr const char* HeaderMarker[] = {"d", nullptr};

    int iBlock = 0;
    int iTotBlocks = 0;
    std::uint64_t uiAddrStart = 0;
    PSWText strRelHeaderSupp{};
    PSWText strHeaderType{};
};

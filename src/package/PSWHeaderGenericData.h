#pragma once

#include "package/PSWHeader.h"

/// A block of data of a package that has no kind of its own.
class PSWHeaderGenericData : public PSWHeader {
 public:
    PSWHeaderGenericData() : PSWHeader(HTYPE_GENERICDATA) {}
    int ExtractHederInfo(unsigned char* file, int position, bool* upgradeFieldsFollow) override {
        return ExtractHederInfo(RecordAt(file, position), position, upgradeFieldsFollow);
    }
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    static const char* const HeaderMarker[];

    int iBlock = 0;
    int iTotBlocks = 0;
    std::uint64_t uiAddrStart = 0;
    PSWText strRelHeaderSupp{};
    PSWText strHeaderType{};
};

#pragma once

#include "package/PSWHeader.h"

/// Where a package holds the printer's boot loader.
class PSWHeaderBootLoader : public PSWHeader {
 public:
    PSWHeaderBootLoader() : PSWHeader(HTYPE_BOOTLOADER) {}
    int ExtractHederInfo(unsigned char* file, int position, bool* upgradeFieldsFollow) override {
        return ExtractHederInfo(RecordAt(file, position), position, upgradeFieldsFollow);
    }
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    static const char* const HeaderMarker[];

    std::uint64_t uiAddrStart = 0;
    PSWText strRelHeaderSupp{};
    PSWText strHeaderType{};
};

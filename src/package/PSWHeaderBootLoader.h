#pragma once

#include "package/PSWRecord.h"

/// Where a package holds the printer's boot loader.
class PSWHeaderBootLoader : public PSWHeader {
 public:
    PSWHeaderBootLoader() : PSWHeader(HTYPE_BOOTLOADER) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) override {
        return ReadLoader(PSWRecord(file, position), *this);
    }

    static constexpr const char* HeaderMarker[] = {"b", nullptr};

    std::uint64_t uiAddrStart = 0;
    PSWText strRelHeaderSupp{};
    PSWText strHeaderType{};
};

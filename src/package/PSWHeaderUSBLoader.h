#pragma once

#include "package/PSWRecord.h"

/// Where a package holds the printer's USB loader.
class PSWHeaderUSBLoader : public PSWHeader {
 public:
    PSWHeaderUSBLoader() : PSWHeader(HTYPE_USBLOADER) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) override {
        return ReadLoader(PSWRecord(file, position), *this);
    }

    static constexpr const char* HeaderMarker[] = {"u", nullptr};

    std::uint64_t uiAddrStart = 0;
    PSWText strRelHeaderSupp{};
    PSWText strHeaderType{};
};

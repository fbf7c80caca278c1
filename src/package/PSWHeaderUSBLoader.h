#pragma once

#include "package/PSWHeader.h"

/// Where a package holds the printer's USB loader.
class PSWHeaderUSBLoader : public PSWHeader {
 public:
    PSWHeaderUSBLoader() : PSWHeader(HTYPE_USBLOADER) {}
    int ExtractHederInfo(unsigned char* file, int position, bool* upgradeFieldsFollow) override {
        return ExtractHederInfo(RecordAt(file, position), position, upgradeFieldsFollow);
    }
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    static const char* const HeaderMarker[];

    std::uint64_t uiAddrStart = 0;
    PSWText strRelHeaderSupp{};
    PSWText strHeaderType{};
};

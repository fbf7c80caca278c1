#pragma once

#include <cstdint>

#include "package/PSWHeader.h"

/// A module inside a package. Its bytes are a complete module file, save for kind 6, the firmware itself.
class PSWHeaderModule : public PSWHeader {
 public:
    PSWHeaderModule() : PSWHeader(HTYPE_MODULE) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;
    int ExtractDataBuffer(unsigned char* payload, int payloadFilePosition) override {
        return ExtractDataBuffer(ByteView::Vouched(payload), payloadFilePosition);
    }
    int ExtractDataBuffer(ByteView payload, int payloadFilePosition) override;
    std::uint64_t DataSize() const override { return uiDataSize; }

    /// What ExtractDataBuffer took.
    ByteView Data() const { return {pData.get(), uiDataSize}; }

    static constexpr const char* HeaderMarker[] = {"m", nullptr};

    /// Values of `modModuleID`.
    enum MODULEID {
        FONT = 0,
        CODEFONT = 1,
        DATA = 2,
        USBLOADER = 3,
        BOOTLOADER = 4,
        OTHER = 5,
        SOFTWARE = 6,
        LOGO = 7
    };

    int modModuleID = 0;
    int iNumModule = 0;
    int iTotModules = 0;
    std::uint64_t uiAddrStart = 0;   ///< File position of the module's bytes.
    std::uint64_t uiModuleSize = 0;  ///< Length of the module's bytes.
    int iNumBank = 0;                ///< Banks; kind 6 only, else 0.
    std::uint64_t uiBankDim = 0;     ///< Bank size in bytes; kind 6 only, else 0.

    OwnedBytes pData;  ///< The module's bytes, `uiDataSize` of them.
    std::uint64_t uiDataSize = 0;
};

#pragma once

#include <cstdint>

#include "package/PSWHeader.h"

/// The payload of a package: the last record, and the bytes behind it.
class PSWHeaderBin : public PSWHeader {
 public:
    PSWHeaderBin() : PSWHeader(HTYPE_BIN) {}

    using PSWHeader::ExtractHederInfo;
    /// Also takes the copy of the payload; -1 when its bytes do not all lie in the file.
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    ByteView Payload() const { return {pData.get(), pData == nullptr ? 0 : uiBinLength}; }

    static constexpr const char* HeaderMarker[] = {"?", "@", nullptr};

    int iPswType = 0;
    std::uint64_t uiBinLength = 0;  ///< Bytes of the payload.
    int iNumBanks = 0;              ///< Old form only.
    std::uint64_t uiBinSize = 0;    ///< Bank size in bytes; old form only.
    int iStartDataIntoFile = 0;     ///< The payload's file position.

    OwnedBytes pData;  ///< The payload, `uiBinLength` bytes; descrambled once loaded.
};

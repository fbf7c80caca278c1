#pragma once

#include "package/PSWHeader.h"

/// The firmware of a package.
class PSWHeaderSoftware : public PSWHeader {
 public:
    PSWHeaderSoftware() : PSWHeader(HTYPE_SOFTWARE) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    static constexpr const char* HeaderMarker[] = {"s", "S", nullptr};

    int iPswType = 0;
    int iNumBank = 0;      ///< Banks of this firmware; old form only.
    int iNumTotBanks = 0;  ///< Total banks; old form only.
    std::uint64_t uiAddrStart = 0;
    PSWText strRelHeaderSupp{};  ///< New form only.
    PSWText strHeaderType{};     ///< New form only.
    int bex = 0;                 ///< 0xAA when the upgrade identifiers follow in the same record.
};

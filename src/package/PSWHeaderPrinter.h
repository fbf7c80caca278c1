#pragma once

#include "package/PSWHeader.h"

/// The printer that a package is made for, and the package's own release and checksum.
class PSWHeaderPrinter : public PSWHeader {
 public:
    PSWHeaderPrinter() : PSWHeader(HTYPE_PRINTER) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    static constexpr const char* HeaderMarker[] = {"P", nullptr};

    PSWText strPrinterModel{};
    PSWText strReleaseHW{};
    PSWText strReleasePSW{};  ///< Firmware release, 3 characters.
    PSWText strCreationDate{};
    int iNumBanksVectorInterrupt = 0;
    int iGSILow = 0;        ///< Low status-inquiry byte; scrambled until the package is loaded.
    int cComPortType = 0;   ///< 0 serial, 1 parallel, 2 anything else.
    int iScrambleByte = 0;  ///< Key of the payload; 0 not scrambled, and once it has been descrambled.
    int iPswType = 0;       ///< 1 new package, 0 old package.
    int iGSIHight = 0;      ///< High status-inquiry byte, as read.
    std::uint64_t uiChecksum = 0;
};

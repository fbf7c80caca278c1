#pragma once

#include "package/PSWHeader.h"

/// The identity that a package checks a printer against; it stands inside the software record.
class PSWHeaderUpgrade : public PSWHeader {
 public:
    PSWHeaderUpgrade() : PSWHeader(HTYPE_UPGRADE) {}
    using PSWHeader::ExtractHederInfo;
    int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) override;

    /// The byte of a software record that announces the identifiers ("bex" in the log).
    static constexpr unsigned char HeaderMarkerExtraInfo = 0xAA;

    int iPswType = 0;
    int iIDFamily = 0;
    int iIDModel = 0;
    int iIDCustomization = 0;
};

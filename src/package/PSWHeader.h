#pragma once

#include <cstdint>

#include "package/ByteView.h"

/// The kinds of header records, as `PSWHeader::iHType` holds them.
enum HTYPE {
    HTYPE_BASE = 0,
    HTYPE_PRINTER = 1,
    HTYPE_SOFTWARE = 2,
    HTYPE_LOGOS = 3,
    HTYPE_FONTS = 4,
    HTYPE_USBLOADER = 5,
    HTYPE_BOOTLOADER = 6,
    HTYPE_GENERICDATA = 7,
    HTYPE_MODULE = 8,
    HTYPE_BIN = 10,
    HTYPE_UPGRADE = 11
};

/// A text of a header record: at most 255 characters and a terminator.
using PSWText = char[256];

/// One typed header record of a package. The fields of a kind are set by ExtractHederInfo and are zero
/// before.
class PSWHeader {
 public:
    PSWHeader() = default;
    PSWHeader(const PSWHeader&) = delete;
    PSWHeader& operator=(const PSWHeader&) = delete;

    // The two operations without a bound: the caller vouches that the record, and the bytes that it asks for,
    // lie in the buffer. They forward to the bounded ones; the base's do nothing.

    virtual int ExtractHederInfo(unsigned char* file, int position, bool* upgradeFieldsFollow);
    virtual int ExtractDataBuffer(unsigned char* payload, int payloadFilePosition);

    virtual ~PSWHeader() = default;

    /// Reads the record that begins with its marker at `position` of the file and logs each field. A kind
    /// that announces the upgrade identifiers sets `*upgradeFieldsFollow` (may be null). 0, or -1 with a log
    /// line when a field, or the bytes that the record must bring with it, do not lie in the file.
    virtual int ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow);

    /// Takes a copy of the record's slice of the descrambled payload, which begins at `payloadFilePosition`
    /// of the file. 0, or -1 with a log line when the package cannot be used without the slice and it lies
    /// outside. The base's calls the operation without a bound: that is all that a kind made elsewhere has.
    virtual int ExtractDataBuffer(ByteView payload, int payloadFilePosition);

    /// Number of bytes that ExtractDataBuffer copied.
    virtual std::uint64_t DataSize() const;

    int iHType = HTYPE_BASE;

 protected:
    explicit PSWHeader(HTYPE type) : iHType(type) {}

    /// Copies `length` bytes of the payload from `start`, which is negative for an address before it, to
    /// `data` and their number to `size`; no bytes may stand anywhere. When they do not all lie in the
    /// payload, or memory is out, both are left empty and the result is false.
    static bool TakeSlice(ByteView payload, std::int64_t start, std::uint64_t length, OwnedBytes& data,
                          std::uint64_t& size);
};

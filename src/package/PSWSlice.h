#pragma once

#include <cstdint>

#include "package/ByteView.h"

/// Where a record's data begins in the payload: addresses are file positions, or payload positions in the old
/// form. Negative when the address lies before the payload.
std::int64_t PayloadStart(std::uint64_t address, bool isFilePosition, int payloadFilePosition);

/// The payload as far as the `length` bytes from `start` reach; nothing for a `start` before it.
ByteView UpTo(const unsigned char* payload, std::int64_t start, std::uint64_t length);

/// Copies `length` bytes from `start` of the payload to `data` and their number to `size`; no bytes may stand
/// anywhere. When they do not all lie in the payload, or memory is out, both are left empty and the result is
/// false.
bool CopySlice(ByteView payload, std::int64_t start, std::uint64_t length, OwnedBytes& data,
               std::uint64_t& size);

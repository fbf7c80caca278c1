#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "support/Owned.h"

/// Bytes that somebody else owns, with their number. Valid as long as the owner keeps them.
struct ByteView {
    const unsigned char* data = nullptr;
    std::size_t size = 0;

    /// Bytes whose number nobody tells: the caller vouches that whatever is asked of them is there.
    static ByteView Vouched(const unsigned char* bytes) { return {bytes, bytes == nullptr ? 0 : SIZE_MAX}; }

    /// What stands from `position` on; nothing when that is negative or lies behind the end.
    ByteView From(std::int64_t position) const {
        const auto start = static_cast<std::size_t>(position);
        return position < 0 || start > size ? ByteView{} : ByteView{data + start, size - start};
    }

    /// The `length` bytes from `start`, or nothing when they do not all lie in the view.
    std::optional<ByteView> Slice(std::size_t start, std::size_t length) const {
        if (start > size || length > size - start) return std::nullopt;
        return ByteView{data + start, length};
    }

    /// The `width` bytes (1 to 8) from `start` as a big-endian number, when they all lie in the view.
    std::optional<std::uint64_t> BigEndian(std::size_t start, std::size_t width) const {
        const std::optional<ByteView> bytes = Slice(start, width);
        if (!bytes) return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < width; ++i) value = value << 8 | bytes->data[i];
        return value;
    }
};

/// A copy of the bytes, never null for a view of none; null when memory is out.
inline OwnedBytes CopyBytes(ByteView bytes) {
    OwnedBytes copy = AllocateBytes(bytes.size);
    if (copy != nullptr) std::copy_n(bytes.data, bytes.size, copy.get());
    return copy;
}

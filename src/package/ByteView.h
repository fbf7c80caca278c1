#pragma once

#include <cstddef>
#include <optional>

#include "support/Owned.h"

/// Bytes that somebody else owns, with their number. Valid as long as the owner keeps them.
struct ByteView {
    const unsigned char* data = nullptr;
    std::size_t size = 0;

    /// The `length` bytes from `start`, or nothing when they do not all lie in the view.
    std::optional<ByteView> Slice(std::size_t start, std::size_t length) const {
        if (start > size || length > size - start) return std::nullopt;
        return ByteView{data + start, length};
    }
};

/// A copy of the bytes, never null for a view of none; null when memory is out.
OwnedBytes CopyBytes(ByteView bytes);

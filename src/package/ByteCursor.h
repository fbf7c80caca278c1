#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "package/ByteView.h"

/// Reads a view from front to back and never past its end. A read that does not fit takes nothing.
class ByteCursor {
 public:
    explicit ByteCursor(ByteView view, std::size_t position = 0) : view_(view), position_(position) {}

    /// The next `count` bytes (1 to 8) as a big-endian number.
    std::optional<std::uint64_t> BigEndian(std::size_t count) {
        const std::optional<ByteView> bytes = Take(count);
        if (!bytes) return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes->data[i];
        return value;
    }

    /// Copies the next `count` bytes to `out`, without a terminator. False when they are not all there.
    bool Text(std::size_t count, char* out) {
        const std::optional<ByteView> bytes = Take(count);
        if (!bytes) return false;
        std::transform(bytes->data, bytes->data + count, out,
                       [](unsigned char c) { return static_cast<char>(c); });
        return true;
    }

 private:
    std::optional<ByteView> Take(std::size_t count) {
        const std::optional<ByteView> bytes = view_.Slice(position_, count);
        if (bytes) position_ += count;
        return bytes;
    }

    ByteView view_;
    std::size_t position_ = 0;
};

#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

using Bytes = std::vector<unsigned char>;

/// Bytes of a text, or of several joined.
inline Bytes BytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}
inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The `length` bytes from `start`, all of which must be there.
inline Bytes Slice(const Bytes& bytes, std::size_t start, std::size_t length) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(start);
    return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

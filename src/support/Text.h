#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

/// Copies `text` into a field of fixed size, cut to fit and always terminated. It may lie in the field
/// itself.
template <std::size_t N>
void CopyText(char (&to)[N], std::string_view text) {
    const std::size_t length = std::min(text.size(), N - 1);
    if (length != 0) std::memmove(to, text.data(), length);
    to[length] = '\0';
}

/// The same with a C string; a missing one empties the field.
template <std::size_t N>
void CopyText(char (&to)[N], const char* text) {
    CopyText(to, std::string_view(text, text == nullptr ? 0 : strnlen(text, N - 1)));
}

/// A blank in the place of each byte that a terminal would take for a command: what a file or a printer sends
/// must neither steer it nor begin a line of its own.
template <class Iterator>
void BlankControls(Iterator begin, Iterator end) {
    std::replace_if(
        begin, end,
        [](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte < 0x20 || (byte >= 0x7F && byte <= 0x9F);
        },
        ' ');
}

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

/// Copies `text` into a member of fixed size, cut to fit and terminated. A missing text empties the member.
template <std::size_t N>
void CopyFixedText(char (&member)[N], const char* text) {
    const std::size_t length = text == nullptr ? 0 : strnlen(text, N - 1);
    std::copy_n(text, length, member);
    member[length] = '\0';
}

/// A field's text without its delimiters: every "<" and ">" is taken out.
inline std::string WithoutDelimiters(const char* text) {
    std::string plain(text == nullptr ? "" : text);
    plain.erase(std::remove_if(plain.begin(), plain.end(), [](char c) { return c == '<' || c == '>'; }),
                plain.end());
    return plain;
}

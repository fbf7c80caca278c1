#pragma once

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "support/Text.h"

/// The description of a file while it is put together; only its hand-over to a caller's buffer is bounded.
class InfoText {
 public:
    InfoText() = default;

    /// Begins with the text that stands in a buffer of `size` characters.
    InfoText(const char* text, std::size_t size) : text_(text, strnlen(text, size)) {}

    /// Appends by printf rules; one piece holds at most 1023 characters.
    __attribute__((format(printf, 2, 3))) void AddP(const char* format, ...) {
        std::array<char, 1024> piece{};
        std::va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(piece.data(), piece.size(), format, arguments);
        va_end(arguments);
        text_ += piece.data();
    }
    void Add(const char* text) { text_ += text; }

    /// Appends a text that a file brought, with a blank for each control character.
    void AddFromFile(std::string_view text) {
        const auto begin = static_cast<std::ptrdiff_t>(text_.size());
        text_ += text;
        BlankControls(text_.begin() + begin, text_.end());
    }

    /// Appends a line of 48 times `c`.
    void Rule(char c) { text_.append(48, c) += '\n'; }

    /// Throws away what is there.
    void Clear() { text_.clear(); }

    std::size_t Size() const { return text_.size(); }

    /// Copies the text, cut to `size` - 1 characters, and a terminator.
    void CopyTo(char* text, std::size_t size) const {
        if (size != 0) text[text_.copy(text, size - 1)] = '\0';
    }

 private:
    std::string text_;
};

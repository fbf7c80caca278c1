#include "package/InfoText.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "support/Text.h"

InfoText::InfoText(const char* text, std::size_t size) : text_(text, strnlen(text, size)) {}

void InfoText::AddP(const char* format, ...) {
    std::array<char, 1024> piece{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(piece.data(), piece.size(), format, arguments);
    va_end(arguments);
    text_ += piece.data();
}

void InfoText::AddFromFile(std::string_view text) {
    const auto begin = static_cast<std::ptrdiff_t>(text_.size());
    text_ += text;
    BlankControls(text_.begin() + begin, text_.end());
}

void InfoText::Rule(char c) {
    text_.append(48, c);
    text_ += '\n';
}

void InfoText::CopyTo(char* text, std::size_t size) const {
    if (size == 0) return;
    const std::size_t length = std::min(text_.size(), size - 1);
    std::copy_n(text_.data(), length, text);
    text[length] = '\0';
}

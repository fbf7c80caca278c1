#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The description of a file while it is put together; only its hand-over to a caller's buffer is bounded.
class InfoText {
 public:
    InfoText() = default;

    /// Begins with the text that stands in a buffer of `size` characters.
    InfoText(const char* text, std::size_t size);

    /// Appends by printf rules; one piece holds at most 1023 characters.
    void AddP(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Add(const char* text) { text_ += text; }

    /// Appends a text that a file brought, with a blank for each control character.
    void AddFromFile(std::string_view text);

    /// Appends a line of 48 times `c`.
    void Rule(char c);

    /// Throws away what is there.
    void Clear() { text_.clear(); }

    std::size_t Size() const { return text_.size(); }

    /// Copies the text, cut to `size` - 1 characters, and a terminator.
    void CopyTo(char* text, std::size_t size) const;

 private:
    std::string text_;
};

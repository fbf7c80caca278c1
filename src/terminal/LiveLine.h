#pragma once

#include <string>
#include <vector>

/// One line on standard error that is drawn again and again, and lines that stay. Does nothing where it is
/// told not to draw but print what stays.
class LiveLine {
 public:
    /// Looks at the terminal: `draws` false leaves the line away.
    explicit LiveLine(bool draws);

    /// Draws the first piece, cut to the width of the terminal, and behind it those of the others that fit.
    /// Of a wait the second piece is what is left of it, and has room kept.
    void Draw(const std::vector<std::string>& pieces, bool waiting);
    /// Takes the line away, if there is one.
    void Erase();
    /// Prints a line that stays, `strong` where it tells of something wrong.
    void Print(const std::string& text, bool strong = false);
    /// On a terminal without escapes: prints the line of a phase unless it was the last one.
    void Begin(const std::string& text);

    bool Draws() const { return draws_ && !plain_; }
    /// Whether escape sequences are understood.
    bool Plain() const { return plain_; }

 private:
    static std::size_t Width();

    bool draws_;
    bool plain_;
    bool colours_;
    bool shown_ = false;
    std::string begun_;
};

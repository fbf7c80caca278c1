#pragma once

/// While a printer is written to: the first interrupt from the terminal is answered with what an interruption
/// would leave behind, a second one within five seconds ends the run, and a hang-up does not. Only where
/// standard input and standard error are a terminal; otherwise, and outside of the window, signals do what
/// they always do. Process-wide.
class Interruption {
 public:
    Interruption() = delete;

    /// Opens the window, or changes what it says. `leaves` lives as long as the program; `plain`: without
    /// escapes.
    static void Open(const char* leaves, bool plain);
    static void Close();
};

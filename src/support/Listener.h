#pragma once

#include <cstdint>

/// Hears what passes through the places that everything passes: each log line (also when the log is off),
/// each wait that has a limit, each byte written, and what is in none of these as a small event. Only a run
/// at a terminal has one; without it each of these places makes one test of a pointer. Process-wide, for one
/// thread.
class Listener {
 public:
    enum class Event {
        SystemError,  ///< `number`: the errno of what the next line tells
        Procedure,    ///< `number`: n of the procedure Un, before its first step
        Output,       ///< something is about to be printed on standard output
        LastLine,     ///< `text`, the last line of the run, is about to be printed
    };

    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener() = default;

    /// `key` is the line as the code has it, `text` as it is logged; the two differ where numbers are filled
    /// in.
    virtual void OnLine(const char* tag, const char* key, const char* text) = 0;
    /// A wait that ends after `us` at the latest begins.
    virtual void OnLimit(std::uint64_t us) = 0;
    /// Some time of a wait has passed.
    virtual void OnTurn() = 0;
    /// A port took `count` bytes; 0: it was asked and takes none yet.
    virtual void OnBytes(unsigned int count) = 0;
    /// A module of `size` bytes is about to be written.
    virtual void OnModule(const unsigned char* data, int size) = 0;
    virtual void OnEvent(Event event, long number, const char* text) = 0;

    static Listener* Get() { return installed_; }
    /// Puts `listener` (not owned, must outlive its use) in force; null: nobody listens.
    static void Install(Listener* listener) { installed_ = listener; }

    static void Wrote(unsigned int count) {
        if (installed_ != nullptr) installed_->OnBytes(count);
    }
    static void Tell(Event event, long number = 0, const char* text = "") {
        if (installed_ != nullptr) installed_->OnEvent(event, number, text);
    }

 private:
    inline static Listener* installed_ = nullptr;
};

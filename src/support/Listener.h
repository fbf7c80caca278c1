#pragma once

#include <cstdint>

/// Hears what passes through the places that everything passes: each log line (also when the log is off),
/// each wait that ends at the latest some time, each byte written, and what is in none of these as a small
/// event. Only a run at a terminal has one; without it each of these places tests one pointer. Process-wide,
/// for one thread.
class Listener {
 public:
    enum class Event {
        kLimit,        ///< a wait that ends after `number` microseconds at the latest begins
        kWritten,      ///< a port took `number` bytes, if any
        kModule,       ///< a module of `number` bytes, `text`, is about to be written
        kSystemError,  ///< `number`: the errno of what the next line tells
        kProcedure,    ///< `number`: n of the procedure Un, before its first step
        kOutput,  ///< something is about to be printed on standard output; `text`: the last line of the run
    };

    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener() = default;

    /// `key` is the line as the code has it, `text` as it is logged: with what is filled in.
    virtual void OnLine(const char* tag, const char* key, const char* text) = 0;
    virtual void OnEvent(Event event, std::int64_t number, const char* text) = 0;

    static Listener* Get() { return installed_; }
    /// Puts `listener` (not owned, must outlive its use) in force; null: nobody listens.
    static void Install(Listener* listener) { installed_ = listener; }
    static void Tell(Event event, std::int64_t number, const char* text = "") {
        if (installed_ != nullptr) installed_->OnEvent(event, number, text);
    }

 private:
    inline static Listener* installed_ = nullptr;
};

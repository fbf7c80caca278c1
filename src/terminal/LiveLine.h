#pragma once

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "support/Clock.h"

/// What the live line shows of a run. Times are the clock's microseconds.
struct Progress {
    std::string text = "starting";  ///< what is being done
    const char* leaves = "";        ///< what an interruption would leave behind
    bool counts = false;            ///< the bytes written count
    std::int64_t limitUs = 0;       ///< when a wait is over at the latest; 0: nothing limits it
    std::int64_t total = 0;         ///< bytes of the module or the firmware
    std::int64_t sent = 0;
    std::int64_t fromUs = 0;   ///< the rate is measured from here
    std::int64_t gone = 0;     ///< bytes since then
    std::int64_t takenUs = 0;  ///< when the printer took bytes last

    static std::int64_t Now() { return static_cast<std::int64_t>(Clock::Get().MonotonicUs()); }
};

/// One line on standard error that is drawn ten times a second, and lines that stay. A thread of its own
/// writes them, so that a terminal that is stopped or slow holds up nothing. Where standard error is no
/// terminal there is no such thread and no live line.
class LiveLine {
 public:
    /// `draws` false: only lines that stay. The other two are printed when the printer has taken no byte for
    /// 30 s.
    LiveLine(bool draws, const std::string& stalled, const std::string& advice);
    LiveLine(const LiveLine&) = delete;
    LiveLine& operator=(const LiveLine&) = delete;
    ~LiveLine() { End(); }

    /// Has `change` alter what is shown.
    void Change(const std::function<void(Progress&)>& change);
    /// Prints a line that stays, `strong` where it tells of something wrong.
    void Print(const std::string& text, bool strong = false);
    /// A terminal without escapes gets a line a phase instead of the live line.
    bool OfPlainLines() const { return plain_ && draws_; }
    /// Takes the live line away for good, within two seconds: a terminal that takes nothing for that long
    /// gets nothing more.
    void End();

 private:
    static void* Draw(void* line);
    std::string Staying(const std::string& text, bool strong = false) const;
    std::string Line(std::int64_t now) const;
    /// What is to be written now; `last`: nothing after it.
    std::string Turn(bool& last);

    pthread_t thread_{};
    bool running_ = false;
    bool held_ = false;
    const std::int64_t startUs_ = Progress::Now();
    const bool draws_;
    bool plain_ = false;
    bool colours_ = false;
    // What both threads use, under the mutex.
    std::mutex mutex_;
    Progress progress_;
    std::string pending_;  ///< lines that stay
    std::string stalled_;
    bool shown_ = false;
    bool ends_ = false;
};

/// While a printer is written to: the first interrupt from the terminal is only told, a second one within
/// five seconds ends the run, and a hang-up does not. Only where standard input and standard error are a
/// terminal; otherwise, and outside of the window, signals do what they always do. Process-wide.
namespace Interruption {

void Open();
void Close();
/// Whether a first interrupt came since this was last asked. Any thread may ask.
bool Asked();

}  // namespace Interruption

#pragma once

#include <cstdint>

#include "support/Clock.h"

/// Keeps a polling loop from spinning: a read normally waits for the port's read time-out, but on a closed or
/// refused connection it comes back at once with nothing. Make one before the loop and call `AfterRead` once
/// in each turn; a turn that brought nothing then lasts at least kTurnMs, and turns that bring bytes or that
/// waited by themselves are not delayed.
class ReadPacer {
 public:
    static constexpr std::int64_t kTurnMs = 20;

    ReadPacer() : turnBeganUs_(NowUs()) {}

    /// `bytes`: what the turn's read (or write) moved. Waits for the rest of the turn when that is nothing. A
    /// clock that cannot be read, or that was set back, makes it wait for a whole turn.
    void AfterRead(unsigned int bytes) {
        if (bytes == 0) {
            const std::int64_t tookMs = (NowUs() - turnBeganUs_) / 1000;
            SleepMs(tookMs >= 0 && tookMs < kTurnMs ? kTurnMs - tookMs : tookMs < 0 ? kTurnMs : 0);
        }
        turnBeganUs_ = NowUs();
    }

 private:
    // A clock that cannot be read gives 0 each time, hence turns that took no time.
    static std::int64_t NowUs() {
        timeval now{};
        if (!Clock::Get().Now(now)) return 0;
        return std::int64_t{now.tv_sec} * 1000000 + now.tv_usec;
    }

    std::int64_t turnBeganUs_;
};

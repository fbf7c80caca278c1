#pragma once

#include <cstdint>

#include "support/Clock.h"
#include "support/Deadline.h"

/// Keeps a polling loop from spinning: a read normally waits for the port's read time-out, but on a closed or
/// refused connection it comes back at once with nothing. Make one before the loop and call `AfterRead` once
/// in each turn; a turn that brought nothing then lasts at least kTurnMs, and turns that bring bytes or that
/// waited by themselves are not delayed.
class ReadPacer {
 public:
    static constexpr std::int64_t kTurnMs = 20;

    /// `bytes`: what the turn's read (or write) moved. Waits for the rest of the turn when that is nothing.
    void AfterRead(unsigned int bytes) {
        if (bytes == 0) SleepMs(turn_.LeftMs());
        turn_ = Deadline(kTurnMs);
    }

 private:
    Deadline turn_{kTurnMs};
};

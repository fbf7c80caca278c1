#pragma once

#include <cstdint>

#include "support/Clock.h"

/// What WaitForDescriptor waits for.
enum class DescriptorEvent { Readable, Writable };

/// Waits with `select` until the descriptor is ready, at most `ms` milliseconds of the program's clock.
/// False on time-out, on error and on a descriptor that is closed (-1) or beyond what `select` can hold.
/// Signals do not end the wait early.
bool WaitForDescriptor(int fd, DescriptorEvent event, unsigned int ms);

/// Keeps a polling loop from spinning: a read normally waits for the port's read time-out, but on a closed or
/// refused connection it comes back at once with nothing. Make one before the loop and call `AfterRead` once
/// in each turn; a turn that brought nothing then lasts at least kTurnMs, and turns that bring bytes or that
/// waited by themselves are not delayed.
class ReadPacer {
 public:
    static constexpr std::int64_t kTurnMs = 20;

    /// `bytes`: what the turn's read (or write) moved. Waits for the rest of the turn when that is nothing.
    void AfterRead(unsigned int bytes) {
        if (bytes == 0) Sleep({turn_.LeftMs()});
        turn_ = Deadline(Wait{kTurnMs});
    }

 private:
    Deadline turn_{Wait{kTurnMs}};
};

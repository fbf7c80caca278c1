#pragma once

#include <cstdint>

#include "support/Clock.h"

namespace simulator {

/// A clock that runs at a set rate: with rate 100 a minute passes in 0.6 real seconds. Two processes with the
/// same rate agree on how long things take, not on the time of day. In force from construction to
/// destruction; made and destroyed while there is one thread, read by any number.
class ScaledClock final : public Clock {
 public:
    /// `rate` of at least 1. No blocking call is given less than `floorMs` real milliseconds, so that a
    /// loaded machine does not turn an answer into silence; the simulator's own side needs no such floor (1).
    ScaledClock(unsigned int rate, unsigned int floorMs);
    ~ScaledClock() override;

    bool Now(timeval& now) override;
    std::uint64_t MonotonicUs() override;
    void SleepMicroseconds(std::uint64_t us) override;
    unsigned int BlockingTimeout(unsigned int ms) override;

 private:
    Clock& real_;
    std::uint64_t rate_;
    unsigned int floorMs_;
    std::uint64_t startUs_;  ///< both clocks as the scaled one began
    std::uint64_t wallUs_ = 0;
};

/// Milliseconds of the clock in force, as the transports hand them to a model.
std::uint64_t NowMs();

/// Real milliseconds that a transport may sleep until that time of the clock in force. A few at most: what
/// reaches a shared model by another transport may have changed its mind.
unsigned int RealWaitMs(std::uint64_t until);

}  // namespace simulator

#pragma once

#include <sys/time.h>

#include <cstdint>

#include "support/Listener.h"

/// The one place of the program that reads a clock or waits. Tests install a clock of their own, so that
/// hours of protocol pass in seconds; the program runs on the system's.
class Clock {
 public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// Wall-clock time with microseconds, for stamps only: it may be set at any moment. False when the clock
    /// cannot be read (`now` is then untouched).
    virtual bool Now(timeval& now) = 0;

    /// Microseconds since some fixed moment. Nobody sets this clock and it never fails: every interval is
    /// measured with it.
    virtual std::uint64_t MonotonicUs() = 0;

    /// Waits for `us` microseconds; returns at once for 0.
    virtual void SleepMicroseconds(std::uint64_t us) = 0;

    /// The real milliseconds to hand to a blocking call (select, a socket option, libusb) so that it ends
    /// when `ms` of this clock have passed. 0 stays 0; everything else gives at least 1.
    virtual unsigned int BlockingTimeout(unsigned int ms) = 0;

    /// The clock in force.
    static Clock& Get();

    /// Puts `clock` (not owned, must outlive its use) in force; null puts the system's clock back.
    static void Install(Clock* clock);
};

/// A wait of `ms` milliseconds times the run's time-out multiplier: any int that the command line named. The
/// product is bounded by 64 bits; a factor below 1 means no wait.
struct Wait {
    std::int64_t ms = 0;
    std::int64_t timem = 1;

    std::int64_t Ms() const {
        std::int64_t product = 0;
        if (ms < 1 || timem < 1) return 0;
        return __builtin_mul_overflow(ms, timem, &product) ? INT64_MAX : product;
    }
};

/// Waits on the clock in force, some 24 days at most.
void Sleep(Wait wait);

/// The moment at which a wait that begins now is over, whatever the wall clock does meanwhile.
class Deadline {
 public:
    explicit Deadline(Wait wait) : endUs_(NowUs()) {
        std::int64_t us = 0;
        if (__builtin_mul_overflow(wait.Ms(), 1000, &us) || __builtin_add_overflow(endUs_, us, &endUs_)) {
            endUs_ = INT64_MAX;
        }
        Listener::Tell(Listener::Event::kLimit, us);
    }

    bool IsOver() const { return NowUs() >= endUs_; }

    /// What is left, a part of a millisecond taken as a whole one; 0 when it is over.
    std::int64_t LeftMs() const {
        const std::int64_t leftUs = endUs_ - NowUs();
        return leftUs <= 0 ? 0 : (leftUs - 1) / 1000 + 1;
    }

 private:
    static std::int64_t NowUs() { return static_cast<std::int64_t>(Clock::Get().MonotonicUs()); }

    std::int64_t endUs_;
};

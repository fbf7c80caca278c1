#pragma once

#include <sys/time.h>

#include <cstdint>

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

/// Waits `ms` × `multiplier` milliseconds. The product is taken in 64 bits; below 1 it does not wait.
void SleepMs(std::int64_t ms, std::int64_t multiplier = 1);

/// Waits `seconds` × `multiplier` seconds, as SleepMs.
void SleepSeconds(std::int64_t seconds, std::int64_t multiplier = 1);

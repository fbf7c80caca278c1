#pragma once

#include <cstdint>

#include "support/Clock.h"

/// Leaves out the waits between the phases of an upgrade and keeps the pauses inside a transfer.
class PhaselessClock final : public Clock {
 public:
    PhaselessClock() { Install(this); }
    ~PhaselessClock() override { Install(nullptr); }
    bool Now(timeval& now) override { return system_.Now(now); }
    std::uint64_t MonotonicUs() override { return system_.MonotonicUs(); }
    void SleepMicroseconds(std::uint64_t us) override {
        if (us < 100) system_.SleepMicroseconds(us);
    }
    unsigned int BlockingTimeout(unsigned int ms) override { return ms; }

 private:
    Clock& system_ = Clock::Get();
};

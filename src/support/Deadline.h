#pragma once

#include <cstdint>

#include "support/Clock.h"

/// The moment at which a wait is over: `ms` × `multiplier` milliseconds after its making, whatever the wall
/// clock does meanwhile. The product is bounded by 64 bits; when a factor is below 1 it is over at once.
class Deadline {
 public:
    explicit Deadline(std::int64_t ms, std::int64_t multiplier = 1) : endUs_(NowUs()) {
        std::int64_t us = 0;
        if (ms < 1 || multiplier < 1) return;
        if (__builtin_mul_overflow(ms, multiplier, &us) || __builtin_mul_overflow(us, 1000, &us) ||
            __builtin_add_overflow(endUs_, us, &endUs_)) {
            endUs_ = INT64_MAX;
        }
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

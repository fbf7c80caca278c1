#include "simulator/ScaledClock.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr std::uint64_t kUsPerSecond = 1000000;

std::uint64_t Microseconds(Clock& clock) {
    timeval now{};
    clock.Now(now);
    return static_cast<std::uint64_t>(now.tv_sec) * kUsPerSecond + static_cast<std::uint64_t>(now.tv_usec);
}

}  // namespace

ScaledClock::ScaledClock(unsigned int rate, unsigned int floorMs)
    : real_(Get()), rate_(std::max(rate, 1U)), floorMs_(floorMs), startUs_(Microseconds(real_)) {
    Install(this);
}

ScaledClock::~ScaledClock() {
    Install(nullptr);
}

bool ScaledClock::Now(timeval& now) {
    const std::uint64_t realUs = std::max(Microseconds(real_), startUs_);
    const std::uint64_t us = startUs_ + (realUs - startUs_) * rate_;
    now.tv_sec = static_cast<time_t>(us / kUsPerSecond);
    now.tv_usec = static_cast<suseconds_t>(us % kUsPerSecond);
    return true;
}

void ScaledClock::SleepMicroseconds(std::uint64_t us) {
    real_.SleepMicroseconds((us + rate_ - 1) / rate_);
}

unsigned int ScaledClock::BlockingTimeout(unsigned int ms) {
    if (ms == 0) return 0;
    const std::uint64_t scaled = (ms + rate_ - 1) / rate_;
    return std::max(static_cast<unsigned int>(scaled), std::max(floorMs_, 1U));
}

std::uint64_t NowMs() {
    return Microseconds(Clock::Get()) / 1000;
}

}  // namespace simulator

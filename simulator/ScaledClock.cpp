#include "simulator/ScaledClock.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr std::uint64_t kUsPerSecond = 1000000;
constexpr unsigned int kLongestWaitMs = 20;

}  // namespace

ScaledClock::ScaledClock(unsigned int rate, unsigned int floorMs)
    : real_(Get()), rate_(std::max(rate, 1U)), floorMs_(floorMs), startUs_(real_.MonotonicUs()) {
    timeval now{};
    real_.Now(now);
    wallUs_ = static_cast<std::uint64_t>(now.tv_sec) * kUsPerSecond + static_cast<std::uint64_t>(now.tv_usec);
    Install(this);
}

ScaledClock::~ScaledClock() {
    Install(nullptr);
}

bool ScaledClock::Now(timeval& now) {
    const std::uint64_t us = wallUs_ + MonotonicUs() - startUs_;
    now.tv_sec = static_cast<time_t>(us / kUsPerSecond);
    now.tv_usec = static_cast<suseconds_t>(us % kUsPerSecond);
    return true;
}

std::uint64_t ScaledClock::MonotonicUs() {
    return startUs_ + (real_.MonotonicUs() - startUs_) * rate_;
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
    return Clock::Get().MonotonicUs() / 1000;
}

unsigned int RealWaitMs(std::uint64_t until) {
    const std::uint64_t now = NowMs();
    const std::uint64_t left = until > now ? std::min<std::uint64_t>(until - now, INT32_MAX) : 1;
    return std::min(Clock::Get().BlockingTimeout(static_cast<unsigned int>(left)), kLongestWaitMs);
}

}  // namespace simulator

#include "support/Clock.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace {

class SystemClock final : public Clock {
 public:
    bool Now(timeval& now) override {
        timeval read{};
        if (gettimeofday(&read, nullptr) != 0) return false;
        now = read;
        return true;
    }

    std::uint64_t MonotonicUs() override {
        timespec read{};
        clock_gettime(CLOCK_MONOTONIC, &read);
        return static_cast<std::uint64_t>(read.tv_sec) * 1000000 +
               static_cast<std::uint64_t>(read.tv_nsec) / 1000;
    }

    void SleepMicroseconds(std::uint64_t us) override {
        timespec left{static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000) * 1000};
        while (us != 0 && clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
        }
    }

    unsigned int BlockingTimeout(unsigned int ms) override { return ms; }
};

Clock* installed = nullptr;

constexpr std::int64_t kLongestSleepMs = INT32_MAX;

}  // namespace

Clock& Clock::Get() {
    static SystemClock system;
    return installed != nullptr ? *installed : system;
}

void Clock::Install(Clock* clock) {
    installed = clock;
}

void Sleep(Wait wait) {
    const std::int64_t ms = std::min(wait.Ms(), kLongestSleepMs);
    if (ms <= 0) return;
    Listener::Tell(Listener::Event::kLimit, ms * 1000);
    Clock::Get().SleepMicroseconds(static_cast<std::uint64_t>(ms) * 1000);
}

#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>
#include <vector>

#include "support/Clock.h"

/// A clock that stands still until somebody waits: waits pass at once and are kept in order. Blocking calls
/// on real descriptors last `blockingMs` at most, whatever they ask. Whenever time passes, its wall clock is
/// also set, ever more days ahead and back in turn, and nothing that waits may notice. In force from
/// construction to destruction.
class VirtualClock final : public Clock {
 public:
    explicit VirtualClock(std::uint64_t startMs = 1700000000000) : nowUs_(startMs * 1000) { Install(this); }
    ~VirtualClock() override { Install(nullptr); }

    bool Now(timeval& now) override {
        if (!readable) return false;
        const int days = (steps_ + 1) / 2 % 10000 * (steps_ % 2 != 0 ? 1 : -1);
        now.tv_sec = static_cast<time_t>(nowUs_ / 1000000) + time_t{86400} * days;
        now.tv_usec = static_cast<suseconds_t>(nowUs_ % 1000000);
        return true;
    }

    std::uint64_t MonotonicUs() override { return nowUs_; }

    void SleepMicroseconds(std::uint64_t us) override {
        Pass(us);
        waits.push_back(us);
        if (onWait) onWait();
    }

    unsigned int BlockingTimeout(unsigned int ms) override {
        blocking.push_back(ms);
        return std::min(ms, blockingMs);
    }

    /// Lets time pass without a wait of the program's, as a scripted read that times out does.
    void Advance(std::uint64_t ms) { Pass(ms * 1000); }

    std::uint64_t NowMs() const { return nowUs_ / 1000; }

    /// All waits since the start, in microseconds.
    std::uint64_t WaitedUs() const { return std::accumulate(waits.begin(), waits.end(), std::uint64_t{0}); }

    std::vector<std::uint64_t> waits;
    std::vector<unsigned int> blocking;  ///< what blocking calls asked for, in milliseconds
    std::function<void()> onWait;        ///< what happens elsewhere while the program waits
    unsigned int blockingMs = 20;
    bool readable = true;

 private:
    void Pass(std::uint64_t us) {
        nowUs_ += us;
        ++steps_;
    }

    std::uint64_t nowUs_;
    int steps_ = 0;
};

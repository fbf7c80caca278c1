#include "simulator/ScaledClock.h"

#include <gtest/gtest.h>

TEST(ScaledClock, RunsAtItsRateAndGivesBlockingCallsAFloor) {
    simulator::ScaledClock clock(100, 30);
    const std::uint64_t start = simulator::NowMs();
    clock.SleepMicroseconds(2000000);
    EXPECT_GE(simulator::NowMs() - start, 2000U);
    EXPECT_EQ(clock.BlockingTimeout(0), 0U);
    EXPECT_EQ(clock.BlockingTimeout(500), 30U);
    EXPECT_EQ(clock.BlockingTimeout(60001), 601U);
}

#include "support/GenericFunctions.h"

#include <gmock/gmock.h>

#include "harness/VirtualClock.h"
#include "support/Clock.h"

namespace {

using testing::ElementsAre;
using G = GenericFunctions;

// Most of them show in the records that are read with them; here is what no record brings.
TEST(GenericFunctions, TextsAreReadAndChanged) {
    int value = 77;
    EXPECT_TRUE(G::ParseCheckInt("  -7x", &value));
    EXPECT_FALSE(G::ParseCheckInt("99999999999999999999", &value) || G::ParseCheckInt("abc", &value));
    EXPECT_EQ(value, -7);
    int values[3] = {-1, -1, -1};
    EXPECT_EQ(G::ExtractIntFromString("a-5,99999999999..x1", values, 2), 2);
    EXPECT_THAT(values, ElementsAre(5, 2147483647, -1));
    char text[] = "-aZ9-\xE9";
    EXPECT_EQ(G::ToUpper(text), 6);
    G::RemovecharsFromString(text, '-');
    EXPECT_STREQ(text, "AZ9\xE9");
    char joined[] = "aaabbbcab";  // what is left joins to the part again
    EXPECT_FALSE(G::RemoveStrFromString(joined, "ab"));
    EXPECT_STREQ(joined, "c");
}

TEST(Clock, WaitsAreMultipliedAndBounded) {
    VirtualClock clock((1ULL << 32) + 1234);
    EXPECT_EQ(G::GetTickCount(), 1234U);
    const Deadline never(Wait{INT64_MAX, 3});
    const Deadline deadline(Wait{20, 3});
    EXPECT_EQ(deadline.LeftMs(), 60);
    Sleep({20, 3});
    EXPECT_TRUE(deadline.IsOver() && !never.IsOver());
    Sleep({5000, INT32_MAX});
    EXPECT_THAT(clock.waits, ElementsAre(60000, INT32_MAX * 1000ULL));
}

}  // namespace

#include "support/GenericFunctions.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>

#include "harness/VirtualClock.h"
#include "support/Clock.h"
#include "support/ManageBuffers.h"

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
    EXPECT_EQ(G::ExtractIntFromString("a-57,99999999999..x1", values, 2), 2);
    EXPECT_THAT(values, ElementsAre(57, 2147483647, -1));
    char text[] = "-aZ9-\xE9";
    EXPECT_EQ(G::ToUpper(text), 6);
    G::RemovecharsFromString(text, '-');
    EXPECT_STREQ(text, "AZ9\xE9");
    char joined[] = "aaabbbcab";  // what is left joins to the part again
    EXPECT_FALSE(G::RemoveStrFromString(joined, "ab"));
    EXPECT_STREQ(joined, "c");
    EXPECT_EQ(G::IndexOf(nullptr, joined), -1);
    EXPECT_EQ(G::ParseFloat("1e99", 1) + G::ParseFloat("x", 1), 2.0F);
    const std::unique_ptr<char, decltype(&std::free)> replaced(G::repl_str("abcab", "ab", "xyz"), std::free);
    EXPECT_STREQ(replaced.get(), "xyzcxyz");
}

TEST(GenericFunctions, PatternsAreFound) {
    const unsigned char bytes[] = "AAABAA";
    const auto text = [](const char* pattern) { return reinterpret_cast<const unsigned char*>(pattern); };
    const std::unique_ptr<std::vector<int>> found(G::FindBytePattern(bytes, 6, 0, text("AA"), 2));
    EXPECT_THAT(*found, ElementsAre(0, 4));
    EXPECT_EQ(ManageBuffers::GetBufferPosition(bytes, 4, 0, text("AAB"), 3), -1) << "one A is forgotten";
    EXPECT_EQ(ManageBuffers::GetBufferPosition(bytes + 1, 3, 0, text("B"), 1), 2);
    EXPECT_EQ(ManageBuffers::GetBufferPosition(bytes + 2, 2, -1, text("AB"), 2), 0);
    EXPECT_EQ(ManageBuffers::GetBufferPosition(bytes + 1, 3, 0, text("AB"), 2), 1) << "A is looked at twice";
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 2, 4) + ManageBuffers::CalcChecksum(bytes, 4, 2), 196U);
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

#include "support/GenericFunctions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "harness/VirtualClock.h"
#include "support/Clock.h"
#include "support/ManageBuffers.h"

namespace {

using testing::ElementsAre;
using G = GenericFunctions;

/// A text that the function allocated with malloc.
std::string Owned(char* text) {
    const std::unique_ptr<char, void (*)(void*)> owner(text, std::free);
    return text == nullptr ? "null" : text;
}

const unsigned char* Bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

TEST(GenericFunctions, PatternsAreFoundWholeWithoutOverlap) {
    const std::tuple<const char*, int, int, std::string, std::vector<int>> rows[] = {
        {"AAAAA", 5, 1, "AA", {1, 3}}, {"xyABAB", 5, 0, "AB", {2}}, {"AB", 2, 9, "A", {}},
        {"AB", 2, 0, "", {}},          {"AB", 2, -5, "A", {0}},     {"AB", 0, 0, "A", {}}};
    for (const auto& [text, length, start, pattern, positions] : rows) {
        const std::unique_ptr<std::vector<int>> found(
            G::FindString(Bytes(text), length, start, pattern.c_str()));
        EXPECT_EQ(*found, positions) << pattern << " in " << text << " from " << start;
    }
    // kept: the byte that breaks a match may begin one, but nothing before it
    EXPECT_EQ(ManageBuffers::GetBufferPosition(Bytes("AAABxAB"), 7, 0, Bytes("AAB"), 3), -1);
    EXPECT_EQ(ManageBuffers::GetBufferPosition(Bytes("AABAB"), 5, 0, Bytes("AB"), 2), 1);
}

// Most of them show in the records that are read with them; here is what no record brings.
TEST(GenericFunctions, TextsAreReadChangedAndReplaced) {
    int value = 77;
    EXPECT_TRUE(G::ParseCheckInt("  -7x", &value));
    EXPECT_FALSE(G::ParseCheckInt("99999999999999999999", &value) || G::ParseCheckInt("abc", &value));
    EXPECT_EQ(value, -7);
    EXPECT_EQ(G::ParseInt("4294967297", 77), 1);
    EXPECT_FLOAT_EQ(G::ParseFloat("1.5mm", 9), 1.5F);
    for (const char* text : {"", "x", "1e99", "-1e99", "1e-99"})
        EXPECT_FLOAT_EQ(G::ParseFloat(text, 9), 9) << text;
    int values[3] = {-1, -1, -1};
    EXPECT_EQ(G::ExtractIntFromString("a-5,99999999999..x1", values, 2), 2);
    EXPECT_THAT(values, ElementsAre(5, 2147483647, -1));
    EXPECT_EQ(G::ConvertByteBufferToULong4(Bytes("\x04\x03\x02\xF1")), 0xF1020304UL);
    char text[] = "-aZ9-\xE9";
    EXPECT_EQ(G::ToUpper(text), 6);
    G::RplaceCharInString(text, 'A', '!');
    G::RemovecharsFromString(text, '-');
    EXPECT_STREQ(text, "AZ9\xE9");
    char joined[] = "aaabbbcab";  // what is left joins to the part again
    EXPECT_FALSE(G::RemoveStrFromString(joined, "ab"));
    EXPECT_STREQ(joined, "c");
    EXPECT_TRUE(G::IsaNumericField(Bytes("<0189>"), 6));
    for (const char* other : {"1/", "1:", "1;", "1=", "1?"})
        EXPECT_FALSE(G::IsaNumericField(Bytes(other), 2));
    EXPECT_EQ(Owned(G::ConvertBufferToStringAndClean(Bytes("\x1F ~\x7F\x80\0B"), 7)), "  ~  ");
    EXPECT_EQ(Owned(G::repl_str("aaa", "aa", "b")), "ba");
    EXPECT_EQ(Owned(G::repl_str("x--y--", "--", "+++")), "x+++y+++");
    EXPECT_EQ(Owned(G::repl_str("abc", "", "z")), "abc");
    EXPECT_EQ(Owned(G::repl_str("a", "a", nullptr)), "null");
}

TEST(Clock, WaitsAreMultipliedAndBounded) {
    VirtualClock clock((1ULL << 32) + 1234);
    EXPECT_EQ(G::GetCurrentTimeMsec(), (1UL << 32) + 1234);
    EXPECT_EQ(G::GetTickCount(), 1234U);
    const Deadline never(Wait{INT64_MAX, 3});
    const Deadline deadline(Wait{20, 3});
    EXPECT_EQ(deadline.LeftMs(), 60);
    Sleep({20, 3});
    EXPECT_TRUE(deadline.IsOver() && Deadline(Wait{20, 0}).IsOver() && Deadline(Wait{-1}).IsOver() &&
                !never.IsOver());
    Sleep({20, 0});
    Sleep({20, -1});
    Sleep({5000, INT32_MAX});
    EXPECT_THAT(clock.waits, ElementsAre(60000, INT32_MAX * 1000ULL));
    clock.readable = false;
    EXPECT_EQ(G::GetCurrentTimeMsec(), 0U);
}

}  // namespace

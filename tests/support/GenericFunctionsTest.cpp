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
    const struct {
        const char* text;
        int len, start;
        std::string pattern;
        std::vector<int> positions;
        int position;  // the first, where the byte that breaks a match may begin one but nothing before it
    } rows[] = {{"AAAAA", 5, 1, "AA", {1, 3}, 1}, {"xyABAB", 5, 0, "AB", {2}, 2}, {"AB", 2, 9, "A", {}, -1},
                {"AB", 2, 0, "", {}, -1},         {"AB", 2, -5, "A", {0}, 0},     {"AB", 0, 0, "A", {}, -1},
                {"AAAB", 4, 0, "AAB", {1}, -1},   {"AAB", 3, 0, "AB", {1}, 1}};
    for (const auto& row : rows) {
        const std::unique_ptr<std::vector<int>> found(
            G::FindString(Bytes(row.text), row.len, row.start, row.pattern.c_str()));
        EXPECT_EQ(*found, row.positions) << row.pattern << " in " << row.text << " from " << row.start;
        EXPECT_EQ(
            ManageBuffers::GetBufferPosition(Bytes(row.text), row.len, row.start, Bytes(row.pattern.c_str()),
                                             static_cast<int>(row.pattern.size())),
            row.position);
    }
    EXPECT_EQ(ManageBuffers::CalcChecksum(Bytes("\1\2\4\10\20"), 1, 3), 14U);
    const char* const list[] = {"s", "S", nullptr};
    EXPECT_EQ(G::IndexOf(list, "S"), 1);
    EXPECT_EQ(G::IndexOf(list, "sS"), -1);
}

TEST(GenericFunctions, NumbersAreReadAsFarAsTheyGo) {
    constexpr int kNone = 77;
    const std::pair<const char*, int> rows[] = {{"9100x", 9100},
                                                {"0", 0},
                                                {"  -7", -7},
                                                {"4294967297", 1},
                                                {"", kNone},
                                                {"abc", kNone},
                                                {"99999999999999999999", kNone}};
    for (const auto& [text, number] : rows) {
        int value = kNone;
        EXPECT_EQ(G::ParseCheckInt(text, &value), number != kNone) << text;
        EXPECT_EQ(value, number) << text;
        EXPECT_EQ(G::ParseInt(text, kNone), number) << text;
    }
    EXPECT_FLOAT_EQ(G::ParseFloat("1.5mm", 9), 1.5F);
    EXPECT_FLOAT_EQ(G::ParseFloat("0", 9), 0);
    for (const char* text : {"", "x", "1e99", "-1e99", "1e-99"})
        EXPECT_FLOAT_EQ(G::ParseFloat(text, 9), 9) << text;
    int values[3] = {-1, -1, -1};
    EXPECT_EQ(G::ExtractIntFromString("1 2 3", values, 2), 2);
    EXPECT_THAT(values, ElementsAre(1, 2, -1));
    EXPECT_EQ(G::ExtractIntFromString("a-5,12..x99999999999", values, 3), 3);
    EXPECT_THAT(values, ElementsAre(5, 12, 2147483647));
    EXPECT_EQ(G::ConvertByteBufferToULong4(Bytes("\x04\x03\x02\xF1")), 0xF1020304UL);
}

TEST(GenericFunctions, TextsAreChangedSplitCleanedAndReplaced) {
    char text[] = "-aZ9-\xE9";
    EXPECT_EQ(G::ToUpper(text), 6);
    G::RplaceCharInString(text, 'A', '!');
    G::RemovecharsFromString(text, '-');
    EXPECT_STREQ(text, "AZ9\xE9");
    char split[] = ";;a;b,,c;";
    std::vector<char*> parts;
    G::splitModify(split, ";,", parts);
    EXPECT_THAT(parts, ElementsAre(testing::StrEq("a"), testing::StrEq("b"), testing::StrEq("c")));
    char joined[] = "aaabbbcab";  // what is left joins to the part again
    EXPECT_FALSE(G::RemoveStrFromString(joined, "ab"));
    EXPECT_STREQ(joined, "c");
    EXPECT_TRUE(G::IsaNumericField(Bytes("<0189>"), 6));
    for (const char* other : {"1/", "1:", "1;", "1=", "1?"})
        EXPECT_FALSE(G::IsaNumericField(Bytes(other), 2));
    char out[8] = "xxxxxxx";
    G::ConvertBufferToStringAndClean(out, Bytes("..AB\rC.."), 8, 2, 4);
    EXPECT_STREQ(out, "AB C");
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

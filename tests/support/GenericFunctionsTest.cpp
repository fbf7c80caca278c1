#include "support/GenericFunctions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "harness/VirtualClock.h"
#include "support/Deadline.h"

namespace {

using testing::ElementsAre;

struct Free {
    void operator()(char* text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, Free>;

const unsigned char* Bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

TEST(GenericFunctions, FindStringGivesEveryWholeMatchWithoutOverlap) {
    const struct {
        const char* text;
        int len, start;
        const char* pattern;
        std::vector<int> positions;
    } rows[] = {{"AAAA", 4, 0, "AA", {0, 2}}, {"AAAAA", 5, 1, "AA", {1, 3}}, {"AAB", 3, 0, "AB", {1}},
                {"xyABAB", 5, 0, "AB", {2}},  {"AB", 2, 9, "A", {}},         {"AB", 2, 0, "", {}},
                {"AB", 2, 0, "ABC", {}},      {"AB", 2, -5, "A", {0}},       {"AB", 0, 0, "A", {}}};
    for (const auto& row : rows) {
        const std::unique_ptr<std::vector<int>> found(
            GenericFunctions::FindString(Bytes(row.text), row.len, row.start, row.pattern));
        EXPECT_EQ(*found, row.positions) << row.pattern << " in " << row.text << " from " << row.start;
    }
}

TEST(GenericFunctions, IndexOfComparesWholeTexts) {
    const char* const list[] = {"s", "S", nullptr};
    EXPECT_EQ(GenericFunctions::IndexOf(list, "S"), 1);
    EXPECT_EQ(GenericFunctions::IndexOf(list, "sS"), -1);
    EXPECT_EQ(GenericFunctions::IndexOf(nullptr, "s"), -1);
}

TEST(GenericFunctions, NumbersAreReadAsFarAsTheyGo) {
    constexpr int kNone = 77;
    const struct {
        const char* text;
        int value;
    } rows[] = {{"9100x", 9100}, {"0", 0},       {"  -7", -7}, {"4294967297", 1},
                {"", kNone},     {"abc", kNone}, {"-", kNone}, {"99999999999999999999", kNone}};
    for (const auto& row : rows) {
        int value = kNone;
        EXPECT_EQ(GenericFunctions::ParseCheckInt(row.text, &value), row.value != kNone) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
        EXPECT_EQ(GenericFunctions::ParseInt(row.text, kNone), row.value) << row.text;
    }
    EXPECT_FLOAT_EQ(GenericFunctions::ParseFloat("1.5mm", 9), 1.5F);
    EXPECT_FLOAT_EQ(GenericFunctions::ParseFloat("0", 9), 0);
    for (const char* text : {"", "x", "1e99", "-1e99", "1e-99"}) {
        EXPECT_FLOAT_EQ(GenericFunctions::ParseFloat(text, 9), 9) << text;
    }
    int values[3] = {-1, -1, -1};
    EXPECT_EQ(GenericFunctions::ExtractIntFromString("a-5,12..x99999999999", values, 3), 3);
    EXPECT_THAT(values, ElementsAre(5, 12, 2147483647));
    EXPECT_EQ(GenericFunctions::ExtractIntFromString("1 2 3", values, 2), 2);
    EXPECT_THAT(values, ElementsAre(1, 2, 2147483647));
    EXPECT_EQ(GenericFunctions::ExtractIntFromString("1", values, -1), 0);
    EXPECT_EQ(GenericFunctions::ConvertByteBufferToULong4(Bytes("\x04\x03\x02\xF1")), 0xF1020304UL);
}

TEST(GenericFunctions, TextsAreChangedInPlace) {
    char text[] = "-aZ9-\xE9";
    EXPECT_EQ(GenericFunctions::ToUpper(text), 6);
    GenericFunctions::RplaceCharInString(text, 'A', '!');
    GenericFunctions::RemovecharsFromString(text, '-');
    EXPECT_STREQ(text, "AZ9\xE9");
    char split[] = ";;a;b,,c;";
    std::vector<char*> parts;
    GenericFunctions::splitModify(split, ";,", parts);
    EXPECT_THAT(parts, ElementsAre(testing::StrEq("a"), testing::StrEq("b"), testing::StrEq("c")));
    const char* const removals[][3] = {{"aabb", "ab", ""},     {"xabyab", "ab", "xy"}, {"ababa", "aba", "ba"},
                                       {"aaabbbc", "ab", "c"}, {"abc", "", "abc"},     {"ab", "abc", "ab"}};
    for (const auto& [from, part, left] : removals) {
        std::string whole = from;
        EXPECT_FALSE(GenericFunctions::RemoveStrFromString(whole.data(), part));
        EXPECT_STREQ(whole.c_str(), left) << from;
    }
}

TEST(GenericFunctions, BytesAreJudgedAndCleaned) {
    EXPECT_TRUE(GenericFunctions::IsaNumericField(Bytes("<0189>"), 6));
    for (const char* text : {"1/", "1:", "1;", "1=", "1?"}) {
        EXPECT_FALSE(GenericFunctions::IsaNumericField(Bytes(text), 2)) << text;
    }
    char out[8] = "xxxxxxx";
    GenericFunctions::ConvertBufferToStringAndClean(out, Bytes("..AB\rC.."), 8, 2, 4);
    EXPECT_STREQ(out, "AB C");
    EXPECT_STREQ(OwnedText(GenericFunctions::ConvertBufferToStringAndClean(Bytes("\x1F ~\x7F\x80"), 5)).get(),
                 "  ~  ");
    EXPECT_STREQ(OwnedText(GenericFunctions::ConvertBufferToStringAndClean(Bytes("A\0B"), 3)).get(), "A");
}

TEST(GenericFunctions, ReplacementsMakeANewText) {
    const std::string many(400, 'a');  // more than the list of occurrences grows by at once
    const char* const rows[][4] = {{"aaa", "aa", "b", "ba"},
                                   {"x--y--", "--", "+++", "x+++y+++"},
                                   {"abc", "", "z", "abc"},
                                   {many.c_str(), "a", "", ""}};
    for (const auto& [text, from, to, result] : rows) {
        EXPECT_STREQ(OwnedText(GenericFunctions::repl_str(text, from, to)).get(), result);
    }
    EXPECT_EQ(GenericFunctions::repl_str(nullptr, "a", "b"), nullptr);
    EXPECT_EQ(GenericFunctions::repl_str("a", nullptr, "b"), nullptr);
    EXPECT_EQ(GenericFunctions::repl_str("a", "a", nullptr), nullptr);
}

TEST(GenericFunctions, TimeIsTakenFromTheClock) {
    VirtualClock clock((1ULL << 32) + 1234);
    EXPECT_EQ(GenericFunctions::GetCurrentTimeMsec(), (1UL << 32) + 1234);
    EXPECT_EQ(GenericFunctions::GetTickCount(), 1234U);
    clock.readable = false;
    EXPECT_EQ(GenericFunctions::GetCurrentTimeMsec(), 0U);
}

TEST(Clock, WaitsAreMultipliedAndBounded) {
    VirtualClock clock;
    const Deadline never(INT64_MAX, 3);
    const Deadline deadline(20, 3);
    EXPECT_EQ(deadline.LeftMs(), 60);
    SleepMs(20, 3);
    EXPECT_TRUE(deadline.IsOver() && Deadline(20, 0).IsOver() && Deadline(-1).IsOver() && !never.IsOver());
    SleepMs(20, 0);
    SleepMs(20, -1);
    SleepSeconds(5, INT32_MAX);
    EXPECT_THAT(clock.waits, ElementsAre(60000, INT32_MAX * 1000ULL));
}

}  // namespace

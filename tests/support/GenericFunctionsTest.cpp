#include "support/GenericFunctions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "harness/VirtualClock.h"

namespace {

using testing::ElementsAre;

const unsigned char* Bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

std::vector<int> Find(const char* text, int len, int start, const char* pattern) {
    return *std::unique_ptr<std::vector<int>>(GenericFunctions::FindString(Bytes(text), len, start, pattern));
}

TEST(FindBytePattern, GivesEveryWholeMatchWithoutOverlap) {
    EXPECT_THAT(Find("AAAA", 4, 0, "AA"), ElementsAre(0, 2));
    EXPECT_THAT(Find("AAAAA", 5, 1, "AA"), ElementsAre(1, 3));
    EXPECT_THAT(Find("AAB", 3, 0, "AB"), ElementsAre(1)) << "a broken match does not hide the next one";
    EXPECT_THAT(Find("xyABAB", 6, 3, "AB"), ElementsAre(4));
    EXPECT_THAT(Find("xyABAB", 5, 0, "AB"), ElementsAre(2)) << "the last one does not fit before the end";
    for (const auto& miss : {Find("AB", 2, 2, "AB"), Find("AB", 2, 9, "A"), Find("AB", 2, 0, "ABC"),
                             Find("AB", 0, 0, "A"), Find("AB", 2, 0, "")}) {
        EXPECT_TRUE(miss.empty());
    }
    EXPECT_THAT(Find("AB", 2, -5, "A"), ElementsAre(0)) << "nothing is read before the buffer";
    const unsigned char zeros[] = {0, 0, 1, 0};
    const std::unique_ptr<std::vector<int>> found(GenericFunctions::FindBytePattern(zeros, 4, 0, zeros, 1));
    EXPECT_THAT(*found, ElementsAre(0, 1, 3));
}

TEST(IndexOf, ComparesWholeTexts) {
    const char* const list[] = {"s", "S", nullptr};
    EXPECT_EQ(GenericFunctions::IndexOf(list, "s"), 0);
    EXPECT_EQ(GenericFunctions::IndexOf(list, "S"), 1);
    EXPECT_EQ(GenericFunctions::IndexOf(list, "sS"), -1);
    EXPECT_EQ(GenericFunctions::IndexOf(list, ""), -1);
    EXPECT_EQ(GenericFunctions::IndexOf(nullptr, "s"), -1);
}

TEST(Numbers, AreReadAsFarAsTheyGo) {
    const struct {
        const char* text;
        bool read;
        int value;
    } cases[] = {
        {"9100x", true, 9100},
        {"12abc", true, 12},
        {"0", true, 0},
        {"  -7", true, -7},
        {"", false, 0},
        {"abc", false, 0},
        {"-", false, 0},
        {"99999999999999999999", false, 0},
        {"-99999999999999999999", false, 0},
    };
    for (const auto& each : cases) {
        int value = 77;
        EXPECT_EQ(GenericFunctions::ParseCheckInt(each.text, &value), each.read) << each.text;
        EXPECT_EQ(value, each.read ? each.value : 77) << each.text;
        EXPECT_EQ(GenericFunctions::ParseInt(each.text, 5), each.read ? each.value : 5) << each.text;
    }
    EXPECT_EQ(GenericFunctions::ParseInt(nullptr, 5), 5);
}

TEST(Numbers, FloatsFallBackWhenOutOfRange) {
    EXPECT_FLOAT_EQ(GenericFunctions::ParseFloat("1.5mm", 9), 1.5F);
    EXPECT_FLOAT_EQ(GenericFunctions::ParseFloat("0", 9), 0);
    for (const char* text : {"", "x", "1e99", "-1e99", "1e-99"}) {
        EXPECT_FLOAT_EQ(GenericFunctions::ParseFloat(text, 9), 9) << text;
    }
}

TEST(Numbers, RunsOfDigitsAreExtracted) {
    int values[3] = {-1, -1, -1};
    EXPECT_EQ(GenericFunctions::ExtractIntFromString("a-5,12..x99999999999", values, 3), 3);
    EXPECT_THAT(values, ElementsAre(5, 12, 2147483647));
    EXPECT_EQ(GenericFunctions::ExtractIntFromString("1 2 3", values, 2), 2);
    EXPECT_THAT(values, ElementsAre(1, 2, 2147483647)) << "no more than asked for";
    EXPECT_EQ(GenericFunctions::ExtractIntFromString("1", values, 0), 0);
    EXPECT_EQ(GenericFunctions::ExtractIntFromString("1", values, -1), 0);
}

TEST(Numbers, FourBytesAreLittleEndian) {
    const unsigned char bytes[] = {0x04, 0x03, 0x02, 0xF1};
    EXPECT_EQ(GenericFunctions::ConvertByteBufferToULong4(bytes), 0xF1020304UL);
}

TEST(Texts, AreChangedInPlace) {
    char upper[] = "aZ9-\xE9";
    EXPECT_EQ(GenericFunctions::ToUpper(upper), 5);
    EXPECT_STREQ(upper, "AZ9-\xE9");
    char chars[] = "-a--b-";
    GenericFunctions::RemovecharsFromString(chars, '-');
    EXPECT_STREQ(chars, "ab");
    char same[] = "a.b.c";
    GenericFunctions::RplaceCharInString(same, '.', '!');
    EXPECT_STREQ(same, "a.b.c");
    char split[] = ";;a;b,,c;";
    std::vector<char*> parts;
    GenericFunctions::splitModify(split, ";,", parts);
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_STREQ(parts[0], "a");
    EXPECT_STREQ(parts[2], "c");
}

TEST(Texts, RemovalsAreRepeatedUntilNothingIsLeft) {
    const struct {
        const char* text;
        const char* part;
        const char* left;
    } cases[] = {
        {"aabb", "ab", ""},     {"xabyab", "ab", "xy"}, {"ababa", "aba", "ba"},
        {"aaabbbc", "ab", "c"}, {"abc", "", "abc"},     {"ab", "abc", "ab"},
    };
    for (const auto& each : cases) {
        std::string text = each.text;
        EXPECT_FALSE(GenericFunctions::RemoveStrFromString(text.data(), each.part));
        EXPECT_STREQ(text.c_str(), each.left) << each.text;
    }
}

TEST(Texts, NumericFieldsHoldDigitsAndAngles) {
    EXPECT_TRUE(GenericFunctions::IsaNumericField(Bytes("<0189>"), 6));
    EXPECT_TRUE(GenericFunctions::IsaNumericField(Bytes("x"), 0));
    for (const char* text : {"/", ":", ";", "=", "?", " ", "a"}) {
        EXPECT_FALSE(GenericFunctions::IsaNumericField(Bytes(text), 1)) << text;
    }
}

TEST(Texts, BuffersAreCleaned) {
    char out[8] = "xxxxxxx";
    GenericFunctions::ConvertBufferToStringAndClean(out, Bytes("..AB\rC.."), 8, 2, 4);
    EXPECT_STREQ(out, "AB C");
    GenericFunctions::ConvertBufferToStringAndClean(out, Bytes("A\0B"), 3, 0, 3);
    EXPECT_STREQ(out, "A");
    const std::unique_ptr<char, decltype(&std::free)> text(
        GenericFunctions::ConvertBufferToStringAndClean(Bytes("\x1F ~\x7F\x80"), 5), &std::free);
    EXPECT_STREQ(text.get(), "  ~  ");
}

TEST(Texts, ReplacementsMakeANewText) {
    const std::string many(400, 'a');
    std::string doubled;
    for (std::size_t i = 0; i < many.size(); ++i) doubled += "bc";
    const struct {
        const char* text;
        const char* from;
        const char* to;
        std::string result;
    } cases[] = {
        {"aaa", "aa", "b", "ba"}, {"x--y--", "--", "+++", "x+++y+++"}, {"abc", "", "z", "abc"},
        {"abc", "abc", "", ""},   {many.c_str(), "a", "bc", doubled},
    };
    for (const auto& each : cases) {
        const std::unique_ptr<char, decltype(&std::free)> text(
            GenericFunctions::repl_str(each.text, each.from, each.to), &std::free);
        EXPECT_EQ(std::string(text.get()), each.result);
    }
    EXPECT_EQ(GenericFunctions::repl_str(nullptr, "a", "b"), nullptr);
    EXPECT_EQ(GenericFunctions::repl_str("a", nullptr, "b"), nullptr);
    EXPECT_EQ(GenericFunctions::repl_str("a", "a", nullptr), nullptr);
}

TEST(Time, IsTakenFromTheClock) {
    VirtualClock clock((1ULL << 32) + 1234);
    EXPECT_EQ(GenericFunctions::GetCurrentTimeMsec(), (1UL << 32) + 1234);
    EXPECT_EQ(GenericFunctions::GetTickCount(), 1234U);
    clock.readable = false;
    EXPECT_EQ(GenericFunctions::GetCurrentTimeMsec(), 0U);
    EXPECT_EQ(GenericFunctions::GetTickCount(), 0U);
}

}  // namespace

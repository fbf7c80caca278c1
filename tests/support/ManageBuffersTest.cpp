#include "support/ManageBuffers.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(CalcChecksum, TakesBothEndsIn) {
    const unsigned char bytes[] = {1, 2, 4, 8, 16};
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 2, 2), 4U);
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 0, 4), 31U);
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 1, 3), 14U);
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 3, 2), 0U);
    const std::vector<unsigned char> many(20000000, 0xFF);
    EXPECT_EQ(ManageBuffers::CalcChecksum(many.data(), 0, 999), 255000U);
    EXPECT_EQ(ManageBuffers::CalcChecksum(many.data(), 0, many.size() - 1), 5100000000U) << "beyond 32 bits";
}

TEST(GetBufferPosition, DoesNotTestTheBreakingByteAgain) {
    const struct {
        const char* buffer;
        int len;
        int start;
        const char* pattern;
        int patternLen;
        int position;
    } cases[] = {
        {"AAAB", 4, 0, "AAB", 3, -1}, {"AAB", 3, 0, "AB", 2, -1},   {"xABAB", 5, 0, "AB", 2, 1},
        {"AAAB", 4, 3, "B", 1, 3},    {"AAAB", 4, 4, "B", 1, -1},   {"AAAB", 3, 0, "B", 1, -1},
        {"AB", 2, 0, "ABC", 3, -1},   {"AB", 2, -3, "AB", 2, 0},    {"AB", 2, 0, "", 0, -1},
        {"ABxAB", 5, 1, "AB", 2, 3},  {"ACAAB", 5, 0, "AB", 2, -1},
    };
    for (const auto& each : cases) {
        const auto* buffer = reinterpret_cast<const unsigned char*>(each.buffer);
        const auto* pattern = reinterpret_cast<const unsigned char*>(each.pattern);
        EXPECT_EQ(ManageBuffers::GetBufferPosition(buffer, each.len, each.start, pattern, each.patternLen),
                  each.position)
            << each.pattern << " in " << each.buffer << " from " << each.start;
    }
}

}  // namespace

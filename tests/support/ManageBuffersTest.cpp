#include "support/ManageBuffers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(ManageBuffers, ChecksumTakesBothEndsIn) {
    const unsigned char bytes[] = {1, 2, 4, 8, 16};
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 2, 2), 4U);
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 1, 3), 14U);
    EXPECT_EQ(ManageBuffers::CalcChecksum(bytes, 3, 2), 0U);
    const std::vector<unsigned char> many(20000000, 0xFF);
    EXPECT_EQ(ManageBuffers::CalcChecksum(many.data(), 0, many.size() - 1), 5100000000U) << "beyond 32 bits";
}

TEST(ManageBuffers, PositionTakesTheBreakingByteForAFirstOneOnly) {
    const struct {
        const char* buffer;
        int len, start;
        std::string pattern;
        int position;
    } rows[] = {{"AAAB", 4, 0, "AAB", -1}, {"AAB", 3, 0, "AB", 1},  {"xABAB", 5, 0, "AB", 1},
                {"AAAB", 4, 3, "B", 3},    {"AAAB", 4, 4, "B", -1}, {"AAAB", 3, 0, "B", -1},
                {"AB", 2, -3, "AB", 0},    {"AB", 2, 0, "", -1},    {"ABxAB", 5, 1, "AB", 3}};
    for (const auto& row : rows) {
        const auto* buffer = reinterpret_cast<const unsigned char*>(row.buffer);
        const auto* pattern = reinterpret_cast<const unsigned char*>(row.pattern.data());
        EXPECT_EQ(ManageBuffers::GetBufferPosition(buffer, row.len, row.start, pattern,
                                                   static_cast<int>(row.pattern.size())),
                  row.position)
            << row.pattern << " in " << row.buffer << " from " << row.start;
    }
}

}  // namespace

#include <gtest/gtest.h>

#include "upgrade/TestPackage.h"
#include "upgrade/UpgradePrinter.h"

namespace {

// Sizes around the blocks of 256 bytes and the index's 16 bits, against sums taken byte by byte.
TEST(Checksum, EqualsTheSumsTakenByteByByte) {
    for (const std::size_t size :
         {0U, 1U, 3U, 255U, 256U, 257U, 511U, 512U, 65535U, 65536U, 65793U, 200001U}) {
        Bytes data = Pattern(size, 251);
        unsigned long sum = 1;
        unsigned long xorSum = 1;
        EXPECT_TRUE(UpgradePrinter::GetCheckSumVarda18h(data.data(), static_cast<long>(size), sum, xorSum));
        const Bytes one = SumsOf(data, 1000000);
        EXPECT_EQ(sum, one[0] * 256UL + one[1]) << size;
        EXPECT_EQ(xorSum, one[2] * 256UL + one[3]) << size;

        const std::vector<unsigned char*> banks{data.data(), data.data(), data.data()};
        EXPECT_TRUE(UpgradePrinter::GetCheckSumKeldUsb(banks, static_cast<long>(size), sum, xorSum));
        const Bytes three = SumsOf(data + data + data, std::max<std::size_t>(size, 1));
        EXPECT_EQ(sum, three[0] * 256UL + three[1]) << size;
        EXPECT_EQ(xorSum, three[2] * 256UL + three[3]) << size;
    }
}

TEST(Checksum, KnownValues) {
    unsigned long sum = 0;
    unsigned long xorSum = 0;
    const unsigned char three[] = {1, 2, 3};
    UpgradePrinter::GetCheckSumVarda18h(three, 3, sum, xorSum);
    EXPECT_EQ(sum, 6U);
    EXPECT_EQ(xorSum, 5U);

    const Bytes ones(65536, 0xFF);
    UpgradePrinter::GetCheckSumVarda18h(ones.data(), 65536, sum, xorSum);
    EXPECT_EQ(sum, 0U);

    Bytes bank{0x10, 0x10};
    UpgradePrinter::GetCheckSumKeldUsb({bank.data(), bank.data()}, 2, sum, xorSum);
    EXPECT_EQ(sum, 0x40U);
    EXPECT_EQ(xorSum, 0x42U);

    UpgradePrinter::GetCheckSumVarda18h(three, -1, sum, xorSum);
    EXPECT_EQ(sum + xorSum, 0U);
}

}  // namespace

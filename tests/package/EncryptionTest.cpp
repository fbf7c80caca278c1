#include <gtest/gtest.h>

#include <algorithm>

#include "harness/VirtualClock.h"
#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "package/PackageBytes.h"

namespace {

unsigned char Byte(unsigned int value) {
    return static_cast<unsigned char>(value & 0xFF);
}

// One bit at a time, as the format describes it.
unsigned char Left(unsigned int value, unsigned int count) {
    for (; count > 0; --count) value = (value << 1 | value >> 7) & 0xFF;
    return Byte(value);
}

unsigned char Right(unsigned int value, unsigned int count) {
    for (; count > 0; --count) value = (value >> 1 | value << 7) & 0xFF;
    return Byte(value);
}

unsigned char Scrambled(unsigned int key, std::size_t position, unsigned int value) {
    const auto low = static_cast<unsigned int>(position % 256);
    return key % 2 == 1 ? Left(~(key ^ value) & 0xFF, low >> 2 & 7) : Right(value ^ key, low >> 5);
}

unsigned char Mode1(unsigned int key, std::size_t position, unsigned int value) {
    const unsigned int sum = (key + static_cast<unsigned int>(position)) & 0xFF;
    return position % 2 == 1 ? Byte(value ^ sum) : Byte(~(value ^ sum));
}

Bytes Counting(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = Byte(static_cast<unsigned int>(i * 7 + i / 256));
    return bytes;
}

TEST(EncryptionPSW, GivesTheBytesWorkedOutByHand) {
    Bytes odd(260, 0);
    EXPECT_TRUE(EncryptionPSW::EncryptionBuffer(1, odd.data(), 0, 260));
    // position: expected; FE rotated left by bits 2 to 4 of the position
    const std::pair<std::size_t, int> oddBytes[] = {{0, 0xFE},   {3, 0xFE},  {4, 0xFD},  {7, 0xFD},
                                                    {8, 0xFB},   {28, 0x7F}, {31, 0x7F}, {32, 0xFE},
                                                    {255, 0x7F}, {256, 0xFE}};
    for (const auto& [position, value] : oddBytes) EXPECT_EQ(odd[position], value) << position;

    Bytes even(260, 0x03);
    EXPECT_TRUE(EncryptionPSW::EncryptionBuffer(2, even.data(), 0, 260));
    // 01 rotated right by bits 5 to 7 of the position
    const std::pair<std::size_t, int> evenBytes[] = {{0, 0x01},  {31, 0x01},  {32, 0x80}, {63, 0x80},
                                                     {64, 0x40}, {255, 0x02}, {256, 0x01}};
    for (const auto& [position, value] : evenBytes) EXPECT_EQ(even[position], value) << position;
}

TEST(Encryption, EveryKeyAndLengthFollowsTheFormatAndComesBack) {
    constexpr std::size_t kStart = 3;
    const Bytes original = Counting(1030);
    for (unsigned int key = 1; key < 256; ++key) {
        for (const int count : {0, 1, 31, 32, 255, 256, 257, 512, 1024}) {
            const auto length = static_cast<std::size_t>(count);
            const auto intKey = static_cast<int>(key);
            Bytes psw = original;
            Bytes mode1 = original;
            EXPECT_TRUE(EncryptionPSW::EncryptionBuffer(intKey, psw.data(), kStart, count));
            EXPECT_TRUE(EncryptionMode1::EncryptionBuffer(intKey, mode1.data(), kStart, count));
            Bytes expectedPsw = original;
            Bytes expectedMode1 = original;
            for (std::size_t i = 0; i < length; ++i) {
                expectedPsw[kStart + i] = Scrambled(key, i, original[kStart + i]);
                expectedMode1[kStart + i] = Mode1(key, i, original[kStart + i]);
            }
            ASSERT_EQ(psw, expectedPsw) << key << " " << length;
            ASSERT_EQ(mode1, expectedMode1) << key << " " << length;
            EXPECT_TRUE(EncryptionPSW::DecryptionBuffer(intKey, psw.data(), kStart, count));
            EXPECT_TRUE(EncryptionMode1::DecryptionBuffer(intKey, mode1.data(), kStart, count));
            ASSERT_EQ(psw, original) << key << " " << length;
            ASSERT_EQ(mode1, original) << key << " " << length;
        }
    }
}

TEST(Encryption, KeyZeroAndNegativeLengthsTouchNothing) {
    const Bytes original = Counting(300);
    Bytes bytes = original;
    EXPECT_TRUE(EncryptionPSW::EncryptionBuffer(0, bytes.data(), 0, 300));
    EXPECT_TRUE(EncryptionPSW::DecryptionBuffer(0, bytes.data(), 0, 300));
    EXPECT_TRUE(EncryptionMode1::DecryptionBuffer(0, bytes.data(), 0, 300));
    EXPECT_TRUE(EncryptionPSW::DecryptionBuffer(5, bytes.data(), 0, -1));
    EXPECT_TRUE(EncryptionMode1::DecryptionBuffer(5, bytes.data(), 0, -1));
    EXPECT_EQ(bytes, original);
}

TEST(EncryptionMode1, GivesTheBytesWorkedOutByHand) {
    Bytes bytes(258, 0);
    EXPECT_TRUE(EncryptionMode1::DecryptionBuffer(0xFF, bytes.data(), 0, 258));
    // even positions: the complement of key + position, odd ones the sum itself, in 8 bits
    const std::pair<std::size_t, int> expected[] = {{0, 0x00}, {1, 0x00},   {2, 0xFE},
                                                    {3, 0x02}, {256, 0x00}, {257, 0x00}};
    for (const auto& [position, value] : expected) EXPECT_EQ(bytes[position], value) << position;
}

TEST(EncryptionPSW, BytesAreRotatedAndStatusBytesComplemented) {
    for (int count = -1; count < 18; ++count) {
        const auto turns = static_cast<unsigned int>(std::max(count, 0));
        EXPECT_EQ(EncryptionPSW::ByteRotateSx(0xB1, count), Left(0xB1, turns)) << count;
        EXPECT_EQ(EncryptionPSW::ByteRotateDx(0xB1, count), Right(0xB1, turns)) << count;
    }
    EXPECT_EQ(EncryptionPSW::EncryptionGSIByte(0x3C, 0), 0x3C);
    EXPECT_EQ(EncryptionPSW::EncryptionGSIByte(0x3C, 0x0F), 0xCC);
    EXPECT_EQ(EncryptionPSW::DecryptionGSIByte(0xCC, 0x0F), 0x3C);
}

TEST(Encryption, FreshKeysAreNeitherNoneNorAllOnes) {
    VirtualClock clock;
    std::vector<int> seen(256, 0);
    for (int i = 0; i < 4000; ++i) {
        ++seen[EncryptionPSW::GetScramblebyte()];
        ++seen[EncryptionMode1::GetScramblebyte()];
        clock.Advance(1000);
    }
    EXPECT_EQ(seen[0] + seen[255], 0);
    EXPECT_GT(std::count_if(seen.begin(), seen.end(), [](int times) { return times > 0; }), 200)
        << "the key changes with the time";
}

}  // namespace

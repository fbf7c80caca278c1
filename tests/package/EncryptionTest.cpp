// The two schemes by which packages and modules are scrambled.
#include <gtest/gtest.h>

#include <algorithm>

#include "harness/VirtualClock.h"
#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "package/PackageBytes.h"

namespace {

// One bit at a time, as the format describes it.
int Left(int value, int count) {
    for (; count > 0; --count) value = (value << 1 | value >> 7) & 0xFF;
    return value;
}

int Right(int value, int count) {
    for (; count > 0; --count) value = (value >> 1 | value << 7) & 0xFF;
    return value;
}

int ScrambledForPackage(int key, int position, int value) {
    const int low = position % 256;
    return key % 2 == 1 ? Left(~(key ^ value) & 0xFF, low >> 2 & 7) : Right(value ^ key, low >> 5);
}

int ScrambledInMode1(int key, int position, int value) {
    const int sum = value ^ ((key + position) & 0xFF);
    return position % 2 == 1 ? sum : ~sum & 0xFF;
}

TEST(Encryption, EveryKeyAndLengthFollowsTheFormatAndComesBack) {
    const struct {
        bool (*encrypt)(int, unsigned char*, int, int);
        bool (*decrypt)(int, unsigned char*, int, int);
        int (*scrambled)(int, int, int);
    } schemes[] = {{EncryptionPSW::EncryptionBuffer, EncryptionPSW::DecryptionBuffer, ScrambledForPackage},
                   {EncryptionMode1::EncryptionBuffer, EncryptionMode1::DecryptionBuffer, ScrambledInMode1}};
    constexpr std::size_t kStart = 3;
    const Bytes original = Counting(1030);
    for (const auto& scheme : schemes) {
        for (int key = 0; key < 256; ++key) {
            for (const int length : {-1, 0, 1, 255, 256, 257, 1024}) {
                Bytes expected = original;
                for (int i = 0; key != 0 && i < length; ++i) {
                    unsigned char& byte = expected[kStart + static_cast<std::size_t>(i)];
                    byte = static_cast<unsigned char>(scheme.scrambled(key, i, byte));
                }
                Bytes bytes = original;
                EXPECT_TRUE(scheme.encrypt(key, bytes.data(), kStart, length));
                ASSERT_EQ(bytes, expected) << key << " " << length;
                EXPECT_TRUE(scheme.decrypt(key, bytes.data(), kStart, length));
                ASSERT_EQ(bytes, original) << key << " " << length;
            }
        }
    }
}

TEST(EncryptionPSW, GivesTheBytesWorkedOutByHand) {
    const struct {
        int key;
        unsigned char plain;
        std::size_t position;
        int scrambled;
    } cases[] = {{1, 0, 3, 0xFE},  {1, 0, 4, 0xFD},  {1, 0, 31, 0x7F}, {1, 0, 32, 0xFE},  {1, 0, 256, 0xFE},
                 {2, 3, 31, 0x01}, {2, 3, 32, 0x80}, {2, 3, 64, 0x40}, {2, 3, 255, 0x02}, {2, 3, 256, 0x01}};
    for (const auto& each : cases) {
        Bytes bytes(260, each.plain);
        EncryptionPSW::EncryptionBuffer(each.key, bytes.data(), 0, 260);
        EXPECT_EQ(bytes[each.position], each.scrambled) << each.key << " " << each.position;
    }
}

TEST(EncryptionPSW, BytesAreRotatedAndStatusBytesComplemented) {
    for (int count = -1; count < 18; ++count) {
        EXPECT_EQ(EncryptionPSW::ByteRotateSx(0xB1, count), Left(0xB1, count)) << count;
        EXPECT_EQ(EncryptionPSW::ByteRotateDx(0xB1, count), Right(0xB1, count)) << count;
    }
    EXPECT_EQ(EncryptionPSW::EncryptionGSIByte(0x3C, 0), 0x3C);
    EXPECT_EQ(EncryptionPSW::EncryptionGSIByte(0x3C, 0x0F), 0xCC);
    EXPECT_EQ(EncryptionPSW::DecryptionGSIByte(0xCC, 0x0F), 0x3C);
}

TEST(EncryptionPSW, FreshKeysAreNeitherNoneNorAllOnes) {
    VirtualClock clock;
    std::vector<int> seen(256, 0);
    for (int i = 0; i < 4000; ++i, clock.Advance(1000)) ++seen[EncryptionPSW::GetScramblebyte()];
    EXPECT_EQ(seen[0] + seen[255], 0);
    EXPECT_LT(std::count(seen.begin(), seen.end(), 0), 56) << "the key changes with the time";
}

}  // namespace

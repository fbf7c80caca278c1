// The two schemes by which packages and modules are scrambled.
#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "package/PackageBytes.h"

namespace {

// As the format describes it.
int Left(int value, int count) {
    return (value << count | value >> (8 - count)) & 0xFF;
}

int ScrambledForPackage(int key, int position, int value) {
    const int low = position % 256;
    return key % 2 == 1 ? Left(~(key ^ value) & 0xFF, low >> 2 & 7) : Left(value ^ key, 8 - (low >> 5));
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
    const Bytes original = Counting(600);
    for (int run = 0; run < 2 * 256 * 4; ++run) {
        const auto& scheme = schemes[run % 2];
        const int key = run / 2 % 256;
        const int length = std::array{-1, 1, 256, 590}[static_cast<std::size_t>(run / 512)];
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
    EXPECT_EQ(EncryptionPSW::ByteRotateSx(0xB1, 9) << 8 | EncryptionPSW::ByteRotateDx(0xB1, 1), 0x63D8);
}

}  // namespace

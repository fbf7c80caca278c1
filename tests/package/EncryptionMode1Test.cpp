#include "package/EncryptionMode1.h"

#include <gtest/gtest.h>

#include "package/PackageBytes.h"

namespace {

TEST(EncryptionMode1, EveryKeyAndLengthFollowsTheFormatAndComesBack) {
    constexpr std::size_t kStart = 3;
    const Bytes original = Counting(1030);
    for (int key = 0; key < 256; ++key) {
        for (const int length : {-1, 0, 1, 255, 256, 257, 1024}) {
            Bytes expected = original;
            for (int i = 0; key != 0 && i < length; ++i) {
                unsigned char& byte = expected[kStart + static_cast<std::size_t>(i)];
                const int sum = byte ^ ((key + i) & 0xFF);
                byte = static_cast<unsigned char>(i % 2 == 1 ? sum : ~sum);
            }
            Bytes bytes = original;
            EXPECT_TRUE(EncryptionMode1::EncryptionBuffer(key, bytes.data(), kStart, length));
            ASSERT_EQ(bytes, expected) << key << " " << length;
            EXPECT_TRUE(EncryptionMode1::DecryptionBuffer(key, bytes.data(), kStart, length));
            ASSERT_EQ(bytes, original) << key << " " << length;
        }
    }
}

}  // namespace

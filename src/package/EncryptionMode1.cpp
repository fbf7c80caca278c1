#include "package/EncryptionMode1.h"

#include <array>
#include <cstddef>

#include "package/EncryptionPSW.h"

namespace {

// The sum of key and position is taken in 8 bits, so what a byte is combined with repeats every 256
// positions.
constexpr std::size_t kPeriod = 256;

std::array<unsigned char, kPeriod> MakeMask(int key) {
    std::array<unsigned char, kPeriod> mask{};
    for (std::size_t i = 0; i < kPeriod; ++i) {
        const std::size_t sum = static_cast<std::size_t>(key & 0xFF) + i;
        mask[i] = static_cast<unsigned char>((i % 2 == 1 ? sum : ~sum) & 0xFFU);
    }
    return mask;
}

}  // namespace

unsigned char EncryptionMode1::GetScramblebyte() {
    return EncryptionPSW::GetScramblebyte();
}

bool EncryptionMode1::EncryptionBuffer(int key, unsigned char* buf, int start, int length) {
    if ((key & 0xFF) == 0 || length <= 0) return true;
    const std::array<unsigned char, kPeriod> mask = MakeMask(key);
    unsigned char* run = buf + start;
    std::size_t left = static_cast<std::size_t>(length);
    for (; left >= kPeriod; left -= kPeriod, run += kPeriod) {
        for (std::size_t i = 0; i < kPeriod; ++i) run[i] ^= mask[i];
    }
    for (std::size_t i = 0; i < left; ++i) run[i] ^= mask[i];
    return true;
}

bool EncryptionMode1::DecryptionBuffer(int key, unsigned char* buf, int start, int length) {
    return EncryptionBuffer(key, buf, start, length);
}

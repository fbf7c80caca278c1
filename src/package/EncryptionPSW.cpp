#include "package/EncryptionPSW.h"

#include <sys/time.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "support/Clock.h"

namespace {

// Rotation counts repeat every 256 positions. A byte rotated left by n is the byte times 2^n in 16 bits, the
// high half laid over the low one: factors instead of counts let the compiler work on many positions at once.
constexpr std::size_t kPeriod = 256;
using Factors = std::array<std::uint16_t, kPeriod>;

constexpr unsigned int OddCount(std::size_t position) {
    return static_cast<unsigned int>(position >> 2 & 7U);
}
constexpr unsigned int EvenCount(std::size_t position) {
    return static_cast<unsigned int>(position >> 5);
}

constexpr Factors MakeFactors(unsigned int (*count)(std::size_t), bool left) {
    Factors factors{};
    for (std::size_t i = 0; i < kPeriod; ++i) {
        const unsigned int turns = left ? count(i) : (8 - count(i)) & 7U;
        factors[i] = static_cast<std::uint16_t>(1U << turns);
    }
    return factors;
}

constexpr Factors kOddLeft = MakeFactors(OddCount, true);
constexpr Factors kOddRight = MakeFactors(OddCount, false);
constexpr Factors kEvenLeft = MakeFactors(EvenCount, true);
constexpr Factors kEvenRight = MakeFactors(EvenCount, false);

// What one of the four routines does to a byte: XOR, rotation, XOR. Held by value: the compiler then knows
// that a byte written to the buffer changes none of it.
struct Steps {
    Factors factors;
    unsigned char before;
    unsigned char after;
};

unsigned char Changed(unsigned char byte, std::size_t position, const Steps& steps) {
    const auto wide = static_cast<std::uint16_t>((byte ^ steps.before) * steps.factors[position]);
    return static_cast<unsigned char>((wide | wide >> 8) ^ steps.after);
}

int Change(unsigned char* buf, int start, int length, const Steps& routine) {
    if (length <= 0) return 1;
    const Steps steps = routine;
    unsigned char* run = buf + start;
    std::size_t left = static_cast<std::size_t>(length);
    for (; left >= kPeriod; left -= kPeriod, run += kPeriod) {
        for (std::size_t i = 0; i < kPeriod; ++i) run[i] = Changed(run[i], i, steps);
    }
    for (std::size_t i = 0; i < left; ++i) run[i] = Changed(run[i], i, steps);
    return 1;
}

unsigned char Low(int key) {
    return static_cast<unsigned char>(key & 0xFF);
}
unsigned char Complement(int key) {
    return static_cast<unsigned char>(~key & 0xFF);
}
bool IsOdd(int key) {
    return (key & 1) != 0;
}

unsigned char Rotated(unsigned char value, int left) {
    const auto wide = static_cast<std::uint16_t>(value << (left & 7));
    return static_cast<unsigned char>(wide | wide >> 8);
}

}  // namespace

unsigned char EncryptionPSW::GetScramblebyte() {
    timeval now{};
    Clock::Get().Now(now);
    std::srand(static_cast<unsigned int>(now.tv_sec));
    return static_cast<unsigned char>(std::rand() % 254 + 1);
}

unsigned char EncryptionPSW::EncryptionGSIByte(unsigned char value, unsigned char key) {
    return key == 0 ? value : static_cast<unsigned char>(value ^ Complement(key));
}

unsigned char EncryptionPSW::DecryptionGSIByte(unsigned char value, unsigned char key) {
    return EncryptionGSIByte(value, key);
}

unsigned char EncryptionPSW::ByteRotateSx(unsigned char value, int count) {
    return count < 1 ? value : Rotated(value, count & 7);
}

unsigned char EncryptionPSW::ByteRotateDx(unsigned char value, int count) {
    return count < 1 ? value : Rotated(value, 8 - (count & 7));
}

bool EncryptionPSW::EncryptionBuffer(int key, unsigned char* buf, int start, int length) {
    if (Low(key) == 0) return true;
    return (IsOdd(key) ? EncryptionBufferFromBufferDispari(key, buf, start, length)
                       : EncryptionBufferFromBufferPari(key, buf, start, length)) == 1;
}

bool EncryptionPSW::DecryptionBuffer(int key, unsigned char* buf, int start, int length) {
    if (Low(key) == 0) return true;
    return (IsOdd(key) ? DecryptionBufferFromBufferDispari(key, buf, start, length)
                       : DecryptionBufferFromBufferPari(key, buf, start, length)) == 1;
}

int EncryptionPSW::EncryptionBufferFromBufferDispari(int key, unsigned char* buf, int start, int length) {
    return Change(buf, start, length, {kOddLeft, Complement(key), 0});
}

int EncryptionPSW::DecryptionBufferFromBufferDispari(int key, unsigned char* buf, int start, int length) {
    return Change(buf, start, length, {kOddRight, 0, Complement(key)});
}

int EncryptionPSW::EncryptionBufferFromBufferPari(int key, unsigned char* buf, int start, int length) {
    return Change(buf, start, length, {kEvenRight, Low(key), 0});
}

int EncryptionPSW::DecryptionBufferFromBufferPari(int key, unsigned char* buf, int start, int length) {
    return Change(buf, start, length, {kEvenLeft, 0, Low(key)});
}

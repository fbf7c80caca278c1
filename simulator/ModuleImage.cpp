#include "simulator/ModuleImage.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"

namespace simulator::ModuleImage {

namespace {

constexpr std::size_t kSumsFrom = 6;
constexpr std::size_t kSumsSize = 4;

std::array<unsigned char, kSumsSize> SumsOf(const Bytes& image) {
    std::uint32_t sum = 0;
    std::uint32_t xorSum = 0;
    for (std::size_t i = 0; i + kOutsideFileSize < image.size(); ++i) {
        const unsigned char byte = image[kSumsFrom + i];
        sum += byte;
        xorSum += static_cast<std::uint32_t>(i & 0xFFFFU) ^ byte;
    }
    const auto low = [](std::uint32_t value) { return static_cast<unsigned char>(value & 0xFFU); };
    return {low(sum >> 8U), low(sum), low(xorSum >> 8U), low(xorSum)};
}

}  // namespace

std::string Header(const Bytes& image, const std::string& key) {
    const auto end = image.begin() + static_cast<std::ptrdiff_t>(std::min(image.size(), kHeader));
    const auto found = std::search(image.begin(), end, key.begin(), key.end());
    if (found == end) return {};
    const auto from = found + static_cast<std::ptrdiff_t>(key.size());
    return {from, std::find(from, end, '\n')};
}

std::size_t BodySize(const Bytes& image) {
    const unsigned long fileSize = std::strtoul(Header(image, "FILE_SIZE:").c_str(), nullptr, 10);
    return fileSize < kOutsideBody ? 0 : fileSize - kOutsideBody;
}

void Scramble(Bytes& image, int mode, unsigned char key) {
    const int start = static_cast<int>(kHeader);
    const int body = static_cast<int>(BodySize(image));
    image[kKeyByte] = key;
    if (mode == 1) EncryptionMode1::EncryptionBuffer(key, image.data(), start, body);
    if (mode == 0) EncryptionPSW::EncryptionBuffer(key, image.data(), start, body);
}

bool SumsHold(const Bytes& image) {
    const auto sums = SumsOf(image);
    return std::equal(sums.begin(), sums.end(), image.end() - kSumsSize);
}

void StoreSums(Bytes& image) {
    const auto sums = SumsOf(image);
    std::copy(sums.begin(), sums.end(), image.end() - kSumsSize);
}

}  // namespace simulator::ModuleImage

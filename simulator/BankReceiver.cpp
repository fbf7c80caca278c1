#include "simulator/BankReceiver.h"

#include <algorithm>
#include <cstdio>

namespace simulator {

namespace {

constexpr std::uint32_t kSumMask = 0xFFFF;

}  // namespace

void BankReceiver::Start(unsigned char first, unsigned char last, std::size_t banks, std::size_t bankSize,
                         Sums sums) {
    data_.clear();
    trailer_.clear();
    first_ = first;
    last_ = last;
    banks_ = banks;
    bankSize_ = bankSize;
    sums_ = sums;
    expected_ = banks * bankSize;
    data_.reserve(expected_);
}

std::size_t BankReceiver::Take(const unsigned char* data, std::size_t size) {
    const std::size_t ofBanks = std::min(size, expected_ - data_.size());
    data_.insert(data_.end(), data, data + ofBanks);
    const std::size_t ofTrailer = std::min(size - ofBanks, kTrailer - trailer_.size());
    trailer_.insert(trailer_.end(), data + ofBanks, data + ofBanks + ofTrailer);
    return ofBanks + ofTrailer;
}

std::string BankReceiver::Complaint() const {
    if (trailer_[0] != 0x1C || trailer_[1] != 0xFF) return "no program command behind the banks";
    if (trailer_[2] != first_ || trailer_[3] != last_)
        return "program command names other banks than the start";
    std::uint32_t sum = 0;
    std::uint32_t xorSum = 0;
    for (std::size_t i = 0; i < data_.size(); ++i) {
        const std::size_t index = sums_ == Sums::PerBank ? i % bankSize_ : i;
        sum += data_[i];
        xorSum += data_[i] ^ static_cast<std::uint32_t>(index);
    }
    const std::uint32_t saidSum = static_cast<std::uint32_t>(trailer_[4] << 8 | trailer_[5]);
    const std::uint32_t saidXor = static_cast<std::uint32_t>(trailer_[6] << 8 | trailer_[7]);
    if (saidSum == (sum & kSumMask) && saidXor == (xorSum & kSumMask)) return {};
    char text[96];
    std::snprintf(text, sizeof text, "bank sums %04x %04x do not fit the banks (%04x %04x)", saidSum, saidXor,
                  sum & kSumMask, xorSum & kSumMask);
    return text;
}

}  // namespace simulator

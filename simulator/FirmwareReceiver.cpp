#include "simulator/FirmwareReceiver.h"

#include <algorithm>
#include <cstdio>

namespace simulator {

namespace {

constexpr std::size_t kCodeBanks = 3;
constexpr std::size_t kByteValues = 256;
constexpr std::uint32_t kSumMask = 0xFFFF;

bool AnswersGroups(const PrinterOptions& options) {
    if (options.mode != "U1" || options.line == Line::Ethernet) return false;
    return options.line == Line::Serial || options.configuration.substr(0, 1) != "0";
}

}  // namespace

FirmwareReceiver::FirmwareReceiver(const PrinterOptions& options)
    : mode_(options.mode),
      bankSize_(options.bankSize),
      bankCount_(options.bankCount),
      answersGroups_(AnswersGroups(options)) {}

std::string FirmwareReceiver::Start(unsigned char first, unsigned char last, std::optional<Exchange> before) {
    if (mode_ != "U1" && mode_ != "U3" && mode_ != "U5") return "banks for a printer of procedure " + mode_;
    const bool oneBank = dataPhase_ && before != Exchange::Release;
    const std::size_t told = std::size_t{last} + 1;
    std::string complaint = oneBank ? BankComplaint(first, last) : GroupComplaint(first, told, before);
    if (!complaint.empty()) return complaint;
    // The count of U3 is one byte as well, but all banks follow; a group of U1 ends where its byte says.
    const std::size_t ofGroup = mode_ == "U3" && bankCount_ != 0 ? bankCount_ : told;
    kind_ = oneBank ? Exchange::DataBank : Exchange::BankGroup;
    dataPhase_ = oneBank;
    banks_ = oneBank ? 1 : ofGroup;
    first_ = first;
    last_ = last;
    trailer_.clear();
    data_.clear();
    data_.reserve(banks_ * bankSize_);
    return {};
}

std::string FirmwareReceiver::GroupComplaint(unsigned char first, std::size_t banks,
                                             std::optional<Exchange> before) const {
    const bool again = mode_ == "U1" && before == Exchange::BankGroup;
    if (before != Exchange::Release && !again) return "banks without the release inquiry before them";
    if (first != 0) return "group does not begin with bank 0";
    if (mode_ == "U5")
        return banks == kCodeBanks && bankCount_ >= kCodeBanks ? "" : "code group is not of three banks";
    if (bankCount_ == 0 || banks % kByteValues == bankCount_ % kByteValues) return {};
    return "group of " + std::to_string(banks) + " banks for " + std::to_string(bankCount_);
}

std::string FirmwareReceiver::BankComplaint(unsigned char first, unsigned char last) const {
    if (first != last) return "data banks come one by one";
    if (first == nextBank_ % kByteValues) return {};
    return "bank " + std::to_string(first) + " in the place of bank " + std::to_string(nextBank_);
}

std::size_t FirmwareReceiver::Take(const unsigned char* data, std::size_t size) {
    const std::size_t ofBanks = std::min(size, banks_ * bankSize_ - data_.size());
    data_.insert(data_.end(), data, data + ofBanks);
    const std::size_t ofTrailer = std::min(size - ofBanks, kTrailer - trailer_.size());
    trailer_.insert(trailer_.end(), data + ofBanks, data + ofBanks + ofTrailer);
    return ofBanks + ofTrailer;
}

std::string FirmwareReceiver::Complaint() const {
    if (trailer_[0] != 0x1C || trailer_[1] != 0xFF) return "no program command behind the banks";
    if (trailer_[2] != first_ || trailer_[3] != last_)
        return "program command names other banks than the start";
    std::uint32_t sum = 0;
    std::uint32_t xorSum = 0;
    for (std::size_t i = 0; i < data_.size(); ++i) {
        // The index of the second sum runs on through the whole group of U1, elsewhere from 0 in each bank.
        const std::size_t index = mode_ == "U1" ? i : i % bankSize_;
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

bool FirmwareReceiver::Completes() const {
    if (mode_ != "U5") return true;
    return (kind_ == Exchange::DataBank ? nextBank_ + 1 : kCodeBanks) >= bankCount_;
}

bool FirmwareReceiver::IsAnswered() const {
    return kind_ == Exchange::DataBank ? !Completes() : answersGroups_;
}

std::string FirmwareReceiver::Name() const {
    if (kind_ == Exchange::BankGroup) return "group of " + std::to_string(banks_) + " banks";
    return "bank " + std::to_string(nextBank_ + 1) + "/" + std::to_string(bankCount_);
}

void FirmwareReceiver::Program() {
    const bool single = kind_ == Exchange::DataBank;
    dataPhase_ = mode_ == "U5" && !Completes();
    if (!single) flash_.clear();
    flash_.insert(flash_.end(), data_.begin(), data_.end());
    nextBank_ = single ? nextBank_ + 1 : kCodeBanks;
}

}  // namespace simulator

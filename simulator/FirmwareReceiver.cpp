#include "simulator/FirmwareReceiver.h"

namespace simulator {

namespace {

constexpr std::size_t kCodeBanks = 3;
constexpr std::size_t kByteValues = 256;

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
    return oneBank ? StartBank(first, last) : StartGroup(first, last, before);
}

std::string FirmwareReceiver::StartGroup(unsigned char first, unsigned char last,
                                         std::optional<Exchange> before) {
    const bool again = mode_ == "U1" && before == Exchange::BankGroup;
    if (before != Exchange::Release && !again) return "banks without the release inquiry before them";
    if (first != 0) return "group does not begin with bank 0";
    std::size_t banks = std::size_t{last} + 1;
    if (std::string complaint = GroupComplaint(banks); !complaint.empty()) return complaint;
    // The count of U3 is one byte as well, but all banks follow; a group of U1 ends where its byte says.
    if (mode_ == "U3" && bankCount_ != 0) banks = bankCount_;
    kind_ = Exchange::BankGroup;
    dataPhase_ = false;
    banks_.Start(first, last, banks, bankSize_,
                 mode_ == "U1" ? BankReceiver::Sums::OverGroup : BankReceiver::Sums::PerBank);
    return {};
}

std::string FirmwareReceiver::GroupComplaint(std::size_t banks) const {
    if (mode_ == "U5")
        return banks == kCodeBanks && bankCount_ >= kCodeBanks ? "" : "code group is not of three banks";
    if (bankCount_ == 0 || banks % kByteValues == bankCount_ % kByteValues) return {};
    return "group of " + std::to_string(banks) + " banks for " + std::to_string(bankCount_);
}

std::string FirmwareReceiver::StartBank(unsigned char first, unsigned char last) {
    if (first != last) return "data banks come one by one";
    if (first != nextBank_ % kByteValues)
        return "bank " + std::to_string(first) + " in the place of bank " + std::to_string(nextBank_);
    kind_ = Exchange::DataBank;
    banks_.Start(first, last, 1, bankSize_, BankReceiver::Sums::PerBank);
    return {};
}

bool FirmwareReceiver::Completes() const {
    if (mode_ != "U5") return true;
    return (kind_ == Exchange::DataBank ? nextBank_ + 1 : kCodeBanks) >= bankCount_;
}

bool FirmwareReceiver::IsAnswered() const {
    return kind_ == Exchange::DataBank ? !Completes() : answersGroups_;
}

std::string FirmwareReceiver::Name() const {
    if (kind_ == Exchange::BankGroup) return "group of " + std::to_string(banks_.Banks()) + " banks";
    return "bank " + std::to_string(nextBank_ + 1) + "/" + std::to_string(bankCount_);
}

void FirmwareReceiver::Program() {
    const bool single = kind_ == Exchange::DataBank;
    dataPhase_ = mode_ == "U5" && !Completes();
    if (!single) flash_.clear();
    flash_.insert(flash_.end(), banks_.Data().begin(), banks_.Data().end());
    nextBank_ = single ? nextBank_ + 1 : kCodeBanks;
}

}  // namespace simulator

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "simulator/PrinterOptions.h"

namespace simulator {

/// Takes firmware by procedures U1, U3 and U5: which groups and banks may come, in what order, which are
/// answered, and what the flash holds afterwards. A start command (1C FD first last) is followed by so many
/// banks of the printer's bank size and the program command (1C FF first last, sum, xor sum).
class FirmwareReceiver {
 public:
    explicit FirmwareReceiver(const PrinterOptions& options);

    /// A start command after the exchange `before`. Empty, and `Take` begins to receive; or what is wrong.
    std::string Start(unsigned char first, unsigned char last, std::optional<Exchange> before);

    /// Takes what belongs to the group or bank; fewer than `size` bytes once its program command is whole.
    std::size_t Take(const unsigned char* data, std::size_t size);

    bool Done() const { return Taken() == Whole(); }
    /// Bytes taken since the start command, and bytes that make the group or bank whole.
    std::size_t Taken() const { return data_.size() + trailer_.size(); }
    std::size_t Whole() const { return banks_ * bankSize_ + kTrailer; }

    /// What is wrong with a group or bank that is done; empty when all is well.
    std::string Complaint() const;

    /// BankGroup or DataBank: which of the two is under way.
    Exchange Kind() const { return kind_; }
    /// Whether the printer answers it once it is programmed.
    bool IsAnswered() const;
    /// Whether the firmware is whole with it.
    bool Completes() const;
    /// How events call it.
    std::string Name() const;

    /// Puts it into the flash.
    void Program();

    void SetFlash(Bytes flash) { flash_ = std::move(flash); }
    const Bytes& Flash() const { return flash_; }

 private:
    static constexpr std::size_t kTrailer = 8;

    std::string GroupComplaint(unsigned char first, std::size_t banks, std::optional<Exchange> before) const;
    std::string BankComplaint(unsigned char first, unsigned char last) const;

    std::string mode_;
    std::size_t bankSize_;
    std::size_t bankCount_;
    bool answersGroups_;
    Exchange kind_ = Exchange::BankGroup;
    unsigned char first_ = 0;
    unsigned char last_ = 0;
    std::size_t banks_ = 0;  // of the group under way
    Bytes data_;
    Bytes trailer_;
    bool dataPhase_ = false;    // U5: the code group is programmed
    std::size_t nextBank_ = 0;  // U5: index of the bank that has to come next
    Bytes flash_;
};

}  // namespace simulator

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "simulator/BankReceiver.h"
#include "simulator/PrinterOptions.h"

namespace simulator {

/// Takes firmware by procedures U1, U3 and U5: which groups and banks may come, in what order, which are
/// answered, and what the flash holds afterwards.
class FirmwareReceiver {
 public:
    explicit FirmwareReceiver(const PrinterOptions& options);

    /// A start command after the exchange `before`. Empty, and `Banks()` begins to receive; or what is wrong.
    std::string Start(unsigned char first, unsigned char last, std::optional<Exchange> before);

    /// The group or bank under way.
    BankReceiver& Banks() { return banks_; }
    /// BankGroup or DataBank: which of the two it is.
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
    std::string StartGroup(unsigned char first, unsigned char last, std::optional<Exchange> before);
    std::string StartBank(unsigned char first, unsigned char last);
    std::string GroupComplaint(std::size_t banks) const;

    std::string mode_;
    std::size_t bankSize_;
    std::size_t bankCount_;
    bool answersGroups_;
    BankReceiver banks_;
    Exchange kind_ = Exchange::BankGroup;
    bool dataPhase_ = false;    // U5: the code group is programmed
    std::size_t nextBank_ = 0;  // U5: index of the bank that has to come next
    Bytes flash_;
};

}  // namespace simulator

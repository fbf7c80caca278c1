#pragma once

#include <cstddef>
#include <string>

#include "simulator/DeviceModel.h"

namespace simulator {

/// Receives what follows a start command (1C FD first last): so many banks of the printer's bank size and the
/// program command (1C FF first last, sum, xor sum) behind them.
class BankReceiver {
 public:
    /// How the index of the second sum runs.
    enum class Sums {
        OverGroup,  ///< on through the whole group (U1)
        PerBank,    ///< from 0 in each bank (U3, U5)
    };

    void Start(unsigned char first, unsigned char last, std::size_t banks, std::size_t bankSize, Sums sums);

    /// Takes what belongs to the group; fewer than `size` bytes once the program command is whole.
    std::size_t Take(const unsigned char* data, std::size_t size);

    bool Done() const { return data_.size() == expected_ && trailer_.size() == kTrailer; }

    /// Bytes taken since the start command, and bytes that make the group whole.
    std::size_t Taken() const { return data_.size() + trailer_.size(); }
    std::size_t Whole() const { return expected_ + kTrailer; }

    /// What is wrong with a group that is done; empty when all is well.
    std::string Complaint() const;

    /// The banks, one after another.
    const Bytes& Data() const { return data_; }
    std::size_t Banks() const { return banks_; }

 private:
    static constexpr std::size_t kTrailer = 8;

    Bytes data_;
    Bytes trailer_;
    std::size_t expected_ = 0;
    std::size_t banks_ = 0;
    std::size_t bankSize_ = 0;
    unsigned char first_ = 0;
    unsigned char last_ = 0;
    Sums sums_ = Sums::OverGroup;
};

}  // namespace simulator

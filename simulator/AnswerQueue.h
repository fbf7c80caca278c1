#pragma once

#include <cstdint>
#include <vector>

#include "simulator/DeviceModel.h"

namespace simulator {

/// What a device has to say and when. Answers to inquiries are forgotten on a cancel or when the connection
/// goes; the result of a module or of firmware is kept for whoever is connected when it falls due.
class AnswerQueue {
 public:
    void Add(Bytes portion, std::uint64_t due, bool isResult);

    /// `portions` over and over, `gapMs` (at least 1) apart.
    void AddEndless(const std::vector<Bytes>& portions, std::uint64_t due, std::uint64_t gapMs,
                    bool isResult);

    /// Takes out what is due, in order of time. An endless answer gives one portion a call at most.
    std::vector<Bytes> Take(std::uint64_t now);

    /// When the next answer falls due; DeviceModel::kNever without one.
    std::uint64_t NextDue() const;

    void DropInquiries();
    void Clear() { pending_.clear(); }

 private:
    struct Pending {
        std::uint64_t due = 0;
        std::vector<Bytes> portions;
        std::size_t next = 0;
        std::uint64_t gapMs = 0;
        bool endless = false;
        bool isResult = false;
    };
    void Insert(Pending pending);

    std::vector<Pending> pending_;  // by time
};

}  // namespace simulator

#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "protocol/StatusBitInfo.h"

/// The descriptions of status bits, at most one for each bit.
class StatusBitList {
 public:
    /// Takes the place of the description of the same bit, or the last place.
    void Put(std::unique_ptr<StatusBitInfo> info);

    void Clear() { listBits.clear(); }

    /// The descriptions of bits 0 to 7 of bytes 1 to `bytes`, in the bits' order. They stay the list's.
    std::vector<StatusBitInfo*> InBitOrder(std::int32_t bytes) const;

    const std::vector<std::unique_ptr<StatusBitInfo>>& All() const { return listBits; }

 private:
    std::vector<std::unique_ptr<StatusBitInfo>> listBits;
};

#pragma once

#include <cstdint>
#include <vector>

#include "protocol/StatusBitInfo.h"
#include "protocol/StatusWayPorts.h"

/// What the bits of the general status mean: the standard bits, and those that the printer describes itself.
class StatusInfoGenData {
 public:
    StatusInfoGenData() { InitWithStandardBits(); }

    /// Puts the standard bits in the place of every description.
    void InitWithStandardBits();

    /// Takes `info` over; it replaces the description of the same bit. False for a missing one.
    bool AddStatusBitInfo(StatusBitInfo* info);
    /// Takes each of them over, in order.
    void AddStatusBitInfoList(const std::vector<StatusBitInfo*>& list);

    /// The descriptions of the bits that the printer supports, in the bits' order. The entries stay
    /// the record's.
    std::vector<StatusBitInfo*> GetOnlyBitsAvailable() const;

    void SetStatusPorts(int ways) { statusPorts = StatusWayPorts(ways); }

    std::int32_t iNumBytes = 4;
    std::uint64_t uiSupportedMask = 0;  ///< bit p stands for bit p % 8 of byte p / 8 + 1
    StatusBitList bitList;
    StatusWayPorts statusPorts{1};
};

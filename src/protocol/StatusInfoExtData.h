#pragma once

#include <cstdint>
#include <vector>

#include "protocol/StatusBitInfo.h"
#include "protocol/StatusWayPorts.h"

/// What the bits of a printer's extended status mean.
class StatusInfoExtData {
 public:
    /// Takes `info` over; it replaces the description of the same bit. A description of a byte that the
    /// status does not have is deleted. False for such a one and for a missing one.
    bool AddStatusBitInfo(StatusBitInfo* info);
    /// Takes each of them over, in order.
    void AddStatusBitInfoList(const std::vector<StatusBitInfo*>& list);

    /// The descriptions in the bits' order. The entries stay the record's.
    std::vector<StatusBitInfo*> GetOnlyBitsAvailable() const;

    void SetStatusPorts(int ways) { statusPorts = StatusWayPorts(ways); }

    std::int32_t iNumBytes = 0;
    StatusBitList bitList;
    StatusWayPorts statusPorts{1};
};

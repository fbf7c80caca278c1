#include "upgrade/LargePackets.h"

#include <algorithm>
#include <climits>
#include <cstdint>

LargePackets::LargePackets(CComPort& port) : guard_(port) {
    guard_.Dismiss();
    // A port without a packet size counts as one that sends single bytes.
    const std::uint64_t replaced = kPacket / std::max(port.GetWPacketSize(), 1U) + 1;
    const std::uint64_t scaled = std::min<std::uint64_t>(replaced * port.GetTimeoutWrite(), INT_MAX);
    port.SetWPacketSize(kPacket);
    port.SetTimeoutWrite(static_cast<unsigned int>(scaled));
}

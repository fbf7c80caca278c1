#pragma once

#include "port/PortSettingsGuard.h"

/// Packets of 57344 bytes for a while, with a write time-out for as many of the port's own packets as one
/// such packet replaces.
class LargePackets {
 public:
    explicit LargePackets(CComPort& port);

    /// Puts the port's values back; without it they stay as they are (kept: after a failed transfer the next
    /// phase opens the port again).
    void Restore() { guard_.Restore(); }

    static constexpr unsigned int kPacket = 57344;  ///< bytes

 private:
    PortSettingsGuard guard_;
};

#pragma once

#include "port/ComPort.h"

/// Remembers the time-outs and the write packet size of a port and puts them back at the end of its scope,
/// for procedures that change them for a while. The port must outlive the guard. Guards may be nested.
class PortSettingsGuard {
 public:
    explicit PortSettingsGuard(CComPort& port)
        : port_(port),
          timeoutTX_(port.uiTimeoutTX),
          timeoutRX_(port.uiTimeoutRX),
          packetSize_(port.uiWPacketSize) {}
    PortSettingsGuard(const PortSettingsGuard&) = delete;
    PortSettingsGuard& operator=(const PortSettingsGuard&) = delete;
    ~PortSettingsGuard() {
        if (active_) Restore();
    }

    /// Puts the remembered values back now; may be called again after further changes. The end of the scope
    /// puts them back once more unless the guard was dismissed.
    void Restore() {
        port_.uiTimeoutTX = timeoutTX_;
        port_.uiTimeoutRX = timeoutRX_;
        port_.uiWPacketSize = packetSize_;
    }

    /// Leaves the port as it is at the end of the scope, where the changed values are to stay.
    void Dismiss() { active_ = false; }

 private:
    CComPort& port_;
    const unsigned int timeoutTX_;
    const unsigned int timeoutRX_;
    const unsigned int packetSize_;
    bool active_ = true;
};

#pragma once

#include "port/ComPort.h"

/// Remembers the time-outs and the write packet size of a port and puts them back at the end of its scope,
/// for procedures that change them for a while. The port must outlive the guard. Guards may be nested.
class PortSettingsGuard {
 public:
    explicit PortSettingsGuard(CComPort& port)
        : port_(port),
          uiTimeoutTX_(port.uiTimeoutTX),
          uiTimeoutRX_(port.uiTimeoutRX),
          uiWPacketSize_(port.uiWPacketSize) {}
    PortSettingsGuard(const PortSettingsGuard&) = delete;
    PortSettingsGuard& operator=(const PortSettingsGuard&) = delete;
    ~PortSettingsGuard() {
        if (bActive_) Restore();
    }

    /// Puts the remembered values back now; may be called again after further changes. The end of the scope
    /// puts them back once more unless the guard was dismissed.
    void Restore() {
        port_.uiTimeoutTX = uiTimeoutTX_;
        port_.uiTimeoutRX = uiTimeoutRX_;
        port_.uiWPacketSize = uiWPacketSize_;
    }

    /// Leaves the port as it is at the end of the scope, where the changed values are to stay.
    void Dismiss() { bActive_ = false; }

 private:
    CComPort& port_;
    const unsigned int uiTimeoutTX_;
    const unsigned int uiTimeoutRX_;
    const unsigned int uiWPacketSize_;
    bool bActive_ = true;
};

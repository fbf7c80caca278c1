#pragma once

#include "port/ComPort.h"

/// Forwards to another port and fails one call, or all from one on: writes and reads move nothing and set an
/// error, the others give false. For loops over a whole run:
///
///     for (int n = 1; ; ++n) {
///         FaultPort port(inner, n, FaultPort::Fault::Once);
///         run(port);
///         if (port.Calls() < n) break;  // every call of the run has failed once
///     }
///
/// Counted are Write, Read, Open and ReOpen; the handshake is made of counted writes and reads.
class FaultPort final : public CComPort {
 public:
    enum class Fault { Once, FromThenOn };

    /// `failAt` counts from 1. `inner` outlives this port, which starts from its settings.
    FaultPort(CComPort& inner, int failAt, Fault fault) : inner_(inner), iFailAt_(failAt), fault_(fault) {
        iPortType = inner.iPortType;
        uiTimeoutTX = inner.uiTimeoutTX;
        uiTimeoutRX = inner.uiTimeoutRX;
        uiWPacketSize = inner.uiWPacketSize;
    }

    int Calls() const { return iCalls_; }

    bool Open() override { return !Fails() && Inner().Open(); }
    bool ReOpen() override { return !Fails() && Inner().ReOpen(); }
    bool Close() override { return Inner().Close(); }
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override {
        *err = 1;
        return Fails() ? 0 : Inner().Write(buf, len, err);
    }
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override {
        *err = 1;
        return Fails() ? 0 : Inner().Read(buf, len, err);
    }
    bool HandshakeCommunication() override { return RunHandshake({5, 1500, false}); }
    bool BackupPortInfo() override { return Inner().BackupPortInfo(); }
    bool RestoreportInfo() override { return Inner().RestoreportInfo(); }

 private:
    bool Fails() {
        ++iCalls_;
        return fault_ == Fault::Once ? iCalls_ == iFailAt_ : iCalls_ >= iFailAt_;
    }
    CComPort& Inner() {
        inner_.uiTimeoutTX = uiTimeoutTX;
        inner_.uiTimeoutRX = uiTimeoutRX;
        inner_.uiWPacketSize = uiWPacketSize;
        return inner_;
    }

    CComPort& inner_;
    const int iFailAt_;
    const Fault fault_;
    int iCalls_ = 0;
};

#pragma once

#include <algorithm>
#include <iterator>
#include <utility>

#include "port/ComPort.h"

/// Forwards to another port and fails one call, or all from one on: writes and reads move nothing and set an
/// error, the other operations give false. For loops over a whole run:
///
///     for (int n = 1; ; ++n) {
///         FaultPort port(inner, n);
///         run(port);
///         if (port.Calls() < n) break;  // every call of the run has failed once
///     }
///
/// Counted are Write, Read, Open and ReOpen; the handshake is made of counted writes and reads.
class FaultPort final : public CComPort {
 public:
    enum class Fault { Once, FromThenOn };

    /// `failAt` counts from 1; 0 never fails. `inner` must outlive this port; it starts from, and keeps up
    /// with, this port's settings.
    explicit FaultPort(CComPort& inner, int failAt = 0, Fault fault = Fault::Once)
        : inner_(inner), iFailAt_(failAt), fault_(fault) {
        iPortType = inner.iPortType;
        TakeSettings();
    }

    int Calls() const { return iCalls_; }

    using CComPort::Init;
    using CComPort::InitWithVid;
    bool Open() override {
        return !Fails() && Forward([](CComPort& port) { return port.Open(); });
    }
    bool ReOpen() override {
        return !Fails() && Forward([](CComPort& port) { return port.ReOpen(); });
    }
    bool Close() override {
        return Forward([](CComPort& port) { return port.Close(); });
    }
    unsigned int Write(const unsigned char* buf, unsigned int len, unsigned int* err) override {
        if (Fails()) return Nothing(err);
        return Forward([=](CComPort& port) { return port.Write(buf, len, err); });
    }
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override {
        if (Fails()) return Nothing(err);
        return Forward([=](CComPort& port) { return port.Read(buf, len, err); });
    }
    void CleanTX() override { inner_.CleanTX(); }
    void CleanRX() override { inner_.CleanRX(); }
    void SetTimeoutTX(int ms) override { uiTimeoutTX = static_cast<unsigned int>(std::max(ms, 0)); }
    void SetTimeoutRX(int ms) override { uiTimeoutRX = static_cast<unsigned int>(std::max(ms, 0)); }
    int GetTimeoutRX() override { return static_cast<int>(uiTimeoutRX); }
    bool HandshakeCommunication() override { return RunHandshake({5, 1500, false}); }
    bool BackupPortInfo() override { return inner_.BackupPortInfo(); }
    bool RestoreportInfo() override { return inner_.RestoreportInfo(); }
    bool DumpPortInfo() override { return inner_.DumpPortInfo(); }
    bool SaveLocationCurrentDevice() override { return inner_.SaveLocationCurrentDevice(); }
    bool RestoreAddrNumFrmLocatio() override { return inner_.RestoreAddrNumFrmLocatio(); }

 private:
    bool Fails() {
        ++iCalls_;
        return iFailAt_ != 0 && (fault_ == Fault::Once ? iCalls_ == iFailAt_ : iCalls_ >= iFailAt_);
    }
    static unsigned int Nothing(unsigned int* err) {
        *err = 1;
        return 0;
    }
    template <class Operation>
    auto Forward(Operation operation) -> decltype(operation(std::declval<CComPort&>())) {
        inner_.uiTimeoutTX = uiTimeoutTX;
        inner_.uiTimeoutRX = uiTimeoutRX;
        inner_.uiWPacketSize = uiWPacketSize;
        const auto result = operation(inner_);
        TakeSettings();
        std::copy(std::begin(inner_.szLastError), std::end(inner_.szLastError), std::begin(szLastError));
        return result;
    }
    void TakeSettings() {
        uiTimeoutTX = inner_.uiTimeoutTX;
        uiTimeoutRX = inner_.uiTimeoutRX;
        uiWPacketSize = inner_.uiWPacketSize;
    }

    CComPort& inner_;
    const int iFailAt_;
    const Fault fault_;
    int iCalls_ = 0;
};

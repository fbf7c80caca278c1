#pragma once

#include <cstdint>

#include "simulator/Descriptor.h"
#include "simulator/DeviceModel.h"
#include "simulator/TransportThread.h"

namespace simulator {

/// Carries a model over TCP on the loopback address, one connection at a time. While the model is not on line
/// the connection is closed and new ones are refused; the port stays reserved. Runs on a thread of its own
/// from `Start` to `Stop` or the destructor; the model (not owned) is then shared with that thread: see
/// SynchronizedModel.
class TcpTransport {
 public:
    /// Reserves `port`, or any free one for 0, and listens. Throws std::system_error when it cannot be had.
    TcpTransport(DeviceModel& model, std::uint16_t port);
    TcpTransport(const TcpTransport&) = delete;
    TcpTransport& operator=(const TcpTransport&) = delete;
    ~TcpTransport() { Stop(); }

    std::uint16_t Port() const { return port_; }

    void Start();
    /// Ends the thread and closes the connection. Any number of times.
    void Stop();

 private:
    void Turn();
    void Listen(bool wanted);
    void Accept();
    void Disconnect();
    void ReceiveSome();
    void SendSome();
    void Wait();

    DeviceModel& model_;
    Descriptor reserver_;  // bound, never listening: holds the port while nobody may connect
    Descriptor listener_;
    Descriptor connection_;
    Bytes input_;
    Bytes output_;
    std::uint16_t port_ = 0;
    TransportThread thread_;
};

}  // namespace simulator

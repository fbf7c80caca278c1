#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "simulator/Descriptor.h"
#include "simulator/DeviceModel.h"

namespace simulator {

/// What the transports over a descriptor share: a thread, from `Start` to the destructor, on which bytes go
/// both ways turn by turn. The model (not owned) is then shared with that thread: see SynchronizedModel.
class LineTransport {
 public:
    LineTransport(const LineTransport&) = delete;
    LineTransport& operator=(const LineTransport&) = delete;

    void Start();

 protected:
    explicit LineTransport(DeviceModel& model);
    ~LineTransport() = default;

    /// Ends the thread after the turn under way; each transport's destructor begins with it.
    void Stop();

    /// Begins a turn: the model is on line or not, and may want its connection cut. Whether bytes pass in
    /// this turn.
    virtual bool Follow(bool onLine, bool cut) = 0;
    /// The host is gone, or the model has just cut it off.
    virtual void Disconnect() = 0;

    /// Reads what is there into the input, without waiting. Bytes read; 0 when there is nothing now; -1 when
    /// the host is gone.
    long Read();

    DeviceModel& model_;
    Descriptor line_;
    Descriptor listener_;  // where a host may call while there is no line
    Bytes output_;         // said by the model and not sent yet

 private:
    void Turn();
    bool Receive();
    bool Send();

    Bytes input_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

/// Carries a model over TCP on the loopback address, one connection at a time. While the model is not on line
/// the connection is closed and new ones are refused; the port stays reserved.
class TcpTransport final : public LineTransport {
 public:
    /// Reserves `port`, or any free one for 0, and listens. Throws std::system_error when it cannot be had.
    TcpTransport(DeviceModel& model, std::uint16_t port);
    ~TcpTransport();

    std::uint16_t Port() const { return port_; }

 private:
    bool Follow(bool onLine, bool cut) override;
    void Disconnect() override;
    void Listen(bool wanted);
    void Accept();

    Descriptor reserver_;  // bound, never listening: holds the port while nobody may connect
    std::uint16_t port_;
};

/// Carries a model over a pseudo-terminal in raw mode, as a printer on a serial line: it does not notice the
/// host opening or closing the line, and what is sent while the model is not on line is lost.
class PtyTransport final : public LineTransport {
 public:
    /// Throws std::system_error when there is no pseudo-terminal.
    explicit PtyTransport(DeviceModel& model);
    ~PtyTransport() { Stop(); }

    /// The device that the host opens.
    const std::string& Path() const { return path_; }

 private:
    bool Follow(bool onLine, bool cut) override;
    void Disconnect() override {}

    std::string path_;
    Descriptor slave_;  // held open, so that the line does not hang up when the host closes it
};

}  // namespace simulator

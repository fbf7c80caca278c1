#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "simulator/Descriptor.h"
#include "simulator/DeviceModel.h"

namespace simulator {

/// Carries a model over a pseudo-terminal in raw mode, as a printer on a serial line: nobody sees the host
/// open or close it, and what is sent while the model is not on line is lost. Runs like TcpTransport.
class PtyTransport {
 public:
    /// Throws std::system_error when there is no pseudo-terminal.
    explicit PtyTransport(DeviceModel& model);
    PtyTransport(const PtyTransport&) = delete;
    PtyTransport& operator=(const PtyTransport&) = delete;
    ~PtyTransport() { Stop(); }

    /// The device that the host opens.
    const std::string& Path() const { return path_; }

    void Start();
    void Stop();

 private:
    void Run();
    void Turn();
    void ReceiveSome();
    void SendSome();

    DeviceModel& model_;
    Descriptor master_;
    Descriptor slave_;  // held open, so that the line does not hang up when the host closes it
    Descriptor wake_;
    std::string path_;
    Bytes input_;
    Bytes output_;
    std::thread thread_;
    std::atomic<bool> stop_{false};
};

}  // namespace simulator

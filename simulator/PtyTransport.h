#pragma once

#include <string>

#include "simulator/Descriptor.h"
#include "simulator/DeviceModel.h"
#include "simulator/TransportThread.h"

namespace simulator {

/// Carries a model over a pseudo-terminal in raw mode, as a printer on a serial line: it does not notice the
/// host opening or closing the line, and what is sent while the model is not on line is lost. Runs like
/// TcpTransport.
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
    void Stop() { thread_.Stop(); }

 private:
    void Turn();

    DeviceModel& model_;
    Descriptor master_;
    Descriptor slave_;  // held open, so that the line does not hang up when the host closes it
    std::string path_;
    Bytes input_;
    Bytes output_;
    TransportThread thread_;
};

}  // namespace simulator

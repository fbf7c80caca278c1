// Writing through the ports beside plain loops of the same bytes to the same kind of sink: TCP over the
// loopback in the packets of a firmware transfer, and a pseudo-terminal.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "bench/TcpSink.h"
#include "harness/Descriptors.h"
#include "harness/PtyPair.h"
#include "port/ComPortEth.h"
#include "port/ComPortRs232.h"
#include "support/Clock.h"

namespace {

constexpr std::size_t kFirmwareSize = std::size_t{16} << 20;
constexpr std::size_t kFirmwarePacket = 57344;
constexpr std::size_t kSerialSize = std::size_t{64} << 10;
constexpr int kBaudrate = 115200;
constexpr std::size_t kSerialPacket = 5760;  // of that rate with a write time-out of one second

/// Reads `count` bytes at the device's side of a pseudo-terminal.
class PtySink {
 public:
    PtySink(PtyPair& pty, std::size_t count)
        : reader_([this, &pty, count] { received_ = pty.Receive(count).size(); }) {}
    /// What came, once all of it did.
    std::size_t Received() {
        reader_.join();
        return received_;
    }

 private:
    std::size_t received_ = 0;
    std::thread reader_;
};

void EthernetPort(benchmark::State& state) {
    const std::vector<unsigned char> data(kFirmwareSize, 0x5A);
    TcpSink sink;
    CComPortEth port;
    port.Init(std::string("127.0.0.1").data(), sink.Port());
    port.SetWPacketSize(kFirmwarePacket);
    port.SetTimeoutTX(10000);
    if (!port.Open()) state.SkipWithError("no connection");
    while (state.KeepRunning()) {
        unsigned int err = 0;
        if (port.Write(data.data(), static_cast<unsigned int>(data.size()), &err) != data.size()) {
            state.SkipWithError("write failed");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kFirmwareSize));
}
BENCHMARK(EthernetPort)->UseRealTime();

void EthernetPlainSend(benchmark::State& state) {
    const std::vector<unsigned char> data(kFirmwareSize, 0x5A);
    SendPlainly(state, data, kFirmwarePacket);
}
BENCHMARK(EthernetPlainSend)->UseRealTime();

void SerialPort(benchmark::State& state) {
    const std::vector<unsigned char> data(kSerialSize, 0x5A);
    PtyPair pty;
    CComPortRs232 port;
    port.Init(pty.Path(), kBaudrate, 0);
    if (!port.Open()) state.SkipWithError("not opened");
    while (state.KeepRunning()) {
        PtySink sink(pty, data.size());
        unsigned int err = 0;
        port.Write(data.data(), static_cast<unsigned int>(data.size()), &err);
        if (sink.Received() != data.size()) state.SkipWithError("bytes lost");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSerialSize));
}
BENCHMARK(SerialPort)->UseRealTime();

/// Plain writes of the same pieces; a full line is waited for by the kernel, or as the port does, 10 ms at a
/// time.
void SerialPlainWrite(benchmark::State& state, bool blocking) {
    const std::vector<unsigned char> data(kSerialSize, 0x5A);
    PtyPair pty;
    CComPortRs232 settings;  // leaves the line raw
    settings.Init(pty.Path(), kBaudrate, 0);
    settings.Open();
    const OwnedDescriptor line(open(pty.Path(), O_RDWR | O_NOCTTY | (blocking ? 0 : O_NONBLOCK)));
    while (state.KeepRunning()) {
        PtySink sink(pty, data.size());
        for (std::size_t sent = 0; sent < data.size();) {
            const ssize_t taken =
                write(line.Get(), data.data() + sent, std::min(kSerialPacket, data.size() - sent));
            if (taken > 0) sent += static_cast<std::size_t>(taken);
            if (taken < 0 && errno == EAGAIN) Sleep({10});
        }
        if (sink.Received() != data.size()) state.SkipWithError("bytes lost");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSerialSize));
}
BENCHMARK_CAPTURE(SerialPlainWrite, blocking, true)->UseRealTime();
BENCHMARK_CAPTURE(SerialPlainWrite, same_waits, false)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

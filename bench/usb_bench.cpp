// Writing through the USB port beside a plain loop of libusb's bulk transfers of the same sizes, both to a
// printer on an emulated bus. The benchmarks run in a child of this program, which sees that bus through the
// real libusb.
#include <benchmark/benchmark.h>
#include <libusb-1.0/libusb.h>

#include <string>
#include <vector>

#include "bench/BusBench.h"
#include "port/ComPortUsb.h"
#include "simulator/usb/UsbBus.h"

namespace {

constexpr unsigned int kPiece = 57344;  // of a firmware transfer
constexpr unsigned int kSize = 16 * kPiece;
constexpr unsigned short kVendor = 0xF0F0;
constexpr unsigned short kProduct = 0x0205;

void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * std::int64_t{kSize});
}

/// The argument is the run's time-out multiplier: with 1 the port pauses a millisecond after each piece.
void WriteThroughPort(benchmark::State& state) {
    CComPortUsb port(static_cast<int>(state.range(0)));
    port.SetWPacketSize(kPiece);
    if (!port.Init(std::string("0205").data(), std::string("1").data()) || !port.Open())
        return state.SkipWithError(port.szLastError);
    const std::vector<unsigned char> data(kSize, 0x5A);
    for ([[maybe_unused]] auto turn : state) {
        unsigned int err = 0;
        if (port.Write(data.data(), kSize, &err) != kSize) return state.SkipWithError(port.szLastError);
    }
    CountBytes(state);
}

void BulkTransferLoop(benchmark::State& state) {
    libusb_init(nullptr);
    libusb_device_handle* const handle = libusb_open_device_with_vid_pid(nullptr, kVendor, kProduct);
    if (handle == nullptr || libusb_claim_interface(handle, 0) != 0) return state.SkipWithError("no device");
    std::vector<unsigned char> data(kSize, 0x5A);
    for ([[maybe_unused]] auto turn : state)
        for (unsigned int at = 0; at < kSize; at += kPiece) {
            int sent = 0;
            if (libusb_bulk_transfer(handle, 0x01, data.data() + at, kPiece, &sent, 1000) != 0)
                state.SkipWithError("transfer failed");
        }
    CountBytes(state);
    libusb_release_interface(handle, 0);
    libusb_close(handle);
    libusb_exit(nullptr);
}

BENCHMARK(BulkTransferLoop)->UseRealTime();
BENCHMARK(WriteThroughPort)->Arg(0)->Arg(1)->UseRealTime();

void PlugPrinter(simulator::UsbBus& bus) {
    simulator::UsbDescription printer;
    printer.identity = {kVendor, kProduct, "BENCH1"};
    bus.Plug(printer);
}

}  // namespace

int main(int argc, char** argv) {
    return RunBenchmarksOnBus(argc, argv, PlugPrinter);
}

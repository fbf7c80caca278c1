// The transfers of the boot-mode engines beside plain loops of libusb's transfers of the same sizes, all to
// boot devices on an emulated bus that acknowledge whatever they get. The benchmarks run in a child of this
// program, which sees that bus through the real libusb.
#include <benchmark/benchmark.h>
#include <libusb-1.0/libusb.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "bench/BusBench.h"
#include "bench/PhaselessClock.h"
#include "package/PSWFile.h"
#include "package/PSWHeaderBin.h"
#include "port/ComPortUsb.h"
#include "port/CommPortSettings.h"
#include "protocol/UpgradeDataInfo.h"
#include "simulator/usb/UsbBus.h"
#include "upgrade/RenesasLink.h"
#include "upgrade/UpgradePrinter_ModeU6.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kSize = 64 * 1024;
constexpr int kUnit = 256;
constexpr std::size_t kReport = 64;
constexpr std::uint16_t kRenesas = 0x045B;
constexpr std::uint16_t kSiliconLabs = 0x10C4;
constexpr std::uint16_t kProduct = 0x0001;
constexpr unsigned int kTimeoutMs = 5000;

void CountBytes(benchmark::State& state, std::size_t size) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

/// A firmware of records of `n` bytes each.
Bytes Records(std::size_t n) {
    Bytes all;
    while (all.size() < kSize) {
        all.push_back('$');
        all.push_back(static_cast<unsigned char>(n));
        all.insert(all.end(), n, 0x5A);
    }
    return all;
}

/// An open device of one vendor, as the plain loops use it.
class BareDevice {
 public:
    explicit BareDevice(std::uint16_t vendor) {
        libusb_init(nullptr);
        handle_ = libusb_open_device_with_vid_pid(nullptr, vendor, kProduct);
        claimed_ = handle_ != nullptr && libusb_claim_interface(handle_, 0) == 0;
    }
    BareDevice(const BareDevice&) = delete;
    BareDevice& operator=(const BareDevice&) = delete;
    ~BareDevice() {
        if (handle_ != nullptr) libusb_close(handle_);
        libusb_exit(nullptr);
    }
    bool IsOpen() const { return claimed_; }
    bool Bulk(unsigned char endpoint, unsigned char* data, std::size_t size) {
        int moved = 0;
        return libusb_bulk_transfer(handle_, endpoint, data, static_cast<int>(size), &moved, kTimeoutMs) == 0;
    }
    bool Report(unsigned char* data) {
        return libusb_control_transfer(handle_, 0x21, 9, 0x0200, 0, data, kReport, kTimeoutMs) ==
               int{kReport};
    }

 private:
    libusb_device_handle* handle_ = nullptr;
    bool claimed_ = false;
};

void RenesasUnitsThroughPort(benchmark::State& state) {
    const PhaselessClock clock;
    CComPortUsb port(1);
    port.SetWPacketSize(57344);
    if (!port.InitWithVid(std::string("045B").data()) || !port.Open())
        return state.SkipWithError(port.szLastError);
    const Bytes firmware(kSize, 0x5A);
    const RenesasUnits units(firmware.data(), firmware.size(), kUnit);
    for ([[maybe_unused]] auto turn : state) {
        if (!units.Send(port, "bench")) return state.SkipWithError("a unit was not acknowledged");
    }
    CountBytes(state, kSize);
}

void RenesasUnitsBareLoop(benchmark::State& state) {
    BareDevice device(kRenesas);
    if (!device.IsOpen()) return state.SkipWithError("no device");
    Bytes frame(kUnit + 6, 0x5A);
    std::array<unsigned char, 512> answer{};
    for ([[maybe_unused]] auto turn : state) {
        for (std::size_t at = 0; at < kSize; at += kUnit) {
            if (!device.Bulk(0x01, frame.data(), frame.size()) ||
                !device.Bulk(0x82, answer.data(), answer.size())) {
                return state.SkipWithError("transfer failed");
            }
        }
    }
    CountBytes(state, kSize);
}

/// A printer that is told to enter its boot loader and has nothing to say.
class MutePrinter final : public CComPort {
 public:
    bool ReOpen() override { return true; }
    bool HandshakeCommunication() override { return true; }
    bool Close() override { return true; }
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override {
        benchmark::DoNotOptimize(buf);
        *err = 0;
        return len;
    }
};

/// A whole SendFW; finding and opening the device is in the time (some milliseconds).
void ReportsThroughEngine(benchmark::State& state) {
    const PhaselessClock clock;
    const Bytes firmware = Records(static_cast<std::size_t>(state.range(0)));
    PSWFile package;
    auto bin = std::make_unique<PSWHeaderBin>();
    bin->uiBinLength = firmware.size();
    bin->pData = CopyBytes({firmware.data(), firmware.size()});
    package.Add(bin.release());
    UpgradeDataInfo info;
    CommPortSettings settings;
    MutePrinter printer;
    UpgradePrinter_ModeU6 engine(3, 1);
    for ([[maybe_unused]] auto turn : state) {
        if (!engine.SendFW(info, printer, package, settings, nullptr, nullptr)) {
            return state.SkipWithError("the engine failed");
        }
    }
    CountBytes(state, firmware.size());
}

void ReportsBareLoop(benchmark::State& state) {
    BareDevice device(kSiliconLabs);
    if (!device.IsOpen()) return state.SkipWithError("no device");
    const auto n = static_cast<unsigned char>(state.range(0));
    const Bytes firmware = Records(n);
    std::array<unsigned char, kReport> report{'$', n};
    std::array<unsigned char, 512> answer{};
    for ([[maybe_unused]] auto turn : state) {
        for (std::size_t at = 0; at < firmware.size(); at += n + 2U) {
            bool taken = true;
            for (std::size_t part = 0; part < n + 2U; part += kReport)
                taken = taken && device.Report(report.data());
            if (!taken || !device.Bulk(0x82, answer.data(), answer.size())) {
                return state.SkipWithError("transfer failed");
            }
        }
    }
    CountBytes(state, firmware.size());
}

BENCHMARK(RenesasUnitsBareLoop)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RenesasUnitsThroughPort)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ReportsBareLoop)->Arg(62)->Arg(253)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ReportsThroughEngine)->Arg(62)->Arg(253)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Plugs in a device that acknowledges each unit.
void PlugRenesas(simulator::UsbBus& bus) {
    simulator::UsbDescription look;
    look.identity = {kRenesas, kProduct, "BENCH1"};
    auto device = std::make_shared<std::weak_ptr<simulator::UsbDevice>>();
    simulator::UsbHandlers handlers;
    handlers.received = [device](const unsigned char* data, std::size_t size) {
        benchmark::DoNotOptimize(data);
        if (size == kUnit + 6) device->lock()->QueueIn({0x06});
    };
    *device = bus.Plug(look, std::move(handlers));
}

/// Plugs in a device that acknowledges each record.
void PlugSiliconLabs(simulator::UsbBus& bus) {
    simulator::UsbDescription look;
    look.identity = {kSiliconLabs, kProduct, "BENCH2"};
    look.port = "1-2";
    auto device = std::make_shared<std::weak_ptr<simulator::UsbDevice>>();
    auto left = std::make_shared<std::size_t>(0);
    simulator::UsbHandlers handlers;
    handlers.control = [device, left](const simulator::ControlRequest& request) {
        if (*left == 0) *left = request.data[1] + std::size_t{2};
        *left -= std::min(*left, kReport);
        if (*left == 0) device->lock()->QueueIn({0x40, 0x00, 0x00, 0x00});
        return true;
    };
    *device = bus.Plug(look, std::move(handlers));
}

void PlugDevices(simulator::UsbBus& bus) {
    PlugRenesas(bus);
    PlugSiliconLabs(bus);
}

}  // namespace

int main(int argc, char** argv) {
    return RunBenchmarksOnBus(argc, argv, PlugDevices);
}

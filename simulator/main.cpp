// A simulated printer on a line, or the sample files to feed it with.
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "simulator/LineTransport.h"
#include "simulator/PrinterModel.h"
#include "simulator/SampleFiles.h"
#include "simulator/ScaledClock.h"
#include "simulator/SimulatorArguments.h"
#include "simulator/SynchronizedModel.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"
#include "simulator/usb/UsbBus.h"
#include "simulator/usb/UsbTransport.h"

namespace simulator {

namespace {

std::unique_ptr<BootDevice> MakeBootDevice(const std::string& mode) {
    if (mode == "U2" || mode == "U4") {
        RenesasBootOptions renesas;
        // The procedure of U4 has no security step: its boot loaders are those that want none.
        if (mode == "U4") renesas.bootRelease = "0.99";
        return std::make_unique<RenesasBootDevice>(renesas);
    }
    if (mode != "U6") return nullptr;
    SiliconLabsBootOptions options;
    options.firmwareSize = SampleFiles::SampleRecords().size();
    return std::make_unique<SiliconLabsBootDevice>(options);
}

void Say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

/// The transports that the words ask for, running.
class Lines {
 public:
    Lines(const SimulatorArguments& arguments, DeviceModel& model) {
        if (arguments.tcpPort) {
            tcp_.emplace(model, *arguments.tcpPort);
            tcp_->Start();
            Say("listening on 127.0.0.1:" + std::to_string(tcp_->Port()));
        }
        if (arguments.serial) {
            serial_.emplace(model);
            serial_->Start();
            Say("device " + serial_->Path());
        }
        if (arguments.usb) StartUsb(model);
    }

 private:
    void StartUsb(DeviceModel& model) {
        bus_ = std::make_unique<UsbBus>();
        usb_ = std::make_unique<UsbTransport>(*bus_, model, UsbDescription());
        usb_->Start();
        std::string line = "environment";
        for (const auto& [name, value] : bus_->ChildEnvironment())
            line.append(" ").append(name).append("=").append(value);
        Say(line);
    }

    std::optional<TcpTransport> tcp_;
    std::optional<PtyTransport> serial_;
    std::unique_ptr<UsbBus> bus_;
    std::unique_ptr<UsbTransport> usb_;
};

/// The signals that are waited for; blocked in every thread made from here on.
sigset_t BlockSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, number);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

int RunPrinter(SimulatorArguments arguments) {
    const sigset_t signals = BlockSignals();
    const ScaledClock clock(arguments.rate, 1);
    arguments.printer.bootDevice = [mode = arguments.printer.mode] { return MakeBootDevice(mode); };
    arguments.printer.onEvent = [](std::uint64_t, const std::string& event) { Say(event); };

    PrinterModel printer(arguments.printer);
    SynchronizedModel shared(printer);
    const Lines lines(arguments, shared);
    int number = 0;
    while (sigwait(&signals, &number) == 0 && number == SIGHUP) {
        shared.Inspect([&] { printer.PowerCycle(NowMs()); });
    }
    return 0;
}

int WriteSamples(const std::string& directory) {
    for (const std::string& path : SampleFiles::WriteAll(directory)) Say(path);
    return 0;
}

int Run(int count, char** words) {
    const SimulatorArguments arguments = SimulatorArguments::Parse(count, words);
    if (arguments.help) {
        std::fputs(SimulatorArguments::Help().c_str(), stdout);
        return 0;
    }
    return arguments.samples ? WriteSamples(*arguments.samples) : RunPrinter(arguments);
}

}  // namespace

}  // namespace simulator

int main(int count, char** words) {
    try {
        return simulator::Run(count, words);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "printer-simulator: %s\n", failure.what());
        return 2;
    }
}

#include "harness/Rig.h"

#include <cstdio>

#include "package/ModuleData.h"
#include "package/PSWFile.h"

namespace {

constexpr std::size_t kSmallBank = 256;
constexpr unsigned kBanks = 5;
constexpr std::uint64_t kSettleMs = 60000;
constexpr std::uint64_t kNamedUs = 1000000;

simulator::EmbeddedModule SmallModule(char letter, char kind, std::uint32_t variant) {
    simulator::ModuleSample sample;
    sample.kind = kind;
    sample.bodySize = 200;
    sample.variant = variant;
    return {letter, simulator::SampleFiles::MakeModule(sample)};
}

COMMPORTTYPE PortOf(Line line) {
    if (line == Line::Serial) return COMMPORT_SERIAL;
    return line == Line::Usb ? COMMPORT_USB : COMMPORT_ETHERNET;
}

CommPortSettings SettingsOf(Line line, const std::string& usbName) {
    CommPortSettings settings;
    settings.type = PortOf(line);
    std::snprintf(settings.szSerDevice, sizeof settings.szSerDevice, "/dev/ttyS7");
    settings.iBaudrate = 9600;
    std::snprintf(settings.szEthAddress, sizeof settings.szEthAddress, "10.0.0.5");
    settings.iEthPort = 9100;
    std::snprintf(settings.szUsbDevice, sizeof settings.szUsbDevice, "%s", usbName.c_str());
    return settings;
}

}  // namespace

Rig::Rig(const std::string& mode, Line onLine, bool newForm) {
    printer.mode = mode;
    printer.line = onLine;
    printer.bankSize = package.bankSize = kSmallBank;
    printer.bankCount = package.banks = kBanks;
    package.newForm = newForm;
    if (newForm) package.modules = {SmallModule('f', 'F', 1), SmallModule('l', 'L', 2)};
    renesas.flashSize = 16 * 1024;
    renesas.userRestarts = true;
    if (mode == "U4") renesas.bootRelease = "0.99";
    if (mode != "U6") return;
    package.firmware = simulator::SampleFiles::MakeRecords(package.release, 5);
    package.banks = 1;
    package.bankSize = package.firmware.size();
}

Bytes Rig::Firmware() const {
    if (!package.firmware.empty()) return package.firmware;
    return simulator::SampleFiles::MakeFirmware(package.release, package.bankSize * package.banks);
}

std::vector<Bytes> Rig::Modules() const {
    std::vector<Bytes> all;
    if (module) {
        all.push_back(simulator::SampleFiles::AsSent(simulator::SampleFiles::MakeModule(*module)));
    } else if (package.newForm) {
        for (const simulator::EmbeddedModule& one : package.modules) all.push_back(one.image);
    }
    return all;
}

bool Rig::HasAll() const {
    const std::vector<Bytes>& has = model->Modules();
    for (const Bytes& one : Modules()) {
        if (std::find(has.begin(), has.end(), one) == has.end()) return false;
    }
    return module || model->FlashImage() == Firmware();
}

void Rig::MakeBootDevice() {
    if (printer.bootDevice) return;
    if (printer.mode == "U6") {
        if (silicon.firmwareSize == 0) silicon.firmwareSize = Firmware().size();
        printer.bootDevice = [this] { return std::make_unique<simulator::SiliconLabsBootDevice>(silicon); };
    } else {
        printer.bootDevice = [this] { return std::make_unique<simulator::RenesasBootDevice>(renesas); };
    }
}

bool Rig::Run() {
    VirtualClock clock;
    MakeBootDevice();
    model = std::make_unique<simulator::PrinterModel>(printer);
    PrinterPort port(clock, *model, line, PortOf(printer.line), timem);
    ModelUsb usb(clock, *model, line, port);
    if (time) time(clock);
    const std::function<void()> also = clock.onWait;
    clock.onWait = [&] {
        if (also) also();
        const std::uint64_t us = clock.waits.back();
        if (us >= kNamedUs) namedMs += us / 1000;
        if (us >= kNamedUs && line.bRecord) std::printf("wait %g s\n", static_cast<double>(us) / 1e6);
        port.Pass();
    };
    const auto settings = [&port] {
        return std::vector<unsigned int>{port.uiTimeoutTX, port.uiTimeoutRX, port.uiWPacketSize};
    };
    const std::vector<unsigned int> before = settings();
    std::optional<LogCapture> capture;
    if (!bSilent) capture.emplace();
    const std::uint64_t began = clock.NowMs();
    const bool verdict = Play(port);
    tookMs = clock.NowMs() - began;
    if (capture) log = capture->Take();
    if (port.uiTimeoutRX == 2 * before[1]) port.uiTimeoutRX /= 2;  // a serial line that was opened
    bSettingsBack = settings() == before;
    bClosed = !port.IsOpen();
    named = port.named;
    clock.Advance(kSettleMs);
    port.Pass();
    return verdict;
}

bool Rig::Play(CComPort& port) {
    Bytes bytes =
        module ? simulator::SampleFiles::MakeModule(*module) : simulator::SampleFiles::MakePackage(package);
    if (damage) damage(bytes);
    const int size = static_cast<int>(bytes.size());
    PSWFile file;
    file.iFileLength = size;
    ModuleData data;
    if (module ? !data.LoadModuleFromMemory(bytes.data(), size)
               : !file.LoadPSWFromMemory(bytes.data(), size, false)) {
        return false;
    }
    if (list) list(file.pswComponents);
    PrinterComm comm(components, timem);
    CommPortSettings settings = SettingsOf(printer.line, usbName);
    const bool verdict = operation ? operation(comm, &port, &settings)
                         : module  ? comm.PrnCom_WriteModule(&port, &data, &settings, nullptr)
                                   : comm.PrnCom_UpgradePrinter(&port, &file, &settings, &file.pswComponents);
    errorCode = comm.iErrorCode;
    return verdict;
}

Given PrinterFaults(std::vector<Fault> faults) {
    return [=](Rig& rig) { rig.printer.faults = faults; };
}
Given LineFaults(std::vector<LineFault> faults) {
    return [=](Rig& rig) { rig.line.faults = faults; };
}
Given Both(Given first, Given second) {
    return [=](Rig& rig) {
        first(rig);
        second(rig);
    };
}

namespace {

/// The first expectation that the log does not meet; empty when it meets all.
std::string Missing(const Lines& log, const Lines& expected) {
    auto at = log.begin();
    for (const std::string& line : expected) {
        if (line[0] == '!') {
            if (std::find(log.begin(), log.end(), line.substr(1)) != log.end()) return line;
            continue;
        }
        at = std::find(at, log.end(), line);
        if (at == log.end()) return line;
        ++at;
    }
    return {};
}

std::string Shown(const Lines& log) {
    return Joined(
        Lines(log.begin(), log.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(log.size(), 150))),
        "\n");
}

void PlayRow(const std::string& mode, const RigRow& row, bool newForm) {
    SCOPED_TRACE(mode + " " + row.what + (newForm ? ", new form" : ", old form"));
    Rig rig(mode, row.line, newForm);
    if (row.given) row.given(rig);
    EXPECT_EQ(rig.Run(), row.end.verdict);
    EXPECT_EQ(Missing(rig.log, row.lines), "") << Shown(rig.log);
    EXPECT_LT(rig.tookMs, 3600000U);
    const bool clean = row.end.verdict && rig.line.faults.empty();
    EXPECT_EQ(clean ? Joined(rig.model->Violations()) : "", "") << Shown(rig.log);

    Bytes firmware = rig.module ? Bytes() : rig.Firmware();
    if (row.end.banks != kAll)
        firmware.resize(
            std::min(firmware.size(), rig.package.bankSize * static_cast<std::size_t>(row.end.banks)));
    EXPECT_TRUE(rig.model->FlashImage() == firmware) << rig.model->FlashImage().size() << " bytes";
    std::vector<Bytes> modules = rig.Modules();
    if (row.end.modules != kAll && (newForm || rig.module))
        modules.resize(static_cast<std::size_t>(row.end.modules));
    EXPECT_TRUE(rig.model->Modules() == modules) << rig.model->Modules().size() << " modules";
    if (row.then) row.then(rig);
}

}  // namespace

void PlayRows(const std::string& mode, const std::vector<RigRow>& rows) {
    for (const RigRow& row : rows) {
        if (row.forms != RigRow::kNew) PlayRow(mode, row, false);
        if (row.forms != RigRow::kOld) PlayRow(mode, row, true);
    }
}

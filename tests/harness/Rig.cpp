#include "harness/Rig.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <tuple>

#include "package/ModuleData.h"
#include "package/PSWFile.h"
#include "support/Listener.h"
#include "terminal/Session.h"

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

}  // namespace

CommPortSettings Rig::SettingsOf(Line line) {
    const COMMPORTTYPE type = line == Line::Serial ? COMMPORT_SERIAL
                              : line == Line::Usb  ? COMMPORT_USB
                                                   : COMMPORT_ETHERNET;
    return {type, "/dev/ttyS7", 9600, 0, "F0F0|0205|SIM0001", "10.0.0.5", 9100};
}

Rig::Rig(const std::string& mode, Line onLine, bool newForm) {
    printer.mode = mode == "module" ? "U3" : mode;
    if (mode == "module") module = simulator::ModuleSample();
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
    const std::vector<Bytes> all = Modules(), &has = model->Modules();
    const auto isThere = [&](const Bytes& one) {
        return std::find(has.begin(), has.end(), one) != has.end();
    };
    return std::all_of(all.begin(), all.end(), isThere) && (module || model->FlashImage() == Firmware());
}

bool Rig::Run() {
    VirtualClock clock(nowMs);
    if (silicon.firmwareSize == 0) silicon.firmwareSize = Firmware().size();
    printer.bootDevice = [this]() -> std::unique_ptr<simulator::BootDevice> {
        if (printer.mode != "U6") return std::make_unique<simulator::RenesasBootDevice>(renesas);
        return std::make_unique<simulator::SiliconLabsBootDevice>(silicon);
    };
    if (model == nullptr) model = std::make_unique<simulator::PrinterModel>(printer);
    PrinterPort port(clock, *model, line, SettingsOf(printer.line).type, timem);
    ModelUsb usb(port);
    clock.onWait = [&] {
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
    if (!bSilent) {
        capture.emplace();
        testing::internal::CaptureStderr();
        setenv("TERM", "xterm", 1);
        RunOptions options;
        options.type = std::array{"ser", "eth", "usb"}[static_cast<std::size_t>(printer.line)];
        options.components = components;
        Session::Begin(options);
    }
    const std::uint64_t began = clock.NowMs();
    bool verdict = false;
    try {
        verdict = Play(port);
    } catch (const RunEnded&) {
        port.Close();
    }
    tookMs = clock.NowMs() - began;
    Listener::Tell(Listener::Event::kOutput, 0, verdict ? "UPGRADE SUCCESS" : "UPGRADE FAILURE");
    Session::End();
    if (capture) {
        log = capture->Take();
        said = std::regex_replace(testing::internal::GetCapturedStderr(), std::regex("\n"), " ");
    }
    if (port.uiTimeoutRX == 2 * before[1]) port.uiTimeoutRX /= 2;  // a serial line that was opened
    bSettingsBack = settings() == before;
    bClosed = !port.IsOpen();
    waits = clock.waits;
    clock.Advance(kSettleMs);
    port.Pass();
    nowMs = clock.NowMs();
    return verdict;
}

bool Rig::Play(CComPort& port) {
    Bytes bytes =
        module ? simulator::SampleFiles::MakeModule(*module) : simulator::SampleFiles::MakePackage(package);
    const int size = static_cast<int>(bytes.size());
    PSWFile file;
    file.iFileLength = size;
    ModuleData data;
    if (module ? !data.LoadModuleFromMemory(bytes.data(), size)
               : !file.LoadPSWFromMemory(bytes.data(), size, false)) {
        return false;
    }
    if (!module) Session::Know(file);
    PrinterComm comm(components, timem);
    CommPortSettings settings = SettingsOf(printer.line);
    const bool verdict = module ? comm.PrnCom_WriteModule(&port, &data, &settings, nullptr)
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

std::string NameOf(const std::string& mode, Line line, bool newForm) {
    const char* const lines[] = {"serial", "ethernet", "usb"};
    return mode + "-" + lines[static_cast<int>(line)] + (mode == "module" ? "" : newForm ? "-new" : "-old");
}

void ExpectRecordedRun(const std::string& line) {
    const char* const path = CONVERSATIONS "/runs.txt";
    static std::set<std::string> recorded;
    if (std::getenv("RECORD_CONVERSATIONS") != nullptr) {
        if (recorded.insert(line).second) std::ofstream(path, std::ios::app) << line << '\n';
        return;
    }
    if (recorded.empty()) {
        std::ifstream file(path);
        for (std::string each; std::getline(file, each);) recorded.insert(each);
    }
    EXPECT_EQ(recorded.count(line), 1U) << "not in " << path << ": " << line;
}

namespace {

/// The first expectation that the log does not meet; empty when it meets all.
std::string Missing(const Lines& log, const Lines& expected) {
    auto at = log.begin();
    for (const std::string& line : expected) {
        const bool absent = line[0] == '!';
        const auto is = [text = line.substr(absent ? 1 : 0)](const std::string& of) {
            return of == text || of.substr(of.find(']') + 1) == text;
        };
        const auto found = std::find_if(absent ? log.begin() : at, log.end(), is);
        if ((found == log.end()) != absent) return line;
        if (!absent) at = found + 1;
    }
    return {};
}

/// The lines that no usual run says, of the log of one that is not; those of a file's fields are left out.
Lines Unusual(const std::string& mode, Line line, bool newForm, const Lines& log) {
    static std::map<std::tuple<std::string, Line, bool>, std::set<std::string>> usual;
    std::set<std::string>& known = usual[{mode, line, newForm}];
    if (known.empty()) {
        Rig rig(mode, line, newForm);
        rig.Run();
        known.insert(rig.log.begin(), rig.log.end());
    }
    Lines unusual;
    for (const std::string& text : log)
        if (text[0] == '[' && text.find("[Extract") != 0 && known.count(text) == 0) unusual.push_back(text);
    return unusual;
}

void PlayRow(const std::string& mode, const RigRow& row, bool newForm) {
    const std::string name = NameOf(mode, row.line, newForm) + ", " + row.what;
    SCOPED_TRACE(name);
    Rig rig(mode, row.line, newForm);
    if (row.given) row.given(rig);
    EXPECT_EQ(rig.Run(), row.end.verdict);
    EXPECT_EQ(Missing(rig.log, row.lines), "") << Joined(rig.log, "\n");
    EXPECT_LT(rig.tookMs, 3600000U);
    EXPECT_TRUE(rig.bClosed || row.end.verdict);
    const bool clean = row.end.verdict && rig.line.faults.empty();
    EXPECT_EQ(clean ? Joined(rig.model->Violations()) : "", "") << Joined(rig.log, "\n");

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
    ExpectRecordedRun(name + ": " + std::to_string(rig.tookMs) + " ms, error code " +
                      std::to_string(rig.errorCode) + ", " +
                      Joined(Unusual(rig.module ? "module" : mode, row.line, newForm, rig.log), " ") +
                      " => " + std::regex_replace(rig.said, std::regex("\033.*?m"), ""));
}

}  // namespace

void PlayRows(const std::string& mode, const std::vector<RigRow>& rows) {
    for (const RigRow& row : rows) {
        if (row.forms != kNew) PlayRow(mode, row, false);
        if (row.forms != kOld) PlayRow(mode, row, true);
    }
}

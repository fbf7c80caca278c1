#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harness/ScriptedPort.h"
#include "package/PSWComponents.h"
#include "renesas_rig.h"

namespace {

using simulator::BootFault;
using simulator::RenesasBootDevice;
using testing::Contains;
using testing::ElementsAre;

const Bytes kEnterBoot{0x1C, 0x4C, 0x49};

TEST(RenesasEntry, JudgesTheAnswerByItsLengthAlone) {
    struct Case {
        const char* name;
        std::vector<Bytes> reads;  ///< an empty one is a read that times out
        bool wholeReads;           ///< as on a serial line, where a read may bring more than is asked
        bool entered;
        std::vector<std::string> lines;
    };
    const std::string kRight = "Correct response, the device is in USB Boot Direct mode!";
    const std::string kWrong = "Wrong response from device! Exit from upgrade procedure...";
    const std::string kTimeout = "ERROR : WAIT TIMEOUT! Exit..";
    const Bytes answer = BytesOf("BOOT_RST");
    const Case cases[] = {
        {"at once", {answer}, false, true, {"Read 8 bytes", "Answer: BOOT_RST", kRight}},
        {"in pieces",
         {BytesOf("BO"), {}, BytesOf("OT_RS"), {}, BytesOf("T")},
         false,
         true,
         {"Read 8 bytes", "Answer: BOOT_RST", kRight}},
        {"another", {BytesOf("BOOT_ERR")}, false, true, {"Read 8 bytes", "Answer: BOOT_ERR", kWrong}},
        {"too long", {BytesOf("BOOT_RST!")}, false, false, {"Read 9 bytes", kTimeout}},
        {"full", {Bytes(16, 'x')}, false, false, {"Read 16 bytes", kTimeout}},
        {"flood", {BytesOf("BOOT_RS"), Bytes(1024, 'x')}, true, false, {"Read 1031 bytes", kTimeout}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        VirtualClock clock;
        ScriptedPort port(&clock, COMMPORT_SERIAL);
        port.bReadsWhole = each.wholeReads;
        port.Expect(kEnterBoot);
        for (const Bytes& read : each.reads) read.empty() ? port.Silence() : port.Answer(read);
        LogCapture log;
        EXPECT_EQ(MakeEngine(Chip::U4)->EnterUSBBootDirectModeOnUSB(port), each.entered);
        std::vector<std::string> lines{"Sending command to enter in USB Boot Direct mode..."};
        lines.insert(lines.end(), each.lines.begin(), each.lines.end());
        EXPECT_EQ(log.Take("EnterUSBBootDirectModeOnUSB"), lines);
    }
}

TEST(RenesasEntry, WaitsTenSecondsTimesTheMultiplier) {
    for (const int timem : {0, 1, 3}) {
        VirtualClock clock;
        ScriptedPort port(&clock, COMMPORT_USB);
        port.Expect(kEnterBoot).Answer("BOOT_RS").SilenceUntilAsked();
        const std::uint64_t began = clock.NowMs();
        LogCapture log;
        EXPECT_FALSE(MakeEngine(Chip::U2, timem)->EnterUSBBootDirectModeOnUSB(port));
        EXPECT_THAT(log.Take("EnterUSBBootDirectModeOnUSB"), Contains("Read 7 bytes"));
        const auto limit = static_cast<std::uint64_t>(timem) * 10000;
        EXPECT_GE(clock.NowMs() - began, limit);
        EXPECT_LE(clock.NowMs() - began, limit + port.uiTimeoutRX);
    }
}

/// A whole SendFW on a printer whose conversation is a script, with the boot device on a bus of its own.
struct LineRun {
    LineRun(Chip chip, COMMPORTTYPE type, const simulator::RenesasBootOptions& options, int timem = 1)
        : printer(&clock, type), device(options), bus(clock, device), engine(MakeEngine(chip, timem)) {
        SetFirmware(package, firmware);
    }

    bool SendFW() { return engine->SendFW(info, printer, package, settings, nullptr, nullptr); }

    VirtualClock clock;
    ScriptedPort printer;
    RenesasBootDevice device;
    ModelBus bus;
    std::shared_ptr<RenesasBoot> engine;
    Bytes firmware = Counting(64);
    PSWFile package;
    UpgradeDataInfo info;
    CommPortSettings settings;
};

ScriptedPort& EntersBoot(ScriptedPort& port) {
    return port.OnReOpen().OnHandshake().Expect(kEnterBoot).Answer("BOOT_RST");
}

TEST(RenesasRun, U4OnASerialLineProgramsTheBootDeviceOnAPortOfItsOwn) {
    LineRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4));
    EntersBoot(run.printer).OnClose();
    run.bus.before = "\n";
    EXPECT_TRUE(run.SendFW());
    EXPECT_EQ(run.device.FlashImage(), run.firmware);
    EXPECT_TRUE(run.device.IsComplete());
    EXPECT_THAT(run.device.Violations(), ElementsAre());
    EXPECT_EQ(run.bus.made, 1);
    EXPECT_EQ(run.printer.uiWPacketSize, 1000U);
}

TEST(RenesasRun, AWrongEntryAnswerOfTheRightLengthIsNotTheEnd) {
    LineRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4));
    run.printer.OnReOpen().OnHandshake().Expect(kEnterBoot).Answer("BOOT_NOK").OnClose();
    EXPECT_TRUE(run.SendFW());
    EXPECT_TRUE(run.device.IsComplete());
}

TEST(RenesasRun, AnEntryWithoutAnswerEndsWithThePortClosed) {
    for (const bool written : {true, false}) {
        LineRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4));
        run.printer.OnReOpen().OnHandshake();
        written ? run.printer.Expect(kEnterBoot).SilenceUntilAsked() : run.printer.FailWrite();
        run.printer.OnClose();
        LogCapture log;
        EXPECT_FALSE(run.SendFW());
        EXPECT_EQ(run.bus.polls, 0);
        const std::vector<std::string> lines = log.Take("EnterUSBBootDirectModeOnUSB");
        EXPECT_EQ(lines.back(), written ? "ERROR : WAIT TIMEOUT! Exit.." : "Error USB Boot Direct mode");
    }
}

TEST(RenesasRun, AFailedHandshakeEndsIt) {
    LineRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4));
    run.printer.OnReOpen().OnHandshake(false);
    LogCapture log;
    EXPECT_FALSE(run.SendFW());
    EXPECT_EQ(log.Take("SendFW"), std::vector<std::string>{"Handshake Communication Error"});
}

TEST(RenesasRun, ABootDeviceThatNeverComesIsWaitedForFortySecondsTimesTheMultiplier) {
    for (const int timem : {0, 1, 2}) {
        for (const bool lists : {true, false}) {
            simulator::RenesasBootOptions options = BootOptions(Chip::U4);
            options.usb.vendor = 0x045C;
            LineRun run(Chip::U4, COMMPORT_SERIAL, options, timem);
            run.bus.bLists = lists;
            run.bus.before = lists ? "\n" : "045B|0025|BOOT1\n";  // a list that failed is not looked at
            EntersBoot(run.printer).OnClose();
            LogCapture log;
            const std::uint64_t began = run.clock.NowMs();
            EXPECT_FALSE(run.SendFW());
            EXPECT_EQ(log.Take("SendFW"),
                      std::vector<std::string>{"Error waiting renesas device timeout..."});
            const auto waited =
                static_cast<int>(run.clock.NowMs() - began) - 5000 * timem;  // the re-open's pause
            EXPECT_GE(waited, 40000 * timem);
            EXPECT_LE(waited, 40000 * timem + 100);
            // Paced by some tens of milliseconds a turn.
            EXPECT_GE(run.bus.polls, 1 + 40000 * timem / 100);
            EXPECT_LE(run.bus.polls, 1 + 40000 * timem / 20);
        }
    }
}

TEST(RenesasRun, AClockThatCannotBeReadMakesNoWaitEndless) {
    simulator::RenesasBootOptions options = BootOptions(Chip::U4);
    options.usb.vendor = 0x045C;
    LineRun never(Chip::U4, COMMPORT_SERIAL, options);
    never.clock.readable = false;
    EntersBoot(never.printer).OnClose();
    EXPECT_FALSE(never.SendFW());

    ScriptedPort silent(&never.clock, COMMPORT_SERIAL);
    silent.Expect(kEnterBoot).SilenceUntilAsked();
    EXPECT_FALSE(never.engine->EnterUSBBootDirectModeOnUSB(silent));
}

TEST(RenesasRun, OfTwoBootDevicesTheFirstIsTaken) {
    LineRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4));
    run.bus.before = "045B|0025|OTHER\n";
    EntersBoot(run.printer).OnClose();
    LogCapture log;
    EXPECT_FALSE(run.SendFW());  // "OTHER" is on the list only
    EXPECT_THAT(log.Take(), Contains("[SendFW]Init Renesas connection Error(1)"));
    EXPECT_EQ(run.device.Count(RenesasBootDevice::kBitRateAdjustment), 0);
}

TEST(RenesasRun, ABootDeviceThatCannotBeOpenedEndsIt) {
    LineRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4));
    run.bus.bOpens = false;
    EntersBoot(run.printer).OnClose();
    LogCapture log;
    EXPECT_FALSE(run.SendFW());
    EXPECT_THAT(log.Take(), Contains("[InitConnectRenesasDevice]Open Renesas device Error"));
}

TEST(RenesasRun, AFirmwareThatDoesNotFitTheUnitsIsAnUpgradeError) {
    for (const Bytes& size : {Bytes{0x37, 2, 0, 48, 0}, Bytes{0x37, 2, 0, 0, 0}}) {
        simulator::RenesasBootOptions options = BootOptions(Chip::U4);
        options.faults.push_back(BootFault::Says(RenesasBootDevice::kUnitSize, size));
        LineRun run(Chip::U4, COMMPORT_SERIAL, options);
        EntersBoot(run.printer).OnClose();
        LogCapture log;
        EXPECT_FALSE(run.SendFW());
        EXPECT_EQ(log.Take("SendFW"), std::vector<std::string>{"Upgrade Error"});
        EXPECT_EQ(run.device.Count(RenesasBootDevice::kAreaSelection), 0);
    }
}

TEST(RenesasRun, AnEmptyFirmwareLeavesThePrinterAlone) {
    LineRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4));
    PSWFile empty;
    LogCapture log;
    EXPECT_FALSE(run.engine->SendFW(run.info, run.printer, empty, run.settings, nullptr, nullptr));
    EXPECT_EQ(log.Take("SendFW"), std::vector<std::string>{"Upgrade file wrong or incomplete:"});
    EXPECT_THAT(run.printer.AllSent(), ElementsAre());
    EXPECT_EQ(run.printer.Calls("Close"), 1);
}

TEST(RenesasRun, U4OnEthernetKeepsItsOwnPortWhichCannotOpenTheBootDevice) {
    LineRun run(Chip::U4, COMMPORT_ETHERNET, BootOptions(Chip::U4));
    EntersBoot(run.printer).OnClose();
    LogCapture log;
    EXPECT_FALSE(run.SendFW());
    const std::vector<std::string> lines = log.Take();
    EXPECT_THAT(lines, Contains("[InitConnectRenesasDevice]Open Renesas device Error"));
    EXPECT_EQ(lines.back(), "[SendFW]Init Renesas connection Error(1)");
    EXPECT_EQ(run.bus.made, 0);
}

TEST(RenesasRun, U2IsRefusedOffUsbWithPackagesOfBothForms) {
    for (const COMMPORTTYPE type : {COMMPORT_SERIAL, COMMPORT_ETHERNET}) {
        for (const bool newForm : {true, false}) {
            LineRun run(Chip::U2, type, BootOptions(Chip::U2));
            PSWComponents components;
            LogCapture log;
            const auto start =
                newForm ? &UpgradePrinter::StartUpgrade_PSW2 : &UpgradePrinter::StartUpgrade_PSW1;
            EXPECT_FALSE((run.engine.get()->*start)(run.info, run.printer, run.package, run.settings, nullptr,
                                                    nullptr, components));
            EXPECT_THAT(log.Take(newForm ? "StartUpgrade_PSW2" : "SendFW"),
                        Contains("Upgrade U2 just support USB port error \\n"));
            EXPECT_THAT(run.printer.AllSent(), ElementsAre());
        }
    }
}

/// The printer and its boot device on one USB port: what the engines use when the printer itself is on USB.
class UsbPrinter final : public simulator::DeviceModel {
 public:
    explicit UsbPrinter(const simulator::RenesasBootOptions& options) : boot(options) {}

    void Receive(const unsigned char* data, std::size_t size, std::uint64_t now) override {
        if (entered) return boot.Receive(data, size, now);
        const Bytes bytes(data, data + size);
        if (bytes == BytesOf(GenericConst::kGetGsi) || bytes == BytesOf(GenericConst::kGetFirmwareRelease)) {
            said.push_back(BytesOf("1.05"));
        } else if (bytes == kEnterBoot) {
            said.push_back(BytesOf("BOOT_RST"));
        }
    }
    std::vector<Bytes> Transmit(std::uint64_t now) override {
        if (entered) return boot.Transmit(now);
        entered = !said.empty() && said.back() == BytesOf("BOOT_RST");
        return std::exchange(said, {});
    }
    std::uint64_t NextEvent(std::uint64_t now) const override {
        return entered ? boot.NextEvent(now) : kNever;
    }
    bool OnLine(std::uint64_t now) override {
        static_cast<void>(now);
        return false;
    }
    std::optional<simulator::UsbIdentity> OnUsb(std::uint64_t now) override {
        return entered ? boot.OnUsb(now) : std::nullopt;
    }
    void ConnectionChanged(bool connected, std::uint64_t now) override {
        boot.ConnectionChanged(connected, now);
    }

    RenesasBootDevice boot;
    bool entered = false;
    std::vector<Bytes> said;
};

struct UsbRun {
    UsbRun(Chip chip, const simulator::RenesasBootOptions& options)
        : model(options), port(clock, model), bus(clock, model), engine(MakeEngine(chip)) {
        port.bOpen = true;
        SetFirmware(package, firmware);
    }
    bool SendFW() { return engine->SendFW(info, port, package, settings, nullptr, nullptr); }

    VirtualClock clock;
    UsbPrinter model;
    ModelPort port;
    ModelBus bus;
    std::shared_ptr<RenesasBoot> engine;
    Bytes firmware = Counting(64);
    PSWFile package;
    UpgradeDataInfo info;
    CommPortSettings settings;
};

TEST(RenesasRun, APrinterOnUsbIsProgrammedOverItsOwnPort) {
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        UsbRun run(chip, BootOptions(chip));
        EXPECT_TRUE(run.SendFW());
        EXPECT_EQ(run.model.boot.FlashImage(), run.firmware);
        EXPECT_THAT(run.model.boot.Violations(), ElementsAre());
        EXPECT_EQ(run.bus.made, 0);
        EXPECT_FALSE(run.port.bOpen);
    }
}

TEST(RenesasRun, OnlyAReleaseThatCannotBeAskedForSendsTheUserToTheService) {
    const std::string kMessage =
        "Impossible to retrieve bootloader release. Please contact Quorva Technical Service at its web site "
        "or "
        "support mail address.";
    const auto linesOf = [](const simulator::RenesasBootOptions& options, std::size_t failWrite) {
        UsbRun run(Chip::U2, options);
        run.port.failWrite = failWrite;
        LogCapture log;
        EXPECT_FALSE(run.SendFW());
        return log.Take("SendFW");
    };
    // Five writes of the handshake, the boot entry and the bit rate come before the release.
    EXPECT_THAT(linesOf(BootOptions("1.00"), 8), ElementsAre("Init Renesas connection Error(10)", kMessage));
    simulator::RenesasBootOptions silent = BootOptions("1.00");
    silent.faults.push_back(BootFault::Silence(RenesasBootDevice::kRelease));
    EXPECT_THAT(linesOf(silent, 0), ElementsAre("Init Renesas connection Error(1)"));
}

}  // namespace

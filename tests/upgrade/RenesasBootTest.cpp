#include "upgrade/RenesasBoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BootRig.h"
#include "package/PSWComponents.h"
#include "simulator/PrinterModel.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;
using simulator::RenesasBootOptions;
using testing::Contains;
using testing::ElementsAre;

const Bytes kEnterBoot{0x1C, 0x4C, 0x49};
const Bytes kFirmware = Pattern(64);

TEST(RenesasEntry, JudgesTheAnswerByItsLengthAlone) {
    struct Case {
        std::vector<Bytes> reads;  ///< an empty one times out; without any the command cannot be written
        bool entered;
        Lines lines;
    };
    const std::string right = "Correct response, the device is in USB Boot Direct mode!";
    const std::string wrong = "Wrong response from device! Exit from upgrade procedure...";
    const std::string timeout = "ERROR : WAIT TIMEOUT! Exit..";
    const Case cases[] = {
        {{BytesOf("BOOT_RST")}, true, {"Read 8 bytes", "Answer: BOOT_RST", right}},
        {{BytesOf("BO"), {}, BytesOf("OT_RS"), {}, BytesOf("T")},
         true,
         {"Read 8 bytes", "Answer: BOOT_RST", right}},
        {{BytesOf("BOOT_ERR")}, true, {"Read 8 bytes", "Answer: BOOT_ERR", wrong}},
        {{BytesOf("BOOT_RST!")}, false, {"Read 9 bytes", timeout}},
        {{}, false, {"Error USB Boot Direct mode"}},
        // A serial read may bring more than it is asked for.
        {{BytesOf("BOOT_RS"), Bytes(1024, 'x')}, false, {"Read 1031 bytes", timeout}},
    };
    for (const Case& each : cases) {
        VirtualClock clock;
        ScriptedPort port(&clock, COMMPORT_SERIAL);
        port.bReadsWhole = true;
        each.reads.empty() ? port.FailWrite() : port.Expect(kEnterBoot);
        for (const Bytes& read : each.reads) read.empty() ? port.Silence() : port.Answer(read);
        LogCapture log;
        EXPECT_EQ(MakeEngine(Chip::U4)->EnterUSBBootDirectModeOnUSB(port), each.entered);
        EXPECT_EQ(log.Take("EnterUSBBootDirectModeOnUSB"),
                  Lines{"Sending command to enter in USB Boot Direct mode..."} + each.lines);
    }
}

TEST(RenesasEntry, WaitsTenSecondsTimesTheMultiplier) {
    for (const int timem : {-1, 0, 1, 3}) {
        VirtualClock clock;
        ScriptedPort port(&clock, COMMPORT_USB);
        port.Expect(kEnterBoot).Answer("BOOT_RS").SilenceUntilAsked();
        const std::uint64_t began = clock.NowMs();
        LogCapture log;
        EXPECT_FALSE(MakeEngine(Chip::U2, timem)->EnterUSBBootDirectModeOnUSB(port));
        EXPECT_THAT(log.Take("EnterUSBBootDirectModeOnUSB"), Contains("Read 7 bytes"));
        const auto limit = static_cast<std::uint64_t>(std::max(timem, 0)) * 10000;
        EXPECT_GE(clock.NowMs() - began, limit);
        EXPECT_LE(clock.NowMs() - began, limit + port.uiTimeoutRX);
    }
}

/// A run whose printer is yet to be scripted.
struct SendRun : BootRun<Device, RenesasBootOptions> {
    SendRun(Chip chip, COMMPORTTYPE type, const RenesasBootOptions& options,
            const Bytes& firmware = kFirmware)
        : BootRun(MakeEngine(chip), type, options, firmware) {}
};

/// A run whose printer enters its boot loader.
struct LineRun : SendRun {
    explicit LineRun(COMMPORTTYPE type, const RenesasBootOptions& options = BootOptions(Chip::U4))
        : SendRun(Chip::U4, type, options) {
        printer.OnReOpen().OnHandshake().Expect(kEnterBoot).Answer("BOOT_RST").OnClose();
    }
};

TEST(RenesasRun, U4OnASerialLineProgramsTheBootDeviceOnAPortOfItsOwn) {
    LineRun run(COMMPORT_SERIAL);
    run.bus.before = "\n";
    EXPECT_EQ(run.SendFW(), std::make_pair(true, Lines{}));
    EXPECT_EQ(run.device.FlashImage(), kFirmware);
    EXPECT_TRUE(run.device.IsComplete());
    EXPECT_EQ(run.bus.made, 1);
    EXPECT_EQ(run.printer.uiWPacketSize, 1000U);
}

TEST(RenesasRun, ABootDeviceIsWaitedForFortySecondsTimesTheMultiplier) {
    for (const int timem : {0, 1, 2}) {
        RenesasBootOptions other = BootOptions(Chip::U4);
        other.usb.vendor = 0x045C;
        LineRun run(COMMPORT_SERIAL, other);
        run.engine->iTimem = timem;
        run.bus.bLists = timem != 1;
        run.bus.before = run.bus.bLists ? "\n" : "045B|0025|BOOT1\n";  // a failed list is not looked at
        EXPECT_EQ(run.SendFW(), std::make_pair(false, Lines{"Error waiting renesas device timeout..."}));
        // The re-open's pause, and a turn every 50 ms.
        EXPECT_EQ(run.clock.WaitedUs(), static_cast<std::uint64_t>(timem) * 45000000);
        EXPECT_EQ(run.bus.polls, 1 + 800 * timem);
    }
}

TEST(RenesasRun, OfTwoBootDevicesTheFirstIsTakenAndOneThatCannotBeOpenedEndsIt) {
    for (const COMMPORTTYPE type : {COMMPORT_SERIAL, COMMPORT_ETHERNET}) {
        for (const bool two : {true, false}) {
            LineRun run(type);
            if (two) run.bus.before = "045B|0025|OTHER\n";  // is on the list only
            run.bus.bOpens = two;
            EXPECT_EQ(run.SendFW(), std::make_pair(false, Lines{"Init Renesas connection Error(1)"}));
            EXPECT_EQ(run.device.Count(Device::kBitRateAdjustment), 0);
            // The Ethernet port is kept, and cannot open a device on USB.
            EXPECT_EQ(run.bus.made, type == COMMPORT_SERIAL ? 1 : 0);
        }
    }
}

TEST(RenesasRun, AFirmwareThatDoesNotFitTheUnitsIsAnUpgradeError) {
    for (const unsigned char size : Bytes{48, 0}) {
        const BootFault says = BootFault::Says(Device::kUnitSize, {0x37, 2, 0, size, 0});
        LineRun run(COMMPORT_SERIAL, BootOptions(Chip::U4, {says}));
        EXPECT_EQ(run.SendFW(), std::make_pair(false, Lines{"Upgrade Error"}));
        EXPECT_EQ(run.device.Count(Device::kAreaSelection), 0);
    }
}

TEST(RenesasRun, WithoutHandshakeEntryOrFirmwareItEndsBeforeTheBootDeviceIsLookedFor) {
    const auto ends = [](const Lines& lines, void (*script)(ScriptedPort&),
                         const Bytes& firmware = kFirmware) {
        SendRun run(Chip::U4, COMMPORT_SERIAL, BootOptions(Chip::U4), firmware);
        script(run.printer);
        EXPECT_EQ(run.SendFW(), std::make_pair(false, lines));
        EXPECT_EQ(run.bus.polls, 0);
    };
    ends({"Handshake Communication Error"}, [](ScriptedPort& port) { port.OnReOpen().OnHandshake(false); });
    ends({}, [](ScriptedPort& port) { port.OnReOpen().OnHandshake().FailWrite().OnClose(); });
    ends({}, [](ScriptedPort& port) {
        port.OnReOpen().OnHandshake().Expect(kEnterBoot).SilenceUntilAsked().OnClose();
    });
    ends({"Upgrade file wrong or incomplete:"}, [](ScriptedPort& port) { port.OnClose(); }, {});
}

TEST(RenesasRun, U2IsRefusedOffUsbWithPackagesOfBothForms) {
    for (const COMMPORTTYPE type : {COMMPORT_SERIAL, COMMPORT_ETHERNET}) {
        for (const bool newForm : {true, false}) {
            SendRun run(Chip::U2, type, BootOptions(Chip::U2));
            PSWComponents components;
            LogCapture log;
            const auto start =
                newForm ? &UpgradePrinter::StartUpgrade_PSW2 : &UpgradePrinter::StartUpgrade_PSW1;
            EXPECT_FALSE((run.engine.get()->*start)(run.info, run.printer, run.package.file, run.settings,
                                                    nullptr, nullptr, components));
            EXPECT_THAT(log.Take(newForm ? "StartUpgrade_PSW2" : "SendFW"),
                        Contains("Upgrade U2 just support USB port error \\n"));
            EXPECT_THAT(run.printer.AllSent(), ElementsAre());
        }
    }
}

TEST(RenesasRun, OnUsbThePrintersOwnPortIsUsedAndOnlyAReleaseThatCannotBeAskedForSendsTheUserToTheService) {
    struct Case {
        std::size_t failWrite;  ///< five of the handshake, the entry and the bit rate come before the release
        std::vector<BootFault> faults;
        Lines lines;
    };
    const std::string message =
        "Impossible to retrieve bootloader release. Please contact Quorva Technical Service at its web site "
        "or support mail address.";
    const Case cases[] = {
        {8, {}, {"Init Renesas connection Error(10)", message}},
        {0, {BootFault::Silence(Device::kRelease)}, {"Init Renesas connection Error(1)"}},
        {0, {}, {}},
    };
    for (const Case& each : cases) {
        simulator::PrinterOptions options;
        options.line = simulator::Line::Usb;
        options.mode = "U2";
        options.bootDevice = [&each] { return std::make_unique<Device>(BootOptions(Chip::U2, each.faults)); };
        VirtualClock clock;
        simulator::PrinterModel model(options);
        ModelPort port(clock, model);
        ModelBus bus(clock, model);
        port.bOpen = true;
        port.failWrite = each.failWrite;
        TestPackage package("106", 1, kFirmware);
        UpgradeDataInfo info;
        CommPortSettings settings;
        LogCapture log;
        EXPECT_EQ(MakeEngine(Chip::U2)->SendFW(info, port, package.file, settings, nullptr, nullptr),
                  each.lines.empty());
        EXPECT_EQ(log.Take("SendFW"), each.lines);
        EXPECT_THAT(model.Violations(), ElementsAre());
        EXPECT_EQ(bus.made, 0);
        EXPECT_FALSE(port.bOpen);
    }
}

}  // namespace

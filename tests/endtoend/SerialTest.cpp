// Printers on a serial line: the built program on a pseudo-terminal.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <termios.h>

#include "endtoend/EndToEnd.h"
#include "simulator/Descriptor.h"
#include "simulator/SampleFiles.h"

using endtoend::Download;
using endtoend::ExpectRun;
using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using endtoend::Upgrade;
using simulator::Bytes;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PackageSample;
using simulator::PrinterOptions;

namespace SampleFiles = simulator::SampleFiles;

namespace {

PrinterOptions OnSerial(std::vector<Fault> faults = {}) {
    PrinterOptions options;
    options.line = Line::Serial;
    options.faults = std::move(faults);
    return options;
}

/// The device alone, without rate and flow control.
std::string Path(const Printer& printer) {
    return printer.Device().substr(0, printer.Device().find(':'));
}

struct UpgradeCase {
    bool newForm;
    const char* release;
    const char* components;
    const char* multiplier;
    const char* rate;
};

void PrintTo(const UpgradeCase& c, std::ostream* out) {
    *out << endtoend::CaseName(Line::Serial, c.newForm, c.release, c.components, c.multiplier) + "Rate" +
                c.rate;
}

class SerialUpgrades : public testing::TestWithParam<UpgradeCase> {};

TEST_P(SerialUpgrades, BringWhatWasChosen) {
    const UpgradeCase& c = GetParam();
    const PackageSample sample = Package(c.newForm, 0x37, c.release);
    const bool firmware = *c.components != '2';
    const bool modules = c.newForm && *c.components != '1';
    Printer printer{OnSerial()};
    const std::string device = Path(printer) + ":" + c.rate + ":HW";
    const RunResult run =
        Upgrade(printer, sample, {"-c", c.components, "-m", c.multiplier, "-t", "ser", "-d", device});

    std::vector<std::string> lines{"[OpenCommunicationPort]COM Port",
                                   "[PrnCom_UpgradePrinter]GetUpgradeInfo OK"};
    if (modules)
        lines.insert(lines.end(), {"[SendAllModules]Send Fonts...", "[SendAllModules]Programming OK",
                                   "[SendAllModules]Send Flash Disk...", "[SendAllModules]Programming OK"});
    if (firmware)
        lines.insert(lines.end(),
                     {"[SendBankFlashGeneric]Sending bank...8/8 (100%)",
                      sample.release == "105" ? "[SendBankFlashGeneric]Same version: Wait then exit..."
                                              : "[SendBankFlashGeneric]Com or Eth port: Wait then exit..."});
    if (modules)
        lines.insert(lines.end(), {"[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    ExpectRun(run, firmware || modules, lines);
    EXPECT_FALSE(run.Has("[HandshakeCommunication]Read GSI OK")) << "a line of Ethernet only\n" << run.Text();
    endtoend::ExpectHolds(printer, sample, firmware, modules);
    if (!firmware) return;
    const std::string expected = sample.release == "105" ? "1.05" : "1.06";
    EXPECT_TRUE(printer.WaitUntil(
        [&](const auto& model) { return model.Restarts() == 1 && model.Release() == expected; }));
}

INSTANTIATE_TEST_SUITE_P(
    Serial, SerialUpgrades,
    testing::Values(UpgradeCase{true, "106", "3", "1", "115200"}, UpgradeCase{true, "105", "3", "1", "57600"},
                    UpgradeCase{true, "106", "1", "0", "115200"}, UpgradeCase{true, "106", "3", "2", "1200"},
                    UpgradeCase{true, "105", "2", "0", "9600"}, UpgradeCase{false, "106", "3", "1", "9600"},
                    UpgradeCase{false, "105", "1", "0", "38400"},
                    UpgradeCase{false, "106", "2", "1", "115200"}),
    testing::PrintToStringParamName());

struct LineCase {
    const char* settings;
    speed_t speed;
};

// The settings outlive the program, since the printer holds the other end of the line. Its flow control is
// hardware whatever the device says.
TEST(Serial, TheLineIsSetAsTheDeviceSays) {
    const LineCase cases[] = {
        {":1200:NONE", B1200}, {":9600:SW", B9600}, {":19200:HW", B19200}, {":115200:NONE", B115200}};
    PrinterOptions options = OnSerial();
    options.setupLines = {"First line", "Second line"};
    Printer printer{options};
    const simulator::Descriptor line(open(Path(printer).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(line.IsOpen());
    for (const LineCase& c : cases) {
        SCOPED_TRACE(c.settings);
        const RunResult run =
            printer.Run({"--printerversion", "-t", "ser", "-d", Path(printer) + c.settings});
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(run.Has("First line")) << run.Text();
        EXPECT_TRUE(run.Has("Second line")) << run.Text();
        termios now{};
        ASSERT_EQ(tcgetattr(line.Get(), &now), 0);
        EXPECT_EQ(cfgetospeed(&now), c.speed);
        EXPECT_EQ(now.c_cflag & (CSIZE | CSTOPB | PARENB | CREAD | CRTSCTS), CS8 | CREAD | CRTSCTS);
        EXPECT_EQ(now.c_iflag & (IXON | IXOFF | IXANY | ICRNL | INLCR | ISTRIP), 0U);
        EXPECT_EQ(now.c_oflag & OPOST, 0U);
        EXPECT_EQ(now.c_lflag & (ICANON | ECHO | ISIG), 0U);
    }
    printer.ExpectNoViolations();
}

TEST(Serial, ModulesOfBothEncodingModesArriveDescrambled) {
    for (const int mode : {0, 1}) {
        SCOPED_TRACE(mode);
        simulator::ModuleSample sample;
        sample.encodingMode = mode;
        sample.code = "FNT-77";
        const Bytes module = SampleFiles::MakeModule(sample);
        PrinterOptions options = OnSerial();
        options.modules = {"DSK-1", mode == 0 ? "FNT-77" : "FNT-7"};
        Printer printer{options};
        ExpectRun(Download(printer, module), true,
                  {mode == 0 ? "[PrnCom_WriteModule]Module supported by this printer"
                             : "[PrnCom_WriteModule]Module not supported by this printer,  proceed anyway!!!",
                   "[SendModuleToDevice]Waiting Answer...", "[SendModuleToDevice]Read Answer len: 1",
                   "[PrnCom_WriteModule]End"});
        EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Modules(); }),
                  std::vector<Bytes>{SampleFiles::AsSent(module)});
        printer.ExpectNoViolations();
    }
}

TEST(Serial, AModuleThatIsRefusedEndsAPackage) {
    Printer printer{OnSerial({Fault::Says(Exchange::Module, {0x12, 0x77}).At(2)})};
    ExpectRun(
        Upgrade(printer, Package(true)), false,
        {"[SendAllModules]Programming OK", "[SendModuleToDevice]Answer Error(0x77) : Program Flash Error",
         "[SendAllModules]Programming Flash Disk Module Error.",
         "[StartUpgrade_PSW2]SendAllModules Failed...", "[PrnCom_UpgradePrinter]Upgrade Error!"});
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 0);
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Modules().size(); }), 1U);
}

TEST(Serial, TheHandshakeIsTriedFiveTimes) {
    for (const int silent : {4, 5}) {
        SCOPED_TRACE(silent);
        Printer printer{OnSerial({Fault::Silence(Exchange::Status).Between(1, silent)})};
        const RunResult run = Upgrade(printer, Package(false));
        EXPECT_EQ(run.Count("[HandshakeCommunication]Read GSI Error... Retry"), 4) << run.Text();
        if (silent == 4) {
            ExpectRun(run, true, {"[HandshakeCommunication]GSI 0x015d "});
        } else {
            ExpectRun(run, false,
                      {"[HandshakeCommunication]Read GSI Error", "[SendFW]Handshake Communication Error",
                       "[StartUpgrade_PSW1]Send FW:{0}", "[PrnCom_UpgradePrinter]Upgrade Error!"});
        }
    }
}

TEST(Serial, AnExtendedStatusIsAskedForAndMayFailToCome) {
    PrinterOptions options = OnSerial();
    options.extendedStatus = 0x1234;
    Printer printer{options};
    ExpectRun(Upgrade(printer, Package(false)), true, {"[HandshakeCommunication]GSI 0x1234 "});
    printer.ExpectNoViolations();

    options.faults = {Fault::Silence(Exchange::ExtendedStatus)};
    Printer halfSilent{options};
    ExpectRun(Upgrade(halfSilent, Package(false)), false,
              {"[HandshakeCommunication]Read GSI FF Error", "[SendFW]Handshake Communication Error"});
}

struct SilenceCase {
    Exchange exchange;
    const char* line;
};

TEST(Serial, ASilentPrinterEndsTheUpgradeWithItsLine) {
    for (const SilenceCase& c :
         {SilenceCase{Exchange::ProtocolVersion, "[PrnCom_UpgradePrinter]Get Prot. release Error"},
          SilenceCase{Exchange::DataAvailable, "[PrnCom_UpgradePrinter]NO Get ProtocollDataAvailable Setup"},
          SilenceCase{Exchange::UpgradeInfo, "[PrnCom_UpgradePrinter]Get Upgrade Info Error"},
          SilenceCase{Exchange::Release, "[HandshakeCommunication]Read FW Release Error"}}) {
        SCOPED_TRACE(c.line);
        Printer printer{OnSerial({Fault::Silence(c.exchange)})};
        ExpectRun(Upgrade(printer, Package(false)), false, {c.line});
        EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 0);
    }
}

TEST(Serial, ASilentPrinterHasNoSetupHeader) {
    struct Case {
        Exchange exchange;
        const char* line;
    };
    for (const Case& c :
         {Case{Exchange::Status, "[PrnCom_ReadSetupData]Communication Layer: Handshake Error"},
          Case{Exchange::ProtocolVersion, "[PrnCom_ReadSetupData]Get Prot. release Error"},
          Case{Exchange::SetupHeader, "[PrnCom_ReadSetupData]Get Cmd_CommandGetHeaderSetup Error"}}) {
        PrinterOptions options = OnSerial({Fault::Silence(c.exchange)});
        options.setupLines = {"First line"};
        Printer printer{options};
        const RunResult run = printer.Run({"--printerversion", "-v"});
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(run.Has(c.line)) << run.Text();
        EXPECT_FALSE(run.Has("First line")) << run.Text();
    }
}

TEST(Serial, ADeviceThatIsNoneIsAFailure) {
    const TemporaryFile package("sample.pfw", SampleFiles::MakePackage(Package(false)));
    const TemporaryFile notATerminal("tty", {});
    struct Case {
        std::string device;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {package.Path() + ".none:115200:HW",
         {"[OpenCommunicationPort]COM Port", "[OpenPort]Error to open Serial port",
          "[Open]Open RS232 Device Error", "[OpenCommunicationPort]Open Port Error",
          "[OpenCommunicationPort]Error: Open RS232 Device Error", "[PrnCom_UpgradePrinter]Open Error"}},
        {notATerminal.Path() + ":115200:HW",
         {"[OpenPort]Error to tcsetattr", "[Open]Open RS232 Device Error",
          "[OpenCommunicationPort]Open Port Error", "[OpenCommunicationPort]Error: Open RS232 Device Error",
          "[PrnCom_UpgradePrinter]Open Error"}},
        {notATerminal.Path() + ":300:HW",
         {"[Init]Error invalid Baudrate", "[OpenCommunicationPort]Open Port Error",
          "[OpenCommunicationPort]Error: Error invalid Baudrate", "[PrnCom_UpgradePrinter]Open Error"}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.device);
        ExpectRun(endtoend::RunProgram({"-f", package.Path(), "-v", "-t", "ser", "-d", c.device}), false,
                  c.lines);
    }
}

// The line goes on to take bytes; a printer that was lost in the middle keeps what it had.
TEST(Serial, APrinterThatStopsListeningKeepsItsFirmware) {
    Printer printer{OnSerial({Fault::Cut(Exchange::BankGroup, 6000)})};
    ExpectRun(Upgrade(printer, Package(false)), true,
              {"[SendBankFlashGeneric]Com or Eth port: Wait then exit..."});
    EXPECT_TRUE(printer.Inspect([](const auto& model) { return model.FlashImage().empty(); }));
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Release(); }), "1.05");
}

}  // namespace

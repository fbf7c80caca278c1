// Printers on USB: the built program with the real libusb on an emulated bus.
#include <gmock/gmock.h>

#include "endtoend/EndToEnd.h"
#include "simulator/SampleFiles.h"
#include "simulator/usb/UsbTransport.h"

using endtoend::Download;
using endtoend::ExpectRun;
using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using endtoend::Upgrade;
using simulator::Bytes;
using simulator::Exchange;
using simulator::Line;
using simulator::PackageSample;
using simulator::PrinterOptions;
using simulator::UsbDescription;
using testing::ElementsAre;

namespace SampleFiles = simulator::SampleFiles;

namespace {

PrinterOptions OnUsb(const std::string& serial = "ABC1") {
    PrinterOptions options;
    options.line = Line::Usb;
    options.usb.serial = serial;
    return options;
}

UsbDescription At(const std::string& port) {
    UsbDescription look;
    look.port = port;
    return look;
}

/// One more printer on the bus of another.
class Neighbour {
 public:
    Neighbour(Printer& printer, const PrinterOptions& options, const std::string& port)
        : model_(options), transport_(printer.Bus(), shared_, At(port)) {
        transport_.Start();
    }

    template <class Function>
    auto Inspect(Function&& function) {
        return shared_.Inspect([&] { return function(model_); });
    }

 private:
    simulator::PrinterModel model_;
    simulator::SynchronizedModel shared_{model_};
    simulator::UsbTransport transport_;
};

TEST(Usb, ThePrintersOnTheBusAreListed) {
    Printer printer{OnUsb()};
    Neighbour second(printer, OnUsb(""), "1-2");
    PrinterOptions strange = OnUsb("NOT-OURS");
    strange.usb.vendor = 0x1234;
    Neighbour foreign(printer, strange, "1-3");
    const RunResult run = printer.Run({"--usbdevlist", "-t", "nothing"});
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.lines.size(), 5U) << run.Text();
    EXPECT_EQ(run.lines[1], "LIST USB DEVICES:");
    EXPECT_THAT(std::vector<std::string>(run.lines.begin() + 2, run.lines.end()),
                testing::UnorderedElementsAre("F0F0|0205|ABC1", "F0F0|0205|", ""));
    EXPECT_EQ(run.lines.back(), "");
}

TEST(Usb, WithoutAPrinterTheListIsEmptyAndAnyNamesNone) {
    simulator::UsbBus bus;
    const RunResult list = endtoend::RunProgram({"--usbdevlist"}, bus.ChildEnvironment());
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.lines,
                ElementsAre("ARGS: usbdevlist=1 filename= type= device=", "LIST USB DEVICES:", ""));

    const TemporaryFile file("font.mod", SampleFiles::MakeModule({}));
    const std::vector<std::string> words{"-f", file.Path(), "-v", "-t", "usb", "-d"};
    std::vector<std::string> any = words;
    any.emplace_back("ANY");
    const RunResult none = endtoend::RunProgram(any, bus.ChildEnvironment());
    EXPECT_EQ(none.status, RunResult::kFailure);
    EXPECT_EQ(none.lines.back(), "device argument not valid") << none.Text();

    std::vector<std::string> named = words;
    named.emplace_back("F0F0|0205|ABC1");
    ExpectRun(endtoend::RunProgram(named, bus.ChildEnvironment()), false,
              {"[OpenCommunicationPort]USB PRN Port", "[OpenCommunicationPort]Open Port Error",
               "[OpenCommunicationPort]Error: ", "[PrnCom_WriteModule]Open Error"});
}

struct NameCase {
    const char* name;
    bool found;
};

// The vendor part says nothing, of the serial number the last character does.
TEST(Usb, APrinterIsFoundByProductAndTheLastCharacterOfItsSerialNumber) {
    const NameCase cases[] = {{"F0F0|0205|ABC1", true},  {"1234|0205|OTHER-1", true},
                              {"F0F0|0205|ABC2", false}, {"F0F0|0206|ABC1", false},
                              {"F0F0|0205|", false},     {"F0F0", false}};
    PrinterOptions options = OnUsb();
    options.setupLines = {"First line"};
    Printer printer{options};
    for (const NameCase& c : cases) {
        SCOPED_TRACE(c.name);
        const RunResult run = printer.Run({"--printerversion", "-v", "-t", "usb", "-d", c.name});
        EXPECT_EQ(run.status, 0) << run.Text();
        EXPECT_EQ(run.Has("First line"), c.found) << run.Text();
        EXPECT_EQ(run.Has("[PrnCom_ReadSetupData]Open Error"), !c.found) << run.Text();
    }
    printer.ExpectNoViolations();
}

TEST(Usb, APrinterWithoutASerialNumberGoesByAnyName) {
    PrinterOptions options = OnUsb("");
    options.setupLines = {"First line"};
    Printer printer{options};
    EXPECT_TRUE(printer.Run({"--printerversion"}).Has("First line"));
    EXPECT_TRUE(printer.Run({"--printerversion", "-t", "usb", "-d", "F0F0|0205|ABC7"}).Has("First line"));
}

struct UpgradeCase {
    bool newForm;
    const char* release;
    const char* components;
    const char* multiplier;
};

void PrintTo(const UpgradeCase& c, std::ostream* out) {
    *out << endtoend::CaseName(Line::Usb, c.newForm, c.release, c.components, c.multiplier);
}

class UsbUpgrades : public testing::TestWithParam<UpgradeCase> {};

TEST_P(UsbUpgrades, BringWhatWasChosen) {
    const UpgradeCase& c = GetParam();
    const PackageSample sample = Package(c.newForm, 0x37, c.release);
    const bool firmware = *c.components != '2';
    const bool modules = c.newForm && *c.components != '1';
    Printer printer{OnUsb()};
    const RunResult run = Upgrade(printer, sample, {"-c", c.components, "-m", c.multiplier});

    std::vector<std::string> lines{"[OpenCommunicationPort]USB PRN Port"};
    if (modules)
        lines.insert(lines.end(), {"[SendAllModules]Send Fonts...", "[SendAllModules]Programming OK"});
    if (firmware) lines.emplace_back("[SendBankFlashGeneric]Sending bank...8/8 (100%)");
    if (firmware && sample.release == "105")
        lines.emplace_back("[SendBankFlashGeneric]Same version: Wait then exit...");
    if (firmware && sample.release == "106")
        lines.insert(lines.end(), {"[SendBankFlashGeneric]Different version: Wait printer reset...",
                                   "[SendBankFlashGeneric]Different version: Printer reset..."});
    if (modules)
        lines.insert(lines.end(), {"[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    ExpectRun(run, firmware || modules, lines);
    endtoend::ExpectHolds(printer, sample, firmware, modules);
}

// The wait before the modules that follow is not multiplied: the printer is back by then.
TEST(Usb, WithoutWaitsThereIsStillOneBeforeTheModules) {
    const PackageSample sample = Package(true);
    Printer printer{OnUsb()};
    ExpectRun(Upgrade(printer, sample, {"-m", "0"}), true,
              {"[SendBankFlashGeneric]Different version: Wait printer reset...",
               "[StartUpgrade_PSW2]Wait before starting modules upgrade!", "[SendAllModules]Send Logos..."});
    endtoend::ExpectHolds(printer, sample, true, true);
}

TEST(Usb, APrinterThatStaysAwayIsNoFailure) {
    for (const char* multiplier : {"0", "1"}) {
        SCOPED_TRACE(multiplier);
        const PackageSample sample = Package(false);
        PrinterOptions options = OnUsb();
        options.restartMs = 600000;
        Printer printer{options};
        const RunResult run = Upgrade(printer, sample, {"-m", multiplier});
        ExpectRun(run, true, {"[SendBankFlashGeneric]Different version: Wait printer reset..."});
        EXPECT_FALSE(run.Has("[SendBankFlashGeneric]Different version: Printer reset...")) << run.Text();
        endtoend::ExpectHolds(printer, sample, true, false);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Usb, UsbUpgrades,
    testing::Values(UpgradeCase{true, "106", "3", "1"}, UpgradeCase{true, "105", "3", "1"},
                    UpgradeCase{true, "106", "1", "1"}, UpgradeCase{true, "106", "2", "0"},
                    UpgradeCase{false, "106", "3", "2"}, UpgradeCase{false, "105", "1", "1"},
                    UpgradeCase{false, "106", "2", "1"}),
    testing::PrintToStringParamName());

TEST(Usb, ModulesOfBothEncodingModesArriveDescrambled) {
    for (const int mode : {0, 1}) {
        SCOPED_TRACE(mode);
        simulator::ModuleSample sample;
        sample.encodingMode = mode;
        const Bytes module = SampleFiles::MakeModule(sample);
        Printer printer{OnUsb()};
        const RunResult run = Download(printer, module);
        ExpectRun(run, true,
                  {"[SendModuleToDevice]Waiting Answer...", "[SendModuleToDevice]Read Answer len: 1"});
        EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Modules(); }),
                  std::vector<Bytes>{SampleFiles::AsSent(module)});
        printer.ExpectNoViolations();
    }
}

// What matters of a serial number is its last character.
TEST(Usb, APrinterThatComesBackWithAnotherSerialNumber) {
    PrinterOptions options = OnUsb();
    options.serialAfterUpgrade = "XYZ1";
    Printer sameAddress{options};
    ExpectRun(Upgrade(sameAddress, Package(true)), true,
              {"[SendBankFlashGeneric]Different version: Printer reset...", "[SendAllModules]Send Logos..."});
    endtoend::ExpectHolds(sameAddress, Package(true), true, true);
}

TEST(Usb, APrinterThatComesBackWithAnotherAddressNumberIsLost) {
    PrinterOptions options = OnUsb();
    options.serialAfterUpgrade = "ABC2";
    for (const bool newForm : {false, true}) {
        SCOPED_TRACE(newForm);
        const PackageSample sample = Package(newForm);
        Printer printer{options};
        const RunResult run = Upgrade(printer, sample);
        EXPECT_FALSE(run.Has("[SendBankFlashGeneric]Different version: Printer reset...")) << run.Text();
        std::vector<std::string> lines{"[SendBankFlashGeneric]Different version: Wait printer reset..."};
        if (newForm)
            lines.insert(lines.end(), {"[StartUpgrade_PSW2]Programming OK!",
                                       "[SendAllModules]ReOpen Error. Num Max Retry found. Throw Error",
                                       "[StartUpgrade_PSW2]SendAllModules Failed..."});
        ExpectRun(run, !newForm, lines);
        EXPECT_TRUE(printer.WaitUntil([](const auto& model) { return model.Release() == "1.06"; }));
        EXPECT_EQ(printer.Inspect([](const auto& model) { return model.FlashImage(); }), sample.firmware);
        printer.ExpectNoViolations();
    }
}

TEST(Usb, OfTwoPrintersSideBySideTheOneThatIsNamedIsUpgraded) {
    for (const bool first : {true, false}) {
        SCOPED_TRACE(first);
        Printer printer{OnUsb("ABC1")};
        Neighbour neighbour(printer, OnUsb("ABC2"), "1-2");
        const PackageSample sample = Package(true);
        ExpectRun(Upgrade(printer, sample, {"-t", "usb", "-d", first ? "F0F0|0205|ABC1" : "F0F0|0205|ABC2"}),
                  true, {"[SendBankFlashGeneric]Different version: Printer reset..."});
        const Bytes mine = printer.Inspect([](const auto& model) { return model.FlashImage(); });
        const Bytes other = neighbour.Inspect([](const auto& model) { return model.FlashImage(); });
        EXPECT_EQ(mine, first ? sample.firmware : Bytes());
        EXPECT_EQ(other, first ? Bytes() : sample.firmware);
        const auto asked = [](const auto& model) { return model.Count(Exchange::ProtocolVersion); };
        EXPECT_EQ(first ? neighbour.Inspect(asked) : printer.Inspect(asked), 0);
        EXPECT_EQ(neighbour.Inspect([](const auto& model) { return model.Modules().size(); }),
                  first ? 0U : sample.modules.size());
        printer.ExpectNoViolations();
        EXPECT_THAT(neighbour.Inspect([](const auto& model) { return model.Violations(); }), ElementsAre());
    }
}

TEST(Usb, AnyIsTheFirstPrinterOfTheList) {
    Printer printer{OnUsb("ABC1")};
    Neighbour neighbour(printer, OnUsb("ABC2"), "1-2");
    const RunResult list = printer.Run({"--usbdevlist"});
    ASSERT_GT(list.lines.size(), 3U);
    const bool mine = list.lines[2] == "F0F0|0205|ABC1";
    EXPECT_EQ(printer.Run({"--printerversion"}).status, 0);
    const auto asked = [](const auto& model) { return model.Count(Exchange::SetupHeader); };
    EXPECT_EQ(printer.Inspect(asked), mine ? 1 : 0) << list.Text();
    EXPECT_EQ(neighbour.Inspect(asked), mine ? 0 : 1) << list.Text();
}

TEST(Usb, AKernelDriverIsTakenOffThePrinterEachTimeItComesBack) {
    UsbDescription look;
    look.interfaces[0].kernelDriver = "usblp";
    const PackageSample sample = Package(true);
    Printer printer{OnUsb(), look};
    ExpectRun(Upgrade(printer, sample), true, {"[SendBankFlashGeneric]Different version: Printer reset..."});
    endtoend::ExpectHolds(printer, sample, true, true);
}

struct TroubleCase {
    const char* name;
    void (*change)(UsbDescription&);
    std::vector<std::string> lines;
};

void PrintTo(const TroubleCase& c, std::ostream* out) {
    *out << c.name;
}

class UsbTroubles : public testing::TestWithParam<TroubleCase> {};

TEST_P(UsbTroubles, EndTheRunWithTheirLine) {
    UsbDescription look;
    GetParam().change(look);
    Printer printer{OnUsb(), look};
    ExpectRun(Upgrade(printer, Package(false), {"-t", "usb", "-d", "F0F0|0205|ABC1"}), false,
              GetParam().lines);
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::ProtocolVersion); }), 0);
}

const TroubleCase kTroubles[] = {
    {"CannotOpen",
     [](UsbDescription& look) { look.faults.cannotOpen = true; },
     {"[FindDevice]Couldn't open device", "[OpenCommunicationPort]Open Port Error",
      "[OpenCommunicationPort]Error: Couldn't open device", "[PrnCom_UpgradePrinter]Open Error"}},
    {"CannotClaim",
     [](UsbDescription& look) { look.faults.cannotClaim = true; },
     {"[Open]libusb_claim_interface error", "[OpenCommunicationPort]Open Port Error",
      "[OpenCommunicationPort]Error: libusb_claim_interface error"}},
    {"KeepsItsDriver",
     [](UsbDescription& look) {
         look.interfaces[0].kernelDriver = "usblp";
         look.faults.undetachable = {0};
     },
     {"[FindDevice]libusb_detach_kernel_driver error",
      "[OpenCommunicationPort]Error: libusb_detach_kernel_driver error"}},
    {"TakesNothing",
     [](UsbDescription& look) { look.faults.busy = true; },
     {"[PrnCom_UpgradePrinter]Get Prot. release Error"}},
};

INSTANTIATE_TEST_SUITE_P(Usb, UsbTroubles, testing::ValuesIn(kTroubles), testing::PrintToStringParamName());

TEST(Usb, APrinterWithoutAConfigurationEndsTheProgram) {
    UsbDescription look;
    look.faults.unconfigured = true;
    Printer printer{OnUsb(), look};
    const RunResult run = Upgrade(printer, Package(false));
    EXPECT_EQ(run.status, RunResult::kFailure);
    EXPECT_THAT(run.lines.back(), testing::StartsWith("Error getting usb config descriptor : -"))
        << run.Text();
}

TEST(Usb, APrinterThatIsPulledOutInsideTheFirmwareIsAFailure) {
    PrinterOptions options = OnUsb();
    options.faults = {simulator::Fault::Cut(Exchange::BankGroup, 10000)};
    Printer printer{options};
    ExpectRun(Upgrade(printer, Package(false)), false,
              {"[SendBankFlashGeneric]Communication Error! exit...", "[SendFW]Upgrade Error",
               "[PrnCom_UpgradePrinter]Upgrade Error!"});
    EXPECT_TRUE(printer.Inspect([](const auto& model) { return model.FlashImage().empty(); }));
}

}  // namespace

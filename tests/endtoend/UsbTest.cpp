// Printers on USB: the built program with the real libusb on an emulated bus.
#include <gmock/gmock.h>

#include "endtoend/Scenario.h"
#include "simulator/usb/UsbTransport.h"

using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::Scenario;
using endtoend::TemporaryFile;
using endtoend::Upgrade;
using simulator::Bytes;
using simulator::Exchange;
using simulator::Line;
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
    const RunResult none =
        endtoend::RunProgram({"-f", file.Path(), "-t", "usb", "-d", "ANY"}, bus.ChildEnvironment());
    EXPECT_EQ(none.status, RunResult::kFailure);
    EXPECT_EQ(none.lines.back(), "device argument not valid") << none.Text();
}

struct NameCase {
    const char* serial;  ///< of the printer
    const char* name;
    bool found;
};

// The vendor part says nothing, of the serial number the last character does; without one any does.
TEST(Usb, APrinterIsFoundByProductAndTheLastCharacterOfItsSerialNumber) {
    const NameCase cases[] = {{"ABC1", "F0F0|0205|ABC1", true},  {"ABC1", "1234|0205|OTHER-1", true},
                              {"ABC1", "F0F0|0205|ABC2", false}, {"ABC1", "F0F0|0206|ABC1", false},
                              {"ABC1", "F0F0|0205|", false},     {"ABC1", "F0F0", false},
                              {"", "F0F0|0205|ABC7", true},      {"", "ANY", true}};
    for (const NameCase& c : cases) {
        SCOPED_TRACE(c.name);
        PrinterOptions options = OnUsb(c.serial);
        options.setupLines = {"First line"};
        Printer printer{options};
        const RunResult run = printer.Run({"--printerversion", "-v", "-t", "usb", "-d", c.name});
        EXPECT_EQ(run.status, 0) << run.Text();
        EXPECT_EQ(run.Has("First line"), c.found) << run.Text();
        EXPECT_EQ(run.Has("[PrnCom_ReadSetupData]Open Error"), !c.found) << run.Text();
        printer.ExpectNoViolations();
    }
}

TEST(Usb, OfTwoPrintersSideBySideTheOneThatIsNamedIsUpgraded) {
    for (const bool first : {true, false}) {
        SCOPED_TRACE(first);
        Scenario scenario("U3", Line::Usb, "");
        scenario.NewForm()
            .Usb(&simulator::UsbIdentity::serial, std::string("ABC1"))
            .Words({"-t", "usb", "-d", first ? "F0F0|0205|ABC1" : "F0F0|0205|ABC2"})
            .Logs({"[SendBankFlashGeneric]Different version: Printer reset..."});
        if (!first) scenario.Holds(0, 0, 0).Asked(Exchange::ProtocolVersion, 0);
        Printer printer{scenario.Options()};
        Neighbour neighbour(printer, OnUsb("ABC2"), "1-2");
        scenario.CheckOn(printer);
        neighbour.Inspect([&](const auto& model) {
            EXPECT_EQ(model.FlashImage(), first ? Bytes() : Package(true).firmware);
            EXPECT_EQ(model.Modules().size(), first ? 0U : Package(true).modules.size());
            EXPECT_EQ(model.Count(Exchange::ProtocolVersion), first ? 0 : 1);
            EXPECT_THAT(model.Violations(), ElementsAre());
        });
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

// Between the code group and the last bank the printer has another address number, and a neighbour that has a
// third one.
TEST(Usb, APrinterOfU5IsFoundAgainWhereItSits) {
    const std::string wait = "Different version: Wait printer reset...";
    Scenario scenario("U5", Line::Usb, "");
    scenario.Banks(5, 1000)
        .NewForm()
        .Usb(&simulator::UsbIdentity::serial, std::string("ABC1"))
        .With(&PrinterOptions::serialInCodePhase, "ABC7")
        .Words({"-t", "usb", "-d", "F0F0|0205|ABC1"})
        .Logs({"[SaveLocationCurrentDevice]Vid:F0F0, Pid:0205, AddrNum:1, Location: 10000000",
               "[SendBankFlashCODE]" + wait,
               "[RestoreAddrNumFrmLocatio]New info Vid:F0F0, Pid:0205, AddrNum:7, Location: 10000000",
               "[SendBankFlashDATA]Sending bank...4/5 (80%)", "[SendBankFlashDATA]Sending bank...5/5 (100%)",
               "[SendBankFlashDATA]" + wait, "[StartUpgrade_PSW2]Programming OK!",
               "[SendAllModules]Send Fonts...", "[SendAllModules]Send Logos..."})
        // It is looked for under the number that it had before.
        .Times("[SendBankFlashCODE]Different version: Printer reset...", 0)
        .Times("[SendBankFlashDATA]Different version: Printer reset... Done", 0);
    Printer printer{scenario.Options()};
    Neighbour neighbour(printer, OnUsb("ABC5"), "1-2");
    scenario.CheckOn(printer);
    neighbour.Inspect([](const auto& model) {
        EXPECT_EQ(model.Count(Exchange::ProtocolVersion), 0);
        EXPECT_EQ(model.Count(Exchange::DataBank), 0);
        EXPECT_THAT(model.Violations(), ElementsAre());
    });
}

Scenario Trouble(const std::string& what, void (*change)(UsbDescription&)) {
    return Scenario("U3", Line::Usb, what).Looks(change).Asked(Exchange::ProtocolVersion, 0);
}

class UsbTroubles : public testing::TestWithParam<Scenario> {};

TEST_P(UsbTroubles, EndWithTheirLine) {
    GetParam().Check();
}

INSTANTIATE_TEST_SUITE_P(
    Usb, UsbTroubles,
    testing::Values(
        // Taken off each time that the printer comes back.
        Scenario("U3", Line::Usb, "HasADriver")
            .NewForm()
            .Looks([](UsbDescription& look) { look.interfaces[0].kernelDriver = "usblp"; })
            .Logs({"[SendBankFlashGeneric]Different version: Printer reset..."}),
        Trouble("CannotOpen", [](UsbDescription& look) { look.faults.cannotOpen = true; })
            .Words({"-t", "usb", "-d", "F0F0|0205|SIM0001"})
            .Fails({"[FindDevice]Couldn't open device", "[OpenCommunicationPort]Open Port Error",
                    "[OpenCommunicationPort]Error: Couldn't open device",
                    "[PrnCom_UpgradePrinter]Open Error"}),
        Trouble("CannotClaim", [](UsbDescription& look) { look.faults.cannotClaim = true; })
            .Fails({"[Open]libusb_claim_interface error", "[OpenCommunicationPort]Open Port Error",
                    "[OpenCommunicationPort]Error: libusb_claim_interface error"}),
        Trouble("KeepsItsDriver",
                [](UsbDescription& look) {
                    look.interfaces[0].kernelDriver = "usblp";
                    look.faults.undetachable = {0};
                })
            .Fails({"[FindDevice]libusb_detach_kernel_driver error",
                    "[OpenCommunicationPort]Error: libusb_detach_kernel_driver error"}),
        Trouble("TakesNothing", [](UsbDescription& look) { look.faults.busy = true; })
            .Fails({"[PrnCom_UpgradePrinter]Get Prot. release Error"})),
    endtoend::NameOf);

TEST(Usb, APrinterWithoutAConfigurationEndsTheProgram) {
    UsbDescription look;
    look.faults.unconfigured = true;
    Printer printer{OnUsb(), look};
    const RunResult run = Upgrade(printer, Package(false));
    EXPECT_EQ(run.status, RunResult::kFailure);
    EXPECT_THAT(run.lines.back(), testing::StartsWith("Error getting usb config descriptor : -"))
        << run.Text();
}

}  // namespace

// Printers of procedures U1, U3 and U5 that refuse, keep silent, say something else, or go away.
#include "endtoend/Scenario.h"

using endtoend::Scenario;
using simulator::Bytes;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PrinterOptions;
using Lines = Scenario::Lines;
using Scenarios = std::vector<Scenario>;

namespace {

constexpr auto kAway = &PrinterOptions::restartMs;
constexpr std::uint64_t kLong = 600000;

std::string Upgrade(const std::string& line) {
    return "[PrnCom_UpgradePrinter]" + line;
}

std::string Group(const std::string& line) {
    return "[SendBankFlashBanksNew]" + line;
}

std::string Generic(const std::string& line) {
    return "[SendBankFlashGeneric]" + line;
}

std::string Code(const std::string& line) {
    return "[SendBankFlashCODE]" + line;
}

std::string Data(const std::string& line) {
    return "[SendBankFlashDATA]" + line;
}

class Faults : public testing::TestWithParam<Scenario> {};

TEST_P(Faults, EndAsTheyShould) {
    GetParam().Check();
}

/// Before anything of the package is sent.
Scenarios Refusals() {
    const auto u3 = [](const std::string& what) {
        return Scenario("U3", Line::Ethernet, what).Words({"-m", "0"});
    };
    const auto silent = [](Line line, Exchange exchange, const std::string& text) {
        return Scenario("U3", line, exchange == Exchange::Release ? "NoRelease" : "NoVersion")
            .Faults({Fault::Silence(exchange)})
            .Fails({text});
    };
    Scenarios all{
        u3("Family").With(&PrinterOptions::family, 5).Fails({Upgrade("Family Compare Error (5,12)")}),
        u3("Model").With(&PrinterOptions::model, 4).Fails({Upgrade("Model Compare Error (4,3)")}),
        u3("Customization")
            .With(&PrinterOptions::customization, 2)
            .Fails({Upgrade("Customization Compare Error (2,1)")}),
        u3("AnyIdentity")
            .With(&PrinterOptions::family, 0)
            .With(&PrinterOptions::model, 0)
            .With(&PrinterOptions::customization, 0),
        u3("NoUpgrades")
            .With(&PrinterOptions::dataAvailable, ~PrinterOptions::kOffersUpgrade & 0xFFU)
            .Fails({Upgrade("Upgrade printer not supported!")}),
        u3("RefusesVersion")
            .Faults({Fault::Refusal(Exchange::ProtocolVersion, 23)})
            .Fails({Upgrade("Return is a Error Answer 23")}),
        u3("RefusesUpgradeInfo")
            .Faults({Fault::Refusal(Exchange::UpgradeInfo, 104)})
            .Fails({Upgrade("Return is a Error Answer 104")}),
        u3("EndlessAnswer")
            .Faults({Fault::Endless(Exchange::UpgradeInfo, Bytes(60000, 'x'), 1)})
            .Fails({Upgrade("Get Upgrade Info Error")}),
    };
    for (const Line line : {Line::Serial, Line::Ethernet})
        all.insert(all.end(),
                   {silent(line, Exchange::ProtocolVersion, Upgrade("Get Prot. release Error")),
                    silent(line, Exchange::Release, "[HandshakeCommunication]Read FW Release Error")});
    return all;
}

/// The status, which is asked for more often on Ethernet.
Scenarios Handshakes() {
    const std::string retry = "[HandshakeCommunication]Read GSI Error... Retry";
    const std::string shown = "[HandshakeCommunication]GSI 0x015d ";
    const Lines failure{"[HandshakeCommunication]Read GSI Error", "[SendFW]Handshake Communication Error",
                        "[StartUpgrade_PSW1]Send FW:{0}", Upgrade("Upgrade Error!")};
    const auto silent = [](Line line, int tries) {
        return Scenario("U3", line, "Silent" + std::to_string(tries))
            .Faults({Fault::Silence(Exchange::Status).Between(1, tries)});
    };
    return {
        silent(Line::Ethernet, 3).Logs({"[HandshakeCommunication]Read GSI OK", shown}).Times(retry, 3),
        silent(Line::Ethernet, 15).Fails(failure),
        silent(Line::Serial, 4).Logs({shown}).Times(retry, 4),
        silent(Line::Serial, 5).Fails(failure).Times(retry, 4),
        Scenario("U3", Line::Serial, "Extended")
            .With(&PrinterOptions::extendedStatus, std::uint16_t{0x1234})
            .Logs({"[HandshakeCommunication]GSI 0x1234 "}),
    };
}

/// U3 asks for nothing after its banks, so that the verdict does not tell of a line that still takes bytes.
Scenarios U3() {
    const std::string end = Generic("Com or Eth port: Wait then exit...");
    const std::string wait = Generic("Different version: Wait printer reset...");
    const std::string reset = Generic("Different version: Printer reset...");
    const auto cut = [](Line line) {
        return Scenario("U3", line, "Cut").Faults({Fault::Cut(Exchange::BankGroup, 6000)}).IsLost();
    };
    const auto usb = [](const std::string& what) {
        return Scenario("U3", Line::Usb, what).Usb(&simulator::UsbIdentity::serial, std::string("ABC1"));
    };
    const auto second = [](Line line, const Bytes& answer) {
        return Scenario("U3", line, "SecondModuleRefused")
            .NewForm()
            .Faults({Fault::Says(Exchange::Module, answer).At(2)});
    };
    const Lines refused{"[SendAllModules]Programming Flash Disk Module Error.",
                        "[StartUpgrade_PSW2]SendAllModules Failed...", Upgrade("Upgrade Error!")};
    return {
        cut(Line::Serial).Logs({end}).Holds(0, 0, 1),
        cut(Line::Usb)
            .Fails(
                {Generic("Communication Error! exit..."), "[SendFW]Upgrade Error", Upgrade("Upgrade Error!")})
            .Groups(1),
        second(Line::Ethernet, {0x95})
            .Fails({"[SendModuleToDevice]Answer Error(0x95) : Checksum Error"}, 0, 1)
            .Logs(refused),
        second(Line::Serial, {0x12, 0x77})
            .Fails({"[SendAllModules]Programming OK",
                    "[SendModuleToDevice]Answer Error(0x77) : Program Flash Error"},
                   0, 1)
            .Logs(refused),
        usb("StaysAway").With(kAway, kLong).Logs({wait}).Times(reset, 0),
        // The wait before the modules that follow is not multiplied: the printer is back by then.
        usb("WithoutWaits")
            .NewForm()
            .Words({"-m", "0"})
            .Logs({wait, "[StartUpgrade_PSW2]Wait before starting modules upgrade!",
                   "[SendAllModules]Send Logos..."}),
        // What matters of a serial number is its last character.
        usb("OtherSerial")
            .NewForm()
            .With(&PrinterOptions::serialAfterUpgrade, "XYZ1")
            .Logs({reset, "[SendAllModules]Send Logos..."}),
        usb("OtherAddressBeforeModules")
            .NewForm()
            .With(&PrinterOptions::serialAfterUpgrade, "ABC2")
            .Fails({wait, "[StartUpgrade_PSW2]Programming OK!",
                    "[SendAllModules]ReOpen Error. Num Max Retry found. Throw Error",
                    "[StartUpgrade_PSW2]SendAllModules Failed..."},
                   PrinterOptions::kBankCount, 2)
            .Times(reset, 0)
            .Restarts(1),
    };
}

constexpr const char* kRepeat =
    "[SendFW]You have problem during the upgrade procedure.  Please repeat the upgrade.";
constexpr const char* kService =
    "[SendFW]You have a serious problem during upgrade phase. Please send your printer to Quorva Technical "
    "Service.";
constexpr const char* kSomeProblem =
    "[SendFW]Some serious problem occurred during the upgrade process. Please repeat operation.";

std::string Try(int number) {
    return "[SendFW]Error on sending banks. This is the " + std::to_string(number) + "/3 try.";
}

Scenario U1(Line line, const std::string& what) {
    return Scenario("U1", line, what).Banks(4, 1000);
}

/// The first group meets the fault: it is sent again and taken, or that was all.
Scenarios U1Answers() {
    const std::string end = Group("Sending flash block end  ...4/4");
    const auto again = [](Line line, const std::string& what, const Bytes& answer, const std::string& text,
                          const char* forTheUser) {
        Fault fault = Fault::Says(Exchange::BankGroup, answer);
        if (answer.empty()) fault = Fault::Silence(Exchange::BankGroup);
        return U1(line, what)
            .Faults({fault.At(1)})
            .Logs(
                {text, forTheUser, Try(1), Group("Answer: NO_ERROR_COM"), Group("Upgrade Return Status: 1")})
            .Groups(2);
    };
    const auto fatal = [](Line line, const std::string& what, unsigned char answer) {
        return U1(line, what)
            .Faults({Fault::Says(Exchange::BankGroup, {answer}).At(1)})
            .Fails({Group("Answer: " + what)})
            .Times(Try(1), 0)
            .Groups(1);
    };
    return {
        again(Line::Serial, "Checksum", {0x99}, Group("Answer: ERROR_CECKSUM"), kRepeat),
        again(Line::Usb, "NotDeleted", {0x88}, Group("Answer: ERROR_BANK_NOT_DELETED"), kService),
        again(Line::Usb, "TwoBytes", {0x66, 0x66}, end, kSomeProblem),
        again(Line::Serial, "Never", {}, end, kSomeProblem),
        fatal(Line::Serial, "ERROR_BANK_DAMAGED", 0x66),
    };
}

Scenarios U1Rest() {
    const std::string taken = Group("Programming answer: 0xaa");
    const std::string other = Group("New FW Release :1.07");
    const Lines unprogrammed{Group("Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED"),
                             Group("Upgrade Return Status: 0"), kService};
    return {
        U1(Line::Serial, "Late").Faults({Fault::Late(Exchange::BankGroup, 60000)}).Logs({taken}),
        U1(Line::Ethernet, "OtherRelease")
            .With(&PrinterOptions::releaseAfter, "1.07")
            .Fails({other}, 4)
            .Logs(unprogrammed)
            .Logs({Try(4), "[StartUpgrade_PSW1]Send FW:0"})
            .Times(other, 4)
            .Groups(4),
        U1(Line::Usb, "OtherSerial")
            .NewForm()
            .Usb(&simulator::UsbIdentity::serial, std::string("ABC1"))
            .With(&PrinterOptions::serialAfterUpgrade, "XYZ1")
            .Logs({Group("Answer: NO_ERROR_COM"), "[SendAllModules]Send Logos..."}),
        // The group counts its banks in one byte.
        U1(Line::Serial, "Of257BanksTheLowByteIsSent")
            .Banks(257, 16)
            .NewForm()
            .Words({"-c", "1"})
            .Logs({Group("Sending flash block end  ...1/1"), Group("Answer: NO_ERROR_COM")})
            .Holds(1, 0, 1),
    };
}

Scenario U5(Line line, const std::string& what, unsigned banks) {
    return Scenario("U5", line, what).Banks(banks, 1000);
}

/// Of the bank's answer, the data banks counted from 1, three of them in all: what was programmed before
/// stays programmed.
Scenarios U5Answers() {
    const auto portions = [](std::vector<Bytes> some) {
        Fault fault = Fault::Silence(Exchange::DataBank);
        fault.answers = std::move(some);
        fault.gapMs = 2000;
        return fault;
    };
    const auto says = [](const Bytes& answer) { return Fault::Says(Exchange::DataBank, answer); };
    const auto fails = [](Line line, const std::string& what, unsigned bank, Fault fault,
                          const std::string& text) {
        return U5(line, what, 6)
            .Faults({fault.At(static_cast<int>(bank))})
            .Fails({Data("Waiting Answer..."), Data(text), "[SendFW]Upgrade Error"}, bank + 2)
            .Asked(Exchange::DataBank, static_cast<int>(bank));
    };
    const auto taken = [](Line line, const std::string& what, int bank, Fault fault) {
        return U5(line, what, 6)
            .Faults({fault.At(bank)})
            .Logs({Data("Waiting Answer...")})
            .Asked(Exchange::DataBank, 3);
    };
    const Fault silence = Fault::Silence(Exchange::DataBank);
    return {
        fails(Line::Usb, "FlashError", 1, says({0x00, 0x77, 0x33}),
              "Answer Error(0x77) : Program Flash Error"),
        fails(Line::Serial, "ChecksumError", 2, says({0x99}), "Answer Error(0x99) : Generic Error"),
        fails(Line::Ethernet, "Never", 2, silence, "Wait Answer Error"),
        taken(Line::Usb, "InPortions", 2, portions({{0x95}, {0xAA}})),
        taken(Line::Ethernet, "Late", 2, Fault::Late(Exchange::DataBank, 30000)),
    };
}

/// A wait of zero discards the answer to a bank, if a printer that restarts is there to hear of the bank at
/// all. Opening a serial line again discards what is still on its way.
Scenario U5Impatient(Line line, bool back, const std::string& failure) {
    Scenario scenario = U5(line, back ? "WithoutWaits" : "WithoutWaitsAway", 5);
    scenario.NewForm()
        .Words({"-m", "0"})
        .With(&PrinterOptions::programMs, 0U)
        .With(kAway, back ? 0U : kLong)
        .Fails({Code("Sending command to program Flash..."), Data("Sending command to start upgrade..."),
                failure, "[SendFW]Upgrade Error", "[StartUpgrade_PSW2]Programming SW NOT OK!",
                Upgrade("Upgrade Error!")},
               back ? 4 : 3)
        .Asked(Exchange::DataBank, back ? 1 : 0);
    return line == Line::Serial ? scenario.HoldsAnything() : scenario;
}

Scenarios U5Rest() {
    const std::string discarded = Data("Wait Answer Error");
    const std::string lost = Data("Communication Error! exit...");
    const Lines incomplete{"[SendFW]Upgrade file wrong or incomplete:",
                           "[StartUpgrade_PSW2]Programming SW NOT OK!"};
    return {
        U5Impatient(Line::Serial, true, discarded),
        U5Impatient(Line::Ethernet, true, discarded),
        U5Impatient(Line::Usb, true, discarded),
        U5Impatient(Line::Usb, false, lost),
        U5(Line::Ethernet, "OfTwoBanks", 2).NewForm().Fails(incomplete),
        U5(Line::Usb, "PulledOutInsideABank", 5)
            .Faults({Fault::Cut(Exchange::DataBank, 500)})
            .Fails({Data("Sending bank...4/5 (80%)"), Data("Communication Error! exit..."),
                    "[SendFW]Upgrade Error"},
                   3)
            .IsLost(),
        // Commands name a bank by its low byte; the progress and the order of the banks do not.
        U5(Line::Serial, "Of260BanksEachIsSent", 260)
            .Banks(260, 16)
            .NewForm()
            .Words({"-c", "1"})
            .With(&PrinterOptions::bankMs, 0U)
            .Logs({Data("Sending bank...256/260 (98%)"), Data("Sending bank...257/260 (98%)"),
                   Data("Sending bank...260/260 (100%)"), Data("Wait than exit...")})
            .Holds(260, 0, 1),
    };
}

INSTANTIATE_TEST_SUITE_P(Refusals, Faults, testing::ValuesIn(Refusals()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(Handshakes, Faults, testing::ValuesIn(Handshakes()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(Groups, Faults, testing::ValuesIn(U3()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(U1Answers, Faults, testing::ValuesIn(U1Answers()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(U1Rest, Faults, testing::ValuesIn(U1Rest()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(U5Answers, Faults, testing::ValuesIn(U5Answers()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(U5Rest, Faults, testing::ValuesIn(U5Rest()), endtoend::NameOf);

}  // namespace

// Procedure U3, module download and the setup header over loopback, program and printer as they ship.
#include <optional>

#include "endtoend/EndToEnd.h"
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
using simulator::PackageSample;
using simulator::PrinterOptions;

namespace SampleFiles = simulator::SampleFiles;

namespace {

constexpr const char* kUpgrade = "[PrnCom_UpgradePrinter]";

struct UpgradeCase {
    bool newForm;
    unsigned char key;
    const char* components;
    const char* multiplier;
    bool success;
    bool firmware;
    int modules;
};

void PrintTo(const UpgradeCase& c, std::ostream* out) {
    *out << endtoend::CaseName(simulator::Line::Ethernet, c.newForm, "106", c.components, c.multiplier)
         << "Key" << static_cast<int>(c.key);
}

class Upgrades : public testing::TestWithParam<UpgradeCase> {};

TEST_P(Upgrades, BringWhatWasChosen) {
    const UpgradeCase& c = GetParam();
    const PackageSample sample = Package(c.newForm, c.key);
    Printer printer{PrinterOptions()};
    const RunResult run = Upgrade(printer, sample, {"-c", c.components, "-m", c.multiplier});

    std::vector<std::string> lines{"[PrnCom_UpgradePrinter]Begin", "[OpenCommunicationPort]ETH Port",
                                   "[PrnCom_UpgradePrinter]ProtocollDataAvailable OK",
                                   "[PrnCom_UpgradePrinter]GetUpgradeInfo OK"};
    const std::string tag = c.newForm ? "[StartUpgrade_PSW2]" : "[StartUpgrade_PSW1]";
    lines.push_back(tag + (c.newForm ? "START Upgrade PSW2" : "START Upgrade PSW1"));
    if (c.newForm && c.modules == 0)
        lines.push_back(tag + "Upgrade Before Modules not enabled in command line arguments ");
    if (c.modules != 0)
        lines.insert(lines.end(), {"[SendAllModules]Send Fonts...", "[SendAllModules]Programming OK",
                                   "[SendAllModules]Send Flash Disk...", "[SendAllModules]Programming OK"});
    if (c.firmware) {
        lines.insert(lines.end(), {tag + "Send Fw...", "[SendBankFlashGeneric]Sending bank...1/8 (12%)",
                                   "[SendBankFlashGeneric]Sending bank...8/8 (100%)",
                                   "[SendBankFlashGeneric]Com or Eth port: Wait then exit...",
                                   tag + (c.newForm ? "Send FW:1" : "Send FW:{0}")});
    } else {
        lines.push_back(tag + "Upgrade FW not enabled in command line arguments ");
    }
    if (c.modules != 0)
        lines.insert(lines.end(), {"[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    lines.push_back(c.success ? "[PrnCom_UpgradePrinter]End" : "[PrnCom_UpgradePrinter]Upgrade Error!");
    ExpectRun(run, c.success, lines);

    endtoend::ExpectHolds(printer, sample, c.firmware, c.modules != 0);
}

INSTANTIATE_TEST_SUITE_P(Ethernet, Upgrades,
                         testing::Values(UpgradeCase{true, 0x37, "3", "1", true, true, 3},
                                         UpgradeCase{true, 0x38, "3", "0", true, true, 3},
                                         UpgradeCase{true, 0x00, "1", "1", true, true, 0},
                                         UpgradeCase{true, 0xFF, "2", "0", true, false, 3},
                                         UpgradeCase{false, 0x37, "3", "1", true, true, 0},
                                         UpgradeCase{false, 0xFE, "1", "0", true, true, 0},
                                         UpgradeCase{false, 0x37, "2", "1", false, false, 0}),
                         testing::PrintToStringParamName());

TEST(Ethernet, NewReleaseIsReportedAndTheSameIsSentAllTheSame) {
    Printer printer{PrinterOptions()};
    ExpectRun(Upgrade(printer, Package(false, 0x37)), true);
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Release(); }), "1.06");
    const RunResult again = Upgrade(printer, Package(false, 0x38));
    ExpectRun(again, true, {"[SendBankFlashGeneric]Same version: Wait then exit..."});
    EXPECT_FALSE(again.Has("[SendBankFlashGeneric]Com or Eth port: Wait then exit..."));
    EXPECT_TRUE(printer.WaitUntil([](const auto& model) { return model.Restarts() == 2; }));
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 2);
    printer.ExpectNoViolations();
}

struct RefusalCase {
    const char* name;
    void (*change)(PrinterOptions&);
    const char* line;  ///< null: the upgrade goes through
};

void PrintTo(const RefusalCase& c, std::ostream* out) {
    *out << c.name;
}

class Refusals : public testing::TestWithParam<RefusalCase> {};

TEST_P(Refusals, EndBeforeAnythingIsSent) {
    PrinterOptions options;
    GetParam().change(options);
    Printer printer{options};
    const RunResult run = Upgrade(printer, Package(false, 0x37), {"-m", "0"});
    if (GetParam().line == nullptr) {
        ExpectRun(run, true);
    } else {
        ExpectRun(run, false, {std::string(kUpgrade) + GetParam().line});
        EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 0);
    }
    printer.ExpectNoViolations();
}

const RefusalCase kRefusals[] = {
    {"Family", [](PrinterOptions& o) { o.family = 5; }, "Family Compare Error (5,12)"},
    {"Model", [](PrinterOptions& o) { o.model = 4; }, "Model Compare Error (4,3)"},
    {"Customization", [](PrinterOptions& o) { o.customization = 2; }, "Customization Compare Error (2,1)"},
    {"AnyIdentity", [](PrinterOptions& o) { o.family = o.model = o.customization = 0; }, nullptr},
    {"NoUpgrades", [](PrinterOptions& o) { o.dataAvailable = ~PrinterOptions::kOffersUpgrade & 0xFFU; },
     "Upgrade printer not supported!"},
    {"OtherProtocol", [](PrinterOptions& o) { o.protocolVersion = "2.00"; },
     "Extract SetupItemProtocollVersion Error"},
    {"UnknownMode", [](PrinterOptions& o) { o.mode = "U7"; }, "Extract UpgradeDataInfo Error"},
    {"RefusesVersion", [](PrinterOptions& o) { o.faults = {Fault::Refusal(Exchange::ProtocolVersion, 23)}; },
     "Return is a Error Answer 23"},
    {"RefusesUpgradeInfo", [](PrinterOptions& o) { o.faults = {Fault::Refusal(Exchange::UpgradeInfo, 104)}; },
     "Return is a Error Answer 104"},
    {"RefusesData", [](PrinterOptions& o) { o.faults = {Fault::Refusal(Exchange::DataAvailable, 23)}; },
     "Extract ProtocollDataAvailable Error"},
    {"NoVersion", [](PrinterOptions& o) { o.faults = {Fault::Silence(Exchange::ProtocolVersion)}; },
     "Get Prot. release Error"},
    {"NoData", [](PrinterOptions& o) { o.faults = {Fault::Silence(Exchange::DataAvailable)}; },
     "NO Get ProtocollDataAvailable Setup"},
    {"NoUpgradeInfo", [](PrinterOptions& o) { o.faults = {Fault::Silence(Exchange::UpgradeInfo)}; },
     "Get Upgrade Info Error"},
    {"EndlessAnswer",
     [](PrinterOptions& o) { o.faults = {Fault::Endless(Exchange::UpgradeInfo, Bytes(60000, 'x'), 1)}; },
     "Get Upgrade Info Error"},
    {"TooFewFields",
     [](PrinterOptions& o) {
         o.faults = {Fault::Says(Exchange::UpgradeInfo, {0x02, '<', 'C', '1', '1', '2', '>', 0x03})};
     },
     "Extract UpgradeDataInfo Error"},
};

INSTANTIATE_TEST_SUITE_P(Ethernet, Refusals, testing::ValuesIn(kRefusals), testing::PrintToStringParamName());

TEST(Ethernet, TheHandshakeMayTakeSeveralTries) {
    for (const int silent : {3, 15}) {
        SCOPED_TRACE(silent);
        PrinterOptions options;
        options.faults = {Fault::Silence(Exchange::Status).Between(1, silent)};
        Printer printer{options};
        const RunResult run = Upgrade(printer, Package(false, 0x37));
        if (silent == 3) {
            ExpectRun(run, true,
                      {"[HandshakeCommunication]Read GSI OK", "[HandshakeCommunication]GSI 0x015d "});
            EXPECT_EQ(run.Count("[HandshakeCommunication]Read GSI Error... Retry"), 3);
        } else {
            ExpectRun(run, false,
                      {"[HandshakeCommunication]Read GSI Error", "[SendFW]Handshake Communication Error",
                       "[StartUpgrade_PSW1]Send FW:{0}", "[PrnCom_UpgradePrinter]Upgrade Error!"});
        }
    }
}

TEST(Ethernet, TheExtendedStatusIsAskedFor) {
    PrinterOptions options;
    options.extendedStatus = 0x1234;
    Printer printer{options};
    ExpectRun(Upgrade(printer, Package(false, 0x37)), true, {"[HandshakeCommunication]GSI 0x1234 "});
    printer.ExpectNoViolations();
}

TEST(Ethernet, ACutConnectionIsOpenedAgainAndNothingOfTheBankIsMadeUp) {
    // Nothing is read back after the banks, so that the verdict does not tell; the printer keeps what it had.
    PrinterOptions options;
    options.faults = {Fault::Cut(Exchange::BankGroup, 6000)};
    Printer printer{options};
    ExpectRun(Upgrade(printer, Package(false, 0x37)), true,
              {"[SendBankFlashGeneric]Com or Eth port: Wait then exit..."});
    EXPECT_TRUE(printer.Inspect([](const auto& model) { return model.FlashImage().empty(); }));
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Release(); }), "1.05");
}

TEST(Ethernet, ADeadLineIsAFailure) {
    const TemporaryFile package("sample.pfw", SampleFiles::MakePackage(Package(false, 0x37)));
    const RunResult run =
        endtoend::RunProgram({"-f", package.Path(), "-t", "eth", "-d", "127.0.0.1:1", "-v"});
    ExpectRun(run, false,
              {"[OpenPort]Error in connection()", "[Open]Open ETH Device Error",
               "[OpenCommunicationPort]Open Port Error",
               "[OpenCommunicationPort]Error: Open ETH Device Error", "[PrnCom_UpgradePrinter]Open Error"});
}

struct AnswerCase {
    unsigned char answer;
    const char* line;
};

TEST(Ethernet, EveryAnswerToAModuleEndsWithSuccessAndItsLine) {
    const AnswerCase cases[] = {{0x33, "Answer Error(0x33) : ID Module Error"},
                                {0x44, "Answer Error(0x44) : Module Error"},
                                {0x66, "Answer Error(0x66) : Ram Error"},
                                {0x77, "Answer Error(0x77) : Program Flash Error"},
                                {0x88, "Answer Error(0x88) : Clear Flash Error"},
                                {0x95, "Answer Error(0x95) : Checksum Error"},
                                {0xAA, nullptr}};
    const Bytes module = SampleFiles::MakeModule({});
    for (const AnswerCase& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.answer));
        PrinterOptions options;
        options.faults = {Fault::Says(Exchange::Module, {0x00, 0x12, c.answer, 0xAA})};
        Printer printer{options};
        const RunResult run = Download(printer, module);
        ExpectRun(run, true,
                  {"[PrnCom_WriteModule]Begin", "[SendModuleToDevice]Waiting Answer...",
                   "[SendModuleToDevice]Read Answer len: 4", "[PrnCom_WriteModule]End"});
        for (const AnswerCase& other : cases) {
            if (other.line == nullptr) continue;
            EXPECT_EQ(run.Count(std::string("[SendModuleToDevice]") + other.line), other.answer == c.answer)
                << run.Text();
        }
        printer.ExpectNoViolations();
    }
}

TEST(Ethernet, ModulesOfBothEncodingModesArriveDescrambled) {
    for (const int mode : {0, 1}) {
        for (const char* multiplier : {"0", "1"}) {
            simulator::ModuleSample sample;
            sample.encodingMode = mode;
            sample.code = "FNT-77";
            const Bytes module = SampleFiles::MakeModule(sample);
            PrinterOptions options;
            options.modules = {"DSK-1", mode == 0 ? "FNT-77" : "FNT-7"};
            Printer printer{options};
            const RunResult run = Download(printer, module, {"-m", multiplier});
            ExpectRun(
                run, true,
                {mode == 0 ? "[PrnCom_WriteModule]Module supported by this printer"
                           : "[PrnCom_WriteModule]Module not supported by this printer,  proceed anyway!!!"});
            EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Modules(); }),
                      std::vector<Bytes>{SampleFiles::AsSent(module)});
            printer.ExpectNoViolations();
        }
    }
}

TEST(Ethernet, ModulesThatAreNotToBeSentOrNotAnswered) {
    const Bytes module = SampleFiles::MakeModule({});
    Printer firmwareOnly{PrinterOptions()};
    ExpectRun(Download(firmwareOnly, module, {"-c", "1"}), true,
              {"[PrnCom_WriteModule]Upgrade Modules not enabled in command line arguments "});
    EXPECT_EQ(firmwareOnly.Inspect([](const auto& model) { return model.Count(Exchange::Module); }), 0);

    PrinterOptions noModules;
    noModules.dataAvailable = PrinterOptions::kOffersUpgrade;
    Printer refusing{noModules};
    ExpectRun(Download(refusing, module), false, {"[PrnCom_WriteModule]Upgrade module not supported!"});

    PrinterOptions noList;
    noList.faults = {Fault::Silence(Exchange::ModulesList)};
    Printer listless{noList};
    ExpectRun(Download(listless, module), false, {"[PrnCom_WriteModule]Get Modules List Error"});

    PrinterOptions cut;
    cut.faults = {Fault::Cut(Exchange::Module, 5000), Fault::Silence(Exchange::Module)};
    Printer cutting{cut};
    ExpectRun(Download(cutting, module), true, {"[SendModuleToDevice]Wait Answer Error"});
    EXPECT_TRUE(cutting.Inspect([](const auto& model) { return model.Modules().empty(); }));
}

TEST(Ethernet, APackageEndsWithTheFirstModuleThatIsRefused) {
    PrinterOptions options;
    options.faults = {Fault::Says(Exchange::Module, {0x95}).At(2)};
    Printer printer{options};
    ExpectRun(Upgrade(printer, Package(true, 0x37)), false,
              {"[SendModuleToDevice]Answer Error(0x95) : Checksum Error",
               "[SendAllModules]Programming Flash Disk Module Error.",
               "[StartUpgrade_PSW2]SendAllModules Failed...", "[PrnCom_UpgradePrinter]Upgrade Error!"});
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 0);
}

TEST(Ethernet, AReaderOfTheLogThatGoesAwayEndsNothing) {
    endtoend::Start start;
    start.by = {"bash", "-c", "\"$0\" \"$@\" | head -n 1; exit ${PIPESTATUS[0]}"};
    Printer printer{PrinterOptions(), {}, start};
    EXPECT_EQ(Download(printer, SampleFiles::MakeModule({})).status, RunResult::kSuccess);
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Modules().size(); }), 1U);
}

TEST(Ethernet, TheSetupHeaderIsPrinted) {
    PrinterOptions options;
    options.setupLines = {"First line", "Second line"};
    Printer printer{options};
    const RunResult run = printer.Run({"--printerversion"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.Has("First line")) << run.Text();
    EXPECT_TRUE(run.Has("Second line")) << run.Text();
    EXPECT_EQ(endtoend::RunProgram({"--printerversion", "-t", "eth", "-d", "127.0.0.1:1"}).status, 0);
    printer.ExpectNoViolations();
}

TEST(Ethernet, BadFilesAreRefusedBeforeThePrinterIsTouched) {
    Printer printer{PrinterOptions()};
    Bytes package = SampleFiles::MakePackage(Package(false, 0x37));
    package.resize(package.size() - 1);
    const TemporaryFile cutPackage("cut.pfw", package);
    Bytes module = SampleFiles::MakeModule({});
    module[5000] ^= 1;
    const TemporaryFile wrongModule("wrong.mod", module);
    PackageSample anonymous = Package(false, 0x37);
    anonymous.identified = false;
    const TemporaryFile anonymousPackage("anonymous.psw", SampleFiles::MakePackage(anonymous));
    struct Case {
        const TemporaryFile& file;
        const char* line;
    };
    for (const Case& c :
         {Case{cutPackage, "LoadPSWFromFile FAILURE"}, Case{wrongModule, "LoadModuleFromFile FAILURE"},
          Case{anonymousPackage, "LoadPSWFromFile FAILURE"}}) {
        const RunResult run = printer.Run({"-f", c.file.Path(), "-v"});
        EXPECT_EQ(run.status, RunResult::kFailure);
        EXPECT_EQ(run.lines.back(), c.line) << run.Text();
    }
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::ProtocolVersion); }), 0);
}

}  // namespace

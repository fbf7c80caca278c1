// A printer on Ethernet, and what is the same on every line: files that are refused, the setup header, a log
// that nobody reads.
#include "endtoend/EndToEnd.h"

using endtoend::Download;
using endtoend::ExpectRun;
using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using endtoend::Upgrade;
using simulator::Bytes;
using simulator::Exchange;
using simulator::PackageSample;
using simulator::PrinterOptions;

namespace SampleFiles = simulator::SampleFiles;

namespace {

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

TEST(Ethernet, ADeadLineIsAFailure) {
    const TemporaryFile package("sample.pfw", SampleFiles::MakePackage(Package(false, 0x37)));
    const RunResult run =
        endtoend::RunProgram({"-f", package.Path(), "-t", "eth", "-d", "127.0.0.1:1", "-v"});
    ExpectRun(run, false,
              {"[OpenPort]Error in connection()", "[Open]Open ETH Device Error",
               "[OpenCommunicationPort]Open Port Error",
               "[OpenCommunicationPort]Error: Open ETH Device Error", "[PrnCom_UpgradePrinter]Open Error"});
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

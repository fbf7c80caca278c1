// What is the same on every line: files that are refused, printers that are not there, the setup header, a
// log that nobody reads.
#include "endtoend/EndToEnd.h"

using endtoend::Download;
using endtoend::ExpectRun;
using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using simulator::Bytes;
using simulator::Exchange;
using simulator::PrinterOptions;

namespace SampleFiles = simulator::SampleFiles;

namespace {

TEST(Front, AReaderOfTheLogThatGoesAwayEndsNothing) {
    endtoend::Start start;
    start.by = {"bash", "-c", "\"$0\" \"$@\" | head -n 1; exit ${PIPESTATUS[0]}"};
    Printer printer{PrinterOptions(), {}, start};
    EXPECT_EQ(Download(printer, SampleFiles::MakeModule({})).status, RunResult::kSuccess);
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Modules().size(); }), 1U);
}

TEST(Front, TheSetupHeaderIsPrinted) {
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

TEST(Front, BadFilesAreRefusedBeforeThePrinterIsTouched) {
    Printer printer{PrinterOptions()};
    Bytes package = SampleFiles::MakePackage(Package(false));
    package.pop_back();
    Bytes module = SampleFiles::MakeModule({});
    module[5000] ^= 1;
    const TemporaryFile cut("cut.pfw", package);
    const TemporaryFile wrong("wrong.mod", module);
    for (const TemporaryFile* file : {&cut, &wrong}) {
        const RunResult run = printer.Run({"-f", file->Path(), "-v"});
        EXPECT_EQ(run.status, RunResult::kFailure);
        EXPECT_EQ(run.lines.back(), file == &cut ? "LoadPSWFromFile FAILURE" : "LoadModuleFromFile FAILURE");
    }
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::ProtocolVersion); }), 0);
}

// What is named is not there, or is none.
TEST(Front, APrinterThatCannotBeOpenedIsAFailure) {
    simulator::UsbBus bus;
    const TemporaryFile package("sample.pfw", SampleFiles::MakePackage(Package(false)));
    const TemporaryFile notATerminal("tty", {});
    struct Case {
        const char* type;
        std::string device;
        std::string port;
        std::string opening;  ///< its line, if it has one
        std::string reason;
    };
    const std::string serial = "Open RS232 Device Error";
    for (const Case& c :
         {Case{"eth", "127.0.0.1:1", "ETH Port", "[OpenPort]Error in connection()", "Open ETH Device Error"},
          Case{"ser", "/none:9600:HW", "COM Port", "[OpenPort]Error to open Serial port", serial},
          Case{"ser", notATerminal.Path() + ":9600:HW", "COM Port", "[OpenPort]Error to tcsetattr", serial},
          Case{"ser", "/none:300:HW", "COM Port", "[Init]Error invalid Baudrate", "Error invalid Baudrate"},
          Case{"usb", "F0F0|0205|ABC1", "USB PRN Port", "", ""}}) {
        std::vector<std::string> lines{
            "[OpenCommunicationPort]" + c.port, "[OpenCommunicationPort]Open Port Error",
            "[OpenCommunicationPort]Error: " + c.reason, "[PrnCom_UpgradePrinter]Open Error"};
        if (!c.opening.empty()) lines.insert(lines.begin() + 1, c.opening);
        ExpectRun(endtoend::RunProgram({"-f", package.Path(), "-v", "-t", c.type, "-d", c.device},
                                       bus.ChildEnvironment()),
                  false, lines);
    }
}

}  // namespace

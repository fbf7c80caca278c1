// Whole runs of the program under valgrind, which ends it with a status of its own when it reads what was
// never written, touches what is not its own, or leaves memory behind that nothing points to.
#include <gtest/gtest.h>

#include "endtoend/EndToEnd.h"

using endtoend::Download;
using endtoend::ExpectRun;
using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::Upgrade;
using simulator::Line;
using simulator::PackageSample;
using simulator::PrinterOptions;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

/// A program under valgrind is slow: its minute is a longer one, and no answer is lost for it.
endtoend::Start UnderValgrind() {
    return {25,
            3000,
            {"valgrind", "-q", "--error-exitcode=99", "--leak-check=full",
             std::string("--suppressions=") + EMULATED_BUS_SUPPRESSIONS}};
}

PrinterOptions Of(const std::string& mode, Line line) {
    PrinterOptions options;
    options.mode = mode;
    options.line = line;
    options.bankCount = 4;
    options.setupLines = {"First line"};
    return options;
}

class Valgrind : public testing::Test {
 protected:
    void SetUp() override {
        if (kSanitized) GTEST_SKIP() << "the sanitizers see to it";
        ASSERT_EQ(ChildProcess({"valgrind", "--version"}).WaitForEnd(), 0) << "valgrind is not there";
    }
};

TEST_F(Valgrind, AnUpgradeOverEthernet) {
    const PackageSample sample = Package(true, 0x37, "106", 4);
    Printer printer{Of("U3", Line::Ethernet), {}, UnderValgrind()};
    ExpectRun(Upgrade(printer, sample), true);
    endtoend::ExpectHolds(printer, sample, true, true);
}

TEST_F(Valgrind, AnUpgradeByAnswersOnASerialLine) {
    const PackageSample sample = Package(false, 0x38, "106", 4);
    Printer printer{Of("U1", Line::Serial), {}, UnderValgrind()};
    ExpectRun(Upgrade(printer, sample), true);
    endtoend::ExpectHolds(printer, sample, true, false);
}

TEST_F(Valgrind, AModuleAndTheSetupHeaderOnASerialLine) {
    const simulator::Bytes module = simulator::SampleFiles::MakeModule({});
    Printer printer{Of("U3", Line::Serial), {}, UnderValgrind()};
    ExpectRun(Download(printer, module), true);
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Modules().size(); }), 1U);
    const RunResult header = printer.Run({"--printerversion"});
    EXPECT_EQ(header.status, 0) << header.Text();
    EXPECT_TRUE(header.Has("First line")) << header.Text();
    printer.ExpectNoViolations();
}

TEST_F(Valgrind, AnUpgradeOverUsbWithTheListBeforeIt) {
    const PackageSample sample = Package(false, 0x37, "106", 4);
    Printer printer{Of("U5", Line::Usb), {}, UnderValgrind()};
    const RunResult list = printer.Run({"--usbdevlist"});
    EXPECT_EQ(list.status, 0) << list.Text();
    EXPECT_TRUE(list.Has("F0F0|0205|SIM0001")) << list.Text();
    ExpectRun(Upgrade(printer, sample), true);
    endtoend::ExpectHolds(printer, sample, true, false);
}

TEST_F(Valgrind, ARefusedPackage) {
    PackageSample sample = Package(true, 0x37, "106", 4);
    sample.family = 99;
    Printer printer{Of("U3", Line::Ethernet), {}, UnderValgrind()};
    ExpectRun(Upgrade(printer, sample), false, {"[PrnCom_UpgradePrinter]Family Compare Error (12,99)"});
}

}  // namespace

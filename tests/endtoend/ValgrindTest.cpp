// Whole runs of the program under valgrind, which ends it with a status of its own when it reads what was
// never written, touches what is not its own, or leaves memory behind that nothing points to.
#include "endtoend/Scenario.h"

using endtoend::Printer;
using endtoend::RunResult;
using endtoend::Scenario;
using simulator::Line;
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

void NeedValgrind() {
    if (kSanitized) GTEST_SKIP() << "the sanitizers see to it";
    ASSERT_EQ(ChildProcess({"valgrind", "--version"}).WaitForEnd(), 0) << "valgrind is not there";
}

class Valgrind : public testing::TestWithParam<Scenario> {
 protected:
    void SetUp() override { NeedValgrind(); }
};

TEST_P(Valgrind, HasNothingToSay) {
    GetParam().Check();
}

Scenario Run(const std::string& procedure, Line line, const std::string& what) {
    return Scenario(procedure, line, what).Banks(4, PrinterOptions::kBankSize).Starts(UnderValgrind());
}

INSTANTIATE_TEST_SUITE_P(Runs, Valgrind,
                         testing::Values(Run("U3", Line::Ethernet, "NewForm").NewForm(),
                                         Run("U1", Line::Serial, "OldForm").Release("106", 0x38),
                                         Run("U5", Line::Usb, "OldForm"),
                                         Run("U3", Line::Serial, "Module").Sends({}),
                                         Run("U3", Line::Ethernet, "Refused")
                                             .NewForm()
                                             .With(&PrinterOptions::family, 99)
                                             .Fails({"[PrnCom_UpgradePrinter]Family Compare Error (99,12)"})),
                         endtoend::NameOf);

class ValgrindInquiries : public testing::TestWithParam<Line> {
 protected:
    void SetUp() override { NeedValgrind(); }
};

TEST_P(ValgrindInquiries, ListAndSetupHeader) {
    PrinterOptions options;
    options.line = GetParam();
    options.setupLines = {"First line"};
    Printer printer{options, {}, UnderValgrind()};
    const RunResult header = printer.Run({"--printerversion"});
    EXPECT_EQ(header.status, 0) << header.Text();
    EXPECT_TRUE(header.Has("First line")) << header.Text();
    printer.ExpectNoViolations();
    if (GetParam() != Line::Usb) return;
    const RunResult list = printer.Run({"--usbdevlist"});
    EXPECT_EQ(list.status, 0) << list.Text();
    EXPECT_TRUE(list.Has("F0F0|0205|SIM0001")) << list.Text();
}

INSTANTIATE_TEST_SUITE_P(Runs, ValgrindInquiries, testing::Values(Line::Serial, Line::Usb));

}  // namespace

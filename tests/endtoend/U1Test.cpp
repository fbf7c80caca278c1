// Procedure U1 on every line: the built program against a printer that takes one group of banks.
#include <gmock/gmock.h>

#include "endtoend/EndToEnd.h"

using endtoend::ExpectRun;
using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::Upgrade;
using simulator::Bytes;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PackageSample;
using simulator::PrinterOptions;

namespace {

constexpr unsigned kBanks = 4;
constexpr std::size_t kBankSize = 1000;  // not a multiple of the packets that the banks go out in

PackageSample Firmware(bool newForm = false, const std::string& release = "106") {
    return Package(newForm, 0x37, release, kBanks, kBankSize);
}

PrinterOptions On(Line line, std::vector<Fault> faults = {}, const std::string& configuration = "") {
    PrinterOptions options;
    options.mode = "U1";
    options.line = line;
    options.configuration = configuration;
    options.bankSize = kBankSize;
    options.bankCount = kBanks;
    options.faults = std::move(faults);
    return options;
}

std::string Sent(const std::string& line) {
    return "[SendBankFlashBanksNew]" + line;
}

/// How the program judges a group: by the answer, by the release that is there afterwards, by nothing.
enum class Proof { Answer, Release, None };

std::vector<std::string> ProofLines(Proof proof, bool same) {
    switch (proof) {
        case Proof::Answer:
            return {Sent("Programming answer: 0xaa"), Sent("Answer: NO_ERROR_COM")};
        case Proof::Release:
            if (same)
                return {Sent("Waiting before closing port.."), Sent("Same version. Force NO_ERROR_COM")};
            return {Sent("Waiting before closing port.."), Sent("New FW Release :1.06"),
                    Sent("Upgrade succesfully, version correct. Force NO_ERROR_COM")};
        case Proof::None:
            if (same) return {Sent("Same version: Wait then exit...")};
            return {Sent("Different version: Wait printer reset..."),
                    Sent("Different version: Printer reset...")};
    }
    return {};
}

struct UpgradeCase {
    Line line;
    const char* configuration;
    Proof proof;
    bool newForm;
    const char* release;
    const char* components;
    const char* multiplier;
};

void PrintTo(const UpgradeCase& c, std::ostream* out) {
    *out << endtoend::CaseName(c.line, c.newForm, c.release, c.components, c.multiplier) +
                (*c.configuration != '\0' ? std::string("Setting") + *c.configuration : "");
}

class U1Upgrades : public testing::TestWithParam<UpgradeCase> {};

TEST_P(U1Upgrades, BringWhatWasChosen) {
    const UpgradeCase& c = GetParam();
    const PackageSample sample = Firmware(c.newForm, c.release);
    const bool firmware = *c.components != '2';
    const bool modules = c.newForm && *c.components != '1';
    const bool same = sample.release == "105";
    const std::string tag = c.newForm ? "[StartUpgrade_PSW2]" : "[StartUpgrade_PSW1]";
    Printer printer{On(c.line, {}, c.configuration)};
    const RunResult run = Upgrade(printer, sample, {"-c", c.components, "-m", c.multiplier});

    std::vector<std::string> lines;
    if (*c.configuration != '\0')
        lines.push_back(tag + "iUSB_PRG_ANSWER:" + std::string(c.configuration).substr(0, 1));
    lines.push_back(tag + (c.newForm ? "START Upgrade PSW2" : "START Upgrade PSW1"));
    if (modules)
        lines.insert(lines.end(), {"[SendAllModules]Send Flash Disk...", "[SendAllModules]Programming OK"});
    if (firmware) {
        lines.insert(lines.end(),
                     {tag + "Send Fw...", "[SendFW]Sending bank...1", Sent("Sending flash block start...1/4"),
                      Sent("Sending flash block end  ...4/4")});
        const std::vector<std::string> proof = ProofLines(c.proof, same);
        lines.insert(lines.end(), proof.begin(), proof.end());
        lines.insert(lines.end(), {Sent("Upgrade Return Status: 1"), tag + "Send FW:1"});
    } else {
        lines.push_back(tag + "Upgrade FW not enabled in command line arguments ");
    }
    if (modules)
        lines.insert(lines.end(), {"[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    ExpectRun(run, firmware || modules, lines);
    endtoend::ExpectHolds(printer, sample, firmware, modules);
    if (!firmware) return;
    EXPECT_TRUE(printer.WaitUntil([&](const auto& model) {
        return model.Restarts() == 1 && model.Release() == (same ? "1.05" : "1.06");
    }));
}

INSTANTIATE_TEST_SUITE_P(
    U1, U1Upgrades,
    testing::Values(UpgradeCase{Line::Serial, "", Proof::Answer, true, "106", "3", "1"},
                    UpgradeCase{Line::Serial, "0;", Proof::Answer, true, "105", "1", "1"},
                    UpgradeCase{Line::Serial, "", Proof::Answer, true, "106", "2", "0"},
                    UpgradeCase{Line::Serial, "1;", Proof::Answer, false, "106", "3", "2"},
                    UpgradeCase{Line::Serial, "", Proof::Answer, false, "106", "2", "1"},
                    UpgradeCase{Line::Ethernet, "", Proof::Release, true, "106", "3", "1"},
                    UpgradeCase{Line::Ethernet, "0;", Proof::Release, true, "105", "3", "1"},
                    UpgradeCase{Line::Ethernet, "", Proof::Release, true, "106", "2", "1"},
                    UpgradeCase{Line::Ethernet, "", Proof::Release, true, "106", "3", "0"},
                    UpgradeCase{Line::Ethernet, "", Proof::Release, false, "106", "1", "2"},
                    UpgradeCase{Line::Ethernet, "", Proof::Release, false, "105", "3", "0"},
                    UpgradeCase{Line::Usb, "", Proof::Answer, true, "106", "3", "1"},
                    UpgradeCase{Line::Usb, "1;", Proof::Answer, false, "105", "1", "0"},
                    UpgradeCase{Line::Usb, "0;", Proof::None, true, "106", "3", "1"},
                    UpgradeCase{Line::Usb, "0;", Proof::None, true, "105", "1", "2"},
                    UpgradeCase{Line::Usb, "0;", Proof::None, false, "105", "3", "0"},
                    UpgradeCase{Line::Usb, "0;", Proof::None, true, "106", "2", "1"}),
    testing::PrintToStringParamName());

constexpr const char* kRepeat =
    "[SendFW]You have problem during the upgrade procedure.  Please repeat the upgrade.";
constexpr const char* kService =
    "[SendFW]You have a serious problem during upgrade phase. Please send your printer to Quorva Technical "
    "Service.";
constexpr const char* kSomeProblem =
    "[SendFW]Some serious problem occurred during the upgrade process. Please repeat operation.";

struct AnswerCase {
    const char* name;
    Line line;
    Fault fault;        ///< of the first try
    const char* line1;  ///< what is logged of it
    const char* text;   ///< for the user; null: the group is not sent again
};

void PrintTo(const AnswerCase& c, std::ostream* out) {
    *out << c.name;
}

class U1Answers : public testing::TestWithParam<AnswerCase> {};

TEST_P(U1Answers, DecideWhetherTheGroupIsSentAgain) {
    const AnswerCase& c = GetParam();
    const PackageSample sample = Firmware();
    Fault fault = c.fault;
    Printer printer{On(c.line, {fault.At(1)})};
    const RunResult run = Upgrade(printer, sample);
    const bool again = c.text != nullptr;
    std::vector<std::string> lines{c.line1};
    if (again)
        lines.insert(lines.end(), {c.text, "[SendFW]Error on sending banks. This is the 1/3 try.",
                                   Sent("Answer: NO_ERROR_COM"), Sent("Upgrade Return Status: 1")});
    ExpectRun(run, again, lines);
    EXPECT_EQ(run.Has("[SendFW]Error on sending banks. This is the 1/3 try."), again) << run.Text();
    printer.Inspect([&](const auto& model) {
        EXPECT_EQ(model.Count(Exchange::BankGroup), again ? 2 : 1);
        EXPECT_EQ(model.FlashImage(), again ? sample.firmware : Bytes());
    });
    printer.ExpectNoViolations();
}

const AnswerCase kAnswers[] = {
    {"Checksum", Line::Serial, Fault::Says(Exchange::BankGroup, {0x99}),
     "[SendBankFlashBanksNew]Answer: ERROR_CECKSUM", kRepeat},
    {"NotDeleted", Line::Usb, Fault::Says(Exchange::BankGroup, {0x88}),
     "[SendBankFlashBanksNew]Answer: ERROR_BANK_NOT_DELETED", kService},
    {"NotProgrammed", Line::Serial, Fault::Says(Exchange::BankGroup, {0x77}),
     "[SendBankFlashBanksNew]Answer: ERROR_BANK_NOT_PROGRAMMED", kService},
    {"Damaged", Line::Serial, Fault::Says(Exchange::BankGroup, {0x66}),
     "[SendBankFlashBanksNew]Answer: ERROR_BANK_DAMAGED", nullptr},
    {"Sign", Line::Usb, Fault::Says(Exchange::BankGroup, {0x55}),
     "[SendBankFlashBanksNew]Answer: ERROR_SEND_SIGN", nullptr},
    {"Unknown", Line::Serial, Fault::Says(Exchange::BankGroup, {0x00}),
     "[SendBankFlashBanksNew]Answer: ERROR_DEFAULT_CASE", nullptr},
    {"TwoBytesSerial", Line::Serial, Fault::Says(Exchange::BankGroup, {0x99, 0x99}),
     "[SendBankFlashBanksNew]Sending flash block end  ...4/4", kSomeProblem},
    {"TwoBytesUsb", Line::Usb, Fault::Says(Exchange::BankGroup, {0x66, 0x66}),
     "[SendBankFlashBanksNew]Sending flash block end  ...4/4", kSomeProblem},
    {"Never", Line::Serial, Fault::Silence(Exchange::BankGroup),
     "[SendBankFlashBanksNew]Sending flash block end  ...4/4", kSomeProblem},
};

INSTANTIATE_TEST_SUITE_P(U1, U1Answers, testing::ValuesIn(kAnswers), testing::PrintToStringParamName());

TEST(U1, AGroupIsTriedFourTimesAtMost) {
    Printer printer{On(Line::Serial, {Fault::Says(Exchange::BankGroup, {0x99})})};
    ExpectRun(Upgrade(printer, Firmware(true), {"-c", "1"}), false,
              {"[SendFW]Error on sending banks. This is the 1/3 try.",
               "[SendFW]Error on sending banks. This is the 2/3 try.",
               "[SendFW]Error on sending banks. This is the 3/3 try.",
               "[SendFW]Error on sending banks. This is the 4/3 try.", "[StartUpgrade_PSW2]Send FW:0",
               "[StartUpgrade_PSW2]FW Upgrade error", "[PrnCom_UpgradePrinter]Upgrade Error!"});
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 4);
    printer.ExpectNoViolations();
}

TEST(U1, ALateAnswerCounts) {
    for (const Line line : {Line::Serial, Line::Usb}) {
        Printer printer{On(line, {Fault::Late(Exchange::BankGroup, 60000)})};
        ExpectRun(Upgrade(printer, Firmware()), true, {Sent("Programming answer: 0xaa")});
        endtoend::ExpectHolds(printer, Firmware(), true, false);
    }
}

// A wait of zero leaves one read of the port, which finds what is there.
TEST(U1, WithoutWaitsASerialPrinterHasToAnswerAtOnce) {
    PrinterOptions options = On(Line::Serial);
    options.programMs = 0;
    Printer prompt{options};
    ExpectRun(Upgrade(prompt, Firmware(), {"-m", "0"}), true, {Sent("Programming answer: 0xaa")});
    endtoend::ExpectHolds(prompt, Firmware(), true, false);

    options.faults = {Fault::Silence(Exchange::BankGroup)};
    Printer silent{options};
    const RunResult run = Upgrade(silent, Firmware(), {"-m", "0"});
    ExpectRun(run, false, {kSomeProblem, "[SendFW]Error on sending banks. This is the 4/3 try."});
    EXPECT_FALSE(run.Has(Sent("Upgrade Return Status: 0"))) << run.Text();
}

TEST(U1, OnEthernetTheReleaseThatComesBackDecides) {
    PrinterOptions options = On(Line::Ethernet);
    options.releaseAfter = "1.07";
    Printer printer{options};
    const RunResult run = Upgrade(printer, Firmware());
    ExpectRun(run, false,
              {Sent("New FW Release :1.07"), Sent("Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED"),
               Sent("Upgrade Return Status: 0"), kService,
               "[SendFW]Error on sending banks. This is the 4/3 try.", "[StartUpgrade_PSW1]Send FW:0"});
    EXPECT_EQ(run.Count(Sent("New FW Release :1.07")), 4);
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 4);
    printer.ExpectNoViolations();
}

// Every second inquiry is the handshake's.
TEST(U1, OnEthernetNineInquiriesWithoutAReleaseAreAnUnprogrammedBank) {
    std::vector<Fault> faults;
    for (int inquiry = 2; inquiry <= 18; inquiry += 2)
        faults.push_back(Fault::Silence(Exchange::Release).OnceUpgraded().At(inquiry));
    Printer printer{On(Line::Ethernet, faults)};
    const RunResult run = Upgrade(printer, Firmware());
    std::vector<std::string> lines(9, Sent("Read FW Release Error"));
    lines.insert(lines.end(),
                 {Sent("Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED"), Sent("Upgrade Return Status: 0"),
                  kService, "[SendFW]Error on sending banks. This is the 1/3 try.",
                  Sent("New FW Release :1.06"), Sent("Upgrade Return Status: 1")});
    ExpectRun(run, true, lines);
    EXPECT_EQ(run.Count(Sent("Read FW Release Error")), 9) << run.Text();
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::BankGroup); }), 2);
    printer.ExpectNoViolations();
}

TEST(U1, OnEthernetAReleaseIsOfFourBytes) {
    const auto says = [](const std::string& text, int inquiry) {
        return Fault::Says(Exchange::Release, {text.begin(), text.end()}).OnceUpgraded().At(inquiry);
    };
    Printer printer{On(Line::Ethernet, {says("1.0", 2), says("1.06 ", 4)})};
    const RunResult run = Upgrade(printer, Firmware());
    ExpectRun(run, true, {Sent("Read FW Release Error"), Sent("New FW Release :1.06")});
    EXPECT_EQ(run.Count(Sent("Read FW Release Error")), 2) << run.Text();
    endtoend::ExpectHolds(printer, Firmware(), true, false);
}

TEST(U1, OnUsbWithoutAnswerAPrinterThatStaysAwayIsNoFailure) {
    PrinterOptions options = On(Line::Usb, {}, "0;");
    options.restartMs = 600000;
    Printer printer{options};
    const RunResult run = Upgrade(printer, Firmware());
    ExpectRun(run, true,
              {Sent("Different version: Wait printer reset..."), Sent("Upgrade Return Status: 1")});
    EXPECT_FALSE(run.Has(Sent("Different version: Printer reset..."))) << run.Text();
    endtoend::ExpectHolds(printer, Firmware(), true, false);
}

TEST(U1, OnUsbThePrinterComesBackWithAnotherSerialNumber) {
    PrinterOptions options = On(Line::Usb);
    options.usb.serial = "ABC1";
    options.serialAfterUpgrade = "XYZ1";
    Printer printer{options};
    ExpectRun(Upgrade(printer, Firmware(true)), true,
              {Sent("Answer: NO_ERROR_COM"), "[SendAllModules]Send Logos..."});
    endtoend::ExpectHolds(printer, Firmware(true), true, true);
}

// The group counts its banks in one byte.
TEST(U1, OfMoreThan255BanksTheLowByteOfTheirCountIsSent) {
    PrinterOptions options = On(Line::Serial);
    options.bankSize = 16;
    options.bankCount = 257;
    const PackageSample sample = Package(true, 0x37, "106", 257, 16);
    Printer printer{options};
    ExpectRun(Upgrade(printer, sample, {"-c", "1"}), true,
              {Sent("Sending flash block end  ...1/1"), Sent("Answer: NO_ERROR_COM")});
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.FlashImage(); }),
              Bytes(sample.firmware.begin(), sample.firmware.begin() + 16));
    printer.ExpectNoViolations();
}

}  // namespace

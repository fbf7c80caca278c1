// Procedure U5 on every line: the built program against a printer that takes a code group and single banks.
#include <gmock/gmock.h>

#include "endtoend/EndToEnd.h"
#include "simulator/usb/UsbTransport.h"

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

constexpr std::size_t kBankSize = 1000;

PackageSample Firmware(unsigned banks = 5, bool newForm = false, const std::string& release = "106") {
    return Package(newForm, 0x37, release, banks, kBankSize);
}

PrinterOptions On(Line line, std::vector<Fault> faults = {}, unsigned banks = 5) {
    PrinterOptions options;
    options.mode = "U5";
    options.line = line;
    options.bankSize = kBankSize;
    options.bankCount = banks;
    options.faults = std::move(faults);
    return options;
}

std::string Code(const std::string& line) {
    return "[SendBankFlashCODE]" + line;
}

std::string Data(const std::string& line) {
    return "[SendBankFlashDATA]" + line;
}

struct UpgradeCase {
    Line line;
    unsigned banks;
    bool newForm;
    const char* release;
    const char* components;
    const char* multiplier;
};

void PrintTo(const UpgradeCase& c, std::ostream* out) {
    *out << endtoend::CaseName(c.line, c.newForm, c.release, c.components, c.multiplier) + "Banks" +
                std::to_string(c.banks);
}

class U5Upgrades : public testing::TestWithParam<UpgradeCase> {};

TEST_P(U5Upgrades, BringWhatWasChosen) {
    const UpgradeCase& c = GetParam();
    const PackageSample sample = Firmware(c.banks, c.newForm, c.release);
    const bool firmware = *c.components != '2';
    const bool modules = c.newForm && *c.components != '1';
    const bool usb = c.line == Line::Usb;
    const std::string tag = c.newForm ? "[StartUpgrade_PSW2]" : "[StartUpgrade_PSW1]";
    Printer printer{On(c.line, {}, c.banks)};
    const RunResult run = Upgrade(printer, sample, {"-c", c.components, "-m", c.multiplier});

    std::vector<std::string> lines{tag + (c.newForm ? "START Upgrade PSW2" : "START Upgrade PSW1")};
    if (firmware) {
        lines.insert(lines.end(), {tag + "Send Fw...", Code("Sending bank...1/3 (33%)"),
                                   Code("Sending bank...3/3 (100%)")});
        if (usb)
            lines.insert(lines.end(), {Code("Different version: Wait printer reset..."),
                                       Code("Different version: Printer reset...")});
        else
            lines.push_back(Code("Com or Eth port: Wait then exit..."));
        const std::string count = std::to_string(c.banks);
        for (unsigned bank = 4; bank <= c.banks; ++bank) {
            lines.push_back(Data("Sending bank..." + std::to_string(bank) + "/" + count + " (" +
                                 std::to_string(bank * 100 / c.banks) + "%)"));
            if (bank < c.banks) lines.push_back(Data("Waiting Answer..."));
        }
        if (c.banks > 3)
            lines.push_back(usb ? Data("Different version: Printer reset... Done")
                                : Data("Wait than exit..."));
        lines.push_back(tag + (c.newForm ? "Send FW:1" : "Send FW:{0}"));
    } else {
        lines.push_back(tag + "Upgrade FW not enabled in command line arguments ");
    }
    // All modules follow the firmware.
    if (modules)
        lines.insert(lines.end(), {"[SendAllModules]Send Fonts...", "[SendAllModules]Programming OK",
                                   "[SendAllModules]Send Flash Disk...", "[SendAllModules]Programming OK",
                                   "[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    ExpectRun(run, firmware || modules, lines);
    EXPECT_EQ(run.Count(Data("Waiting Answer...")),
              firmware && c.banks > 3 ? static_cast<int>(c.banks) - 4 : 0);
    endtoend::ExpectHolds(printer, sample, firmware, modules);
    if (!firmware) return;
    const std::string expected = sample.release == "105" ? "1.05" : "1.06";
    EXPECT_TRUE(printer.WaitUntil([&](const auto& model) {
        return model.Restarts() == (c.banks > 3 ? 2 : 1) && model.Release() == expected;
    }));
}

INSTANTIATE_TEST_SUITE_P(U5, U5Upgrades,
                         testing::Values(UpgradeCase{Line::Serial, 5, true, "106", "3", "1"},
                                         UpgradeCase{Line::Serial, 4, true, "105", "1", "1"},
                                         UpgradeCase{Line::Serial, 5, true, "106", "2", "0"},
                                         UpgradeCase{Line::Serial, 5, false, "106", "3", "2"},
                                         UpgradeCase{Line::Serial, 3, false, "105", "3", "1"},
                                         UpgradeCase{Line::Ethernet, 5, true, "106", "3", "1"},
                                         UpgradeCase{Line::Ethernet, 3, true, "105", "3", "1"},
                                         UpgradeCase{Line::Ethernet, 5, true, "106", "2", "1"},
                                         UpgradeCase{Line::Ethernet, 3, false, "106", "3", "0"},
                                         UpgradeCase{Line::Ethernet, 4, false, "105", "1", "2"},
                                         UpgradeCase{Line::Usb, 5, true, "106", "3", "1"},
                                         UpgradeCase{Line::Usb, 5, true, "105", "1", "2"},
                                         UpgradeCase{Line::Usb, 4, true, "106", "2", "0"},
                                         UpgradeCase{Line::Usb, 4, false, "106", "3", "1"},
                                         UpgradeCase{Line::Usb, 3, false, "105", "3", "1"},
                                         UpgradeCase{Line::Usb, 5, false, "106", "2", "1"}),
                         testing::PrintToStringParamName());

struct ImpatientCase {
    Line line;
    bool back;                        ///< the printer restarts in no time, else it is away to the end
    std::vector<std::string> either;  ///< the failures that may come
};

// A wait of zero discards the answer to a bank, if a printer that restarts is there to hear of the bank at
// all.
TEST(U5, WithoutWaitsADataBankFails) {
    const std::string discarded = Data("Wait Answer Error");
    const std::string lost = Data("Communication Error! exit...");
    const ImpatientCase cases[] = {
        {Line::Serial, true, {discarded}},   {Line::Serial, false, {discarded}},
        {Line::Ethernet, true, {discarded}}, {Line::Ethernet, false, {discarded, lost}},
        {Line::Usb, true, {discarded}},      {Line::Usb, false, {lost}}};
    for (const ImpatientCase& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.line));
        SCOPED_TRACE(c.back);
        PrinterOptions options = On(c.line);
        options.programMs = 0;
        options.restartMs = c.back ? 0 : 600000;
        Printer printer{options};
        const RunResult run = Upgrade(printer, Firmware(5, true), {"-m", "0"});
        ExpectRun(run, false,
                  {Code("Sending command to program Flash..."), Data("Sending command to start upgrade..."),
                   "[SendFW]Upgrade Error", "[StartUpgrade_PSW2]Programming SW NOT OK!",
                   "[PrnCom_UpgradePrinter]Upgrade Error!"});
        EXPECT_TRUE(run.Has(c.either.front()) || run.Has(c.either.back())) << run.Text();
        // Opening a serial line again discards what is still on its way.
        if (c.line == Line::Serial) continue;
        const int banks = c.back ? 1 : 0;
        EXPECT_TRUE(
            printer.WaitUntil([&](const auto& model) { return model.Count(Exchange::DataBank) == banks; }));
    }
}

TEST(U5, APackageOfFewerThanThreeBanksIsRefusedBeforeAnythingIsSent) {
    for (const unsigned banks : {1U, 2U}) {
        Printer printer{On(Line::Ethernet, {}, banks)};
        ExpectRun(Upgrade(printer, Firmware(banks, true)), false,
                  {"[SendFW]Upgrade file wrong or incomplete:", "[StartUpgrade_PSW2]Programming SW NOT OK!"});
        printer.Inspect([](const auto& model) {
            EXPECT_EQ(model.Count(Exchange::BankGroup), 0);
            EXPECT_EQ(model.Count(Exchange::Module), 0);
        });
    }
}

struct AnswerCase {
    const char* name;
    Line line;
    int bank;  ///< the data bank whose answer it is, from 1
    Fault fault;
    const char* line1;  ///< null: the bank counts as programmed
};

Fault Portions(std::vector<Bytes> portions) {
    Fault fault = Fault::Silence(Exchange::DataBank);
    fault.answers = std::move(portions);
    fault.gapMs = 2000;
    return fault;
}

void PrintTo(const AnswerCase& c, std::ostream* out) {
    *out << c.name;
}

class U5Answers : public testing::TestWithParam<AnswerCase> {};

TEST_P(U5Answers, DecideWhetherTheNextBankFollows) {
    const AnswerCase& c = GetParam();
    const PackageSample sample = Firmware(6);
    Fault fault = c.fault;
    Printer printer{On(c.line, {fault.At(c.bank)}, 6)};
    const RunResult run = Upgrade(printer, sample);
    const bool success = c.line1 == nullptr;
    std::vector<std::string> lines{Data("Waiting Answer...")};
    if (!success) lines.insert(lines.end(), {Data(c.line1), "[SendFW]Upgrade Error"});
    ExpectRun(run, success, lines);
    const std::size_t banks = success ? 6 : static_cast<std::size_t>(c.bank) + 2;
    printer.Inspect([&](const auto& model) {
        EXPECT_EQ(model.Count(Exchange::DataBank), success ? 3 : c.bank);
        // What was programmed before stays programmed.
        EXPECT_EQ(model.FlashImage(),
                  Bytes(sample.firmware.begin(),
                        sample.firmware.begin() + static_cast<std::ptrdiff_t>(banks * kBankSize)));
    });
    printer.ExpectNoViolations();
}

const AnswerCase kAnswers[] = {
    {"WrongIdentifier", Line::Serial, 1, Fault::Says(Exchange::DataBank, {0x33}),
     "Answer Error(0x33) : ID Module Error"},
    {"EraseErrorOfTheSecond", Line::Ethernet, 2, Fault::Says(Exchange::DataBank, {0x88}),
     "Answer Error(0x88) : Clear Flash Error"},
    {"FlashError", Line::Usb, 1, Fault::Says(Exchange::DataBank, {0x00, 0x77, 0x33}),
     "Answer Error(0x77) : Program Flash Error"},
    {"OwnChecksumError", Line::Serial, 2, Fault::Says(Exchange::DataBank, {0x99}),
     "Answer Error(0x99) : Generic Error"},
    {"ModulesChecksumErrorIsNone", Line::Serial, 1, Portions({{0x95}, {0x95, 0x12}, {0xAA}}), nullptr},
    {"InPortionsOnUsb", Line::Usb, 2, Portions({{0x95}, {0xAA}}), nullptr},
    {"Late", Line::Ethernet, 2, Fault::Late(Exchange::DataBank, 30000), nullptr},
    {"NeverOnSerial", Line::Serial, 1, Fault::Silence(Exchange::DataBank), "Wait Answer Error"},
    {"NeverOnEthernet", Line::Ethernet, 2, Fault::Silence(Exchange::DataBank), "Wait Answer Error"},
    {"NeverOnUsb", Line::Usb, 1, Fault::Silence(Exchange::DataBank), "Wait Answer Error"},
};

INSTANTIATE_TEST_SUITE_P(U5, U5Answers, testing::ValuesIn(kAnswers), testing::PrintToStringParamName());

// Between the code group and the last bank the printer has another address number, and a neighbour that has a
// third one.
TEST(U5, OnUsbThePrinterIsFoundAgainWhereItSits) {
    PrinterOptions options = On(Line::Usb);
    options.usb.serial = "ABC1";
    options.serialInCodePhase = "ABC7";
    const PackageSample sample = Firmware(5, true);
    Printer printer{options};
    PrinterOptions other = On(Line::Usb);
    other.usb.serial = "ABC5";
    simulator::PrinterModel neighbour(other);
    simulator::SynchronizedModel shared(neighbour);
    simulator::UsbDescription beside;
    beside.port = "1-2";
    simulator::UsbTransport transport(printer.Bus(), shared, beside);
    transport.Start();

    const RunResult run = Upgrade(printer, sample, {"-t", "usb", "-d", "F0F0|0205|ABC1"});
    ExpectRun(run, true,
              {"[SaveLocationCurrentDevice]Vid:F0F0, Pid:0205, AddrNum:1, Location: 10000000",
               Code("Different version: Wait printer reset..."),
               "[RestoreAddrNumFrmLocatio]New info Vid:F0F0, Pid:0205, AddrNum:7, Location: 10000000",
               Data("Sending bank...4/5 (80%)"), Data("Sending bank...5/5 (100%)"),
               Data("Different version: Wait printer reset..."), "[StartUpgrade_PSW2]Programming OK!",
               "[SendAllModules]Send Fonts...", "[SendAllModules]Programming OK",
               "[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    // It is looked for under the number that it had before.
    EXPECT_FALSE(run.Has(Code("Different version: Printer reset..."))) << run.Text();
    EXPECT_FALSE(run.Has(Data("Different version: Printer reset... Done"))) << run.Text();
    endtoend::ExpectHolds(printer, sample, true, true);
    shared.Inspect([&] {
        EXPECT_EQ(neighbour.Count(Exchange::ProtocolVersion), 0);
        EXPECT_EQ(neighbour.Count(Exchange::DataBank), 0);
        EXPECT_THAT(neighbour.Violations(), testing::ElementsAre());
    });
}

TEST(U5, OnUsbAPrinterThatIsPulledOutInsideABankIsAFailure) {
    Printer printer{On(Line::Usb, {Fault::Cut(Exchange::DataBank, 500)})};
    ExpectRun(
        Upgrade(printer, Firmware()), false,
        {Data("Sending bank...4/5 (80%)"), Data("Communication Error! exit..."), "[SendFW]Upgrade Error"});
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.FlashImage().size(); }), 3 * kBankSize);
}

// Commands name a bank by its low byte; the progress and the order of the banks do not.
TEST(U5, OfMoreThan256BanksEachIsSent) {
    PrinterOptions options = On(Line::Serial, {}, 260);
    options.bankSize = 16;
    options.bankMs = 0;
    const PackageSample sample = Package(true, 0x37, "106", 260, 16);
    Printer printer{options};
    ExpectRun(Upgrade(printer, sample, {"-c", "1"}), true,
              {Data("Sending bank...256/260 (98%)"), Data("Sending bank...257/260 (98%)"),
               Data("Sending bank...260/260 (100%)"), Data("Wait than exit...")});
    endtoend::ExpectHolds(printer, sample, true, false);
}

}  // namespace

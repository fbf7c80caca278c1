#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "package/PSWComponents.h"
#include "simulator/SampleFiles.h"
#include "upgrade/TestPackage.h"
#include "upgrade/UpgradePrinter.h"

namespace {

using ModulesAvailable::ModuleType;

TEST(SendModuleToDevice, EachAnswerByte) {
    const struct {
        Bytes answer;
        bool result;
        const char* line;
    } rows[] = {
        {{0xAA}, true, ""},
        {{0x33}, false, "Answer Error(0x33) : ID Module Error"},
        {{0x44}, false, "Answer Error(0x44) : Module Error"},
        {{0x66}, false, "Answer Error(0x66) : Ram Error"},
        {{0x77}, false, "Answer Error(0x77) : Program Flash Error"},
        {{0x88}, false, "Answer Error(0x88) : Clear Flash Error"},
        {{0x95}, false, "Answer Error(0x95) : Checksum Error"},
        {{0x00, 0x12, 0x95, 0xAA}, false, "Answer Error(0x95) : Checksum Error"},
        {{0x99, 0x55, 0xAA, 0x33}, true, ""},
    };
    const Bytes module = Pattern(5000);
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        port.OnHandshake().Expect(module).Silence(3).Answer(row.answer).OnClose();
        UpgradePrinter printer(2, 0);
        LogCapture log;
        EXPECT_EQ(printer.SendModule(port, ModulesAvailable::FONTS, module.data(), 5000, nullptr),
                  row.result);
        Lines lines{"Waiting Answer...", "Read Answer len: " + std::to_string(row.answer.size())};
        if (*row.line != '\0') lines.emplace_back(row.line);
        EXPECT_EQ(log.Take("SendModuleToDevice"), lines);
        EXPECT_EQ(port.Calls("CleanRX"), 1);
        ASSERT_EQ(port.sent.size(), 2U);
        EXPECT_EQ(port.sent[0].bytes.size(), 4096U);
        EXPECT_EQ(clock.WaitedUs(), 40000U) << "20 ms after each packet, and no wait besides";
    }
}

TEST(SendModuleToDevice, WriteTimeoutOfEachKindAndTheLineOfALargeModule) {
    const std::string rfid = "Add another Timeout due to RFID module ";
    const std::string large = "Add Timeout module size > 2MB ";
    const struct {
        ModuleType type;
        unsigned int timeout;
        std::size_t size;
        Lines log;
    } rows[] = {
        {ModulesAvailable::FONTS, 2000, 10, {}},
        {ModulesAvailable::FLASH_DISK, 2000, 1024000, {}},
        {ModulesAvailable::RADIO_CAMERA, 2000, 1024001, {large}},
        {ModulesAvailable::LOGOS, 2000, 10, {}},
        {ModulesAvailable::OTHER, 2000, 10, {}},
        {ModulesAvailable::RFID_HF, 4000, 10, {rfid}},
        {ModulesAvailable::RFID_UHF, 4000, 1024001, {large, rfid}},
        {ModulesAvailable::BLUETOOTH, 22000, 10, {"Add another Timeout due to Bluetooth module "}},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        const Bytes module = Pattern(row.size);
        port.Expect(module).Answer(Bytes{0xAA});
        UpgradePrinter printer(2, 1);
        LogCapture log;
        EXPECT_TRUE(printer.SendModule(port, row.type, module.data(), static_cast<int>(row.size), nullptr));
        for (const auto& sent : port.sent) EXPECT_EQ(sent.uiTimeoutTX, row.timeout) << row.type;
        EXPECT_EQ(port.GetTimeoutTX(), 500);
        const Lines lines = log.Take("SendModuleToDevice");
        EXPECT_EQ(lines, (row.log + Lines{"Waiting Answer...", "Read Answer len: 1"})) << row.type;
    }
}

TEST(SendModuleToDevice, FailedHandshakeClosesWhenAsked) {
    for (const bool close : {false, true}) {
        ScriptedPort port;
        port.OnHandshake(false);
        if (close) port.OnClose();
        UpgradePrinter printer(2, 1);
        LogCapture log;
        const unsigned char byte = 1;
        EXPECT_FALSE(printer.SendModuleToDevice(port, ModulesAvailable::FONTS, &byte, 1, close, nullptr));
        EXPECT_EQ(log.Take("SendModuleToDevice"), Lines{"Handshake Communication Error "});
        EXPECT_EQ(port.Calls("Close"), close ? 1 : 0);
    }
}

// Ten minutes, whatever the multiplier; bytes that mean nothing do not end them.
TEST(SendModuleToDevice, AnswerIsWaitedForTenMinutes) {
    const struct {
        int silences;
        bool answered;
    } rows[] = {{1199, true}, {1200, false}};
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        port.Expect({1}).Answer(Bytes{0x95 + 1, 0x06}).Silence(row.silences);
        if (row.answered) port.Answer(Bytes{0xAA});
        port.OnClose();
        UpgradePrinter printer(2, 0);
        LogCapture log;
        const unsigned char byte = 1;
        EXPECT_EQ(printer.SendModule(port, ModulesAvailable::FONTS, &byte, 1, nullptr), row.answered);
        EXPECT_EQ(log.Take("SendModuleToDevice").back(),
                  row.answered ? "Read Answer len: 1" : "Wait Answer Error");
    }
}

// A transfer that breaks off is judged by the printer's answer alone.
TEST(SendModuleToDevice, AFailedTransferIsLeftToTheAnswer) {
    VirtualClock clock;
    ScriptedPort port(&clock);
    const Bytes module = Pattern(9000);
    port.Expect(Slice(module, 0, 4096)).FailWrite().Answer(Bytes{0x95});
    UpgradePrinter printer(2, 1);
    EXPECT_FALSE(printer.SendModule(port, ModulesAvailable::FONTS, module.data(), 9000, nullptr));
    EXPECT_EQ(port.GetTimeoutTX(), 500);
}

struct ComponentRow {
    PSWCOMPONENTS component;
    int headerKind;
    int reopens;  // the one before, and the loop's
    const char* begin;
    const char* error;
    const char* missing;
};

const ComponentRow kRows[] = {
    {0x2002, PSWHeaderModule::FONT, 2, "Send Fonts...", "Programming Fonts Module Error",
     "Fonts Module not found"},
    {0x2004, PSWHeaderModule::DATA, 1, "Send Flash Disk...", "Programming Flash Disk Module Error.",
     "Flash Disk Module not found"},
    {0x2008, PSWHeaderModule::LOGO, 2, "Send Logos...", "Programming Logos Module Error",
     "Logos Module not found"},
    {0x2010, PSWHeaderModule::OTHER, 2, "Send unknown module...", "Programming Logos Module Error",
     "Logos Module not found"},
};

TEST(SendAllModules, EachKindOnEachSideTakenRefusedAndMissing) {
    enum class Outcome { kTaken, kRefused, kMissing };
    for (const ComponentRow& row : kRows) {
        for (const PSWCOMPONENTS side : {0x0000U, 0x1000U}) {
            for (const Outcome outcome : {Outcome::kTaken, Outcome::kRefused, Outcome::kMissing}) {
                VirtualClock clock;
                ScriptedPort port(&clock);
                TestPackage package;
                package.AddModule(PSWHeaderModule::CODEFONT, Pattern(9));  // of no kind that is sent
                for (int i = 0; i < row.reopens; ++i) port.OnReOpen();
                // Two modules of the kind, in the order of the headers; the second one is refused.
                if (outcome != Outcome::kMissing) {
                    for (const unsigned variant : {11U, 12U}) {
                        package.AddModule(row.headerKind, Pattern(30, variant));
                        port.Expect(Pattern(30, variant));
                        const bool taken = outcome == Outcome::kTaken || variant == 11;
                        port.Answer(Bytes{static_cast<unsigned char>(taken ? 0xAA : 0x77)});
                    }
                }
                PSWComponents list;
                list.Add(row.component | side);
                UpgradePrinter printer(3, 3);
                LogCapture log;
                EXPECT_EQ(
                    printer.SendAllModules(port, package.file, list, nullptr, 10000, side == 0, side != 0),
                    outcome != Outcome::kRefused)
                    << row.begin;
                const char* const last = outcome == Outcome::kTaken     ? "Programming OK"
                                         : outcome == Outcome::kRefused ? row.error
                                                                        : row.missing;
                EXPECT_EQ(log.Take("SendAllModules"), (Lines{row.begin, last}));
                const std::uint64_t packets = outcome == Outcome::kMissing ? 0 : 40000;
                EXPECT_EQ(clock.WaitedUs(), packets + (outcome == Outcome::kTaken ? 30000000U : 0U));
            }
        }
    }
}

// A module of no kind of the package's own is sent as what its own header says, known by its write time-out.
TEST(SendAllModules, OtherModulesNameTheirKind) {
    const struct {
        char kind;
        unsigned int timeout;
    } rows[] = {{'H', 4000}, {'E', 22000}, {'F', 2000}, {'O', 2000}};
    for (const auto& row : rows) {
        simulator::ModuleSample sample;
        sample.kind = row.kind;
        sample.bodySize = 100;
        const Bytes module = simulator::SampleFiles::MakeModule(sample);
        VirtualClock clock;
        ScriptedPort port(&clock);
        port.Expect(module).Answer(Bytes{0xAA});  // as it lies in the package
        TestPackage package;
        package.AddModule(PSWHeaderModule::OTHER, module);
        PSWComponents list;
        list.Add(0x3010);
        UpgradePrinter printer(3, 1);
        EXPECT_TRUE(printer.SendAllModules(port, package.file, list, nullptr, 0, false, true));
        for (const auto& sent : port.sent) EXPECT_EQ(sent.uiTimeoutTX, row.timeout) << row.kind;
    }
}

// The list decides the order and the side; firmware and unknown kinds are passed over.
TEST(SendAllModules, FollowsTheListAndTheSide) {
    for (const bool after : {false, true}) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        TestPackage package;
        package.AddModule(PSWHeaderModule::FONT, Pattern(10, 1));
        package.AddModule(PSWHeaderModule::DATA, Pattern(10, 2));
        package.AddModule(PSWHeaderModule::LOGO, Pattern(10, 3));
        PSWComponents list;
        for (const PSWCOMPONENTS value : {0x3008U, 0x2004U, 0x0000U, 0x2020U, 0x2006U, 0x2002U, 0x1002U}) {
            list.Add(value);
        }
        if (after) {
            port.Expect(Pattern(10, 3)).Answer(Bytes{0xAA});
        } else {
            port.Expect(Pattern(10, 2)).Answer(Bytes{0xAA}).Expect(Pattern(10, 1)).Answer(Bytes{0xAA});
        }
        UpgradePrinter printer(3, 1);
        EXPECT_TRUE(printer.SendAllModules(port, package.file, list, nullptr, 0, !after, after));
        // One before each module of the side, known or not, and the loop of all kinds but the disk.
        EXPECT_EQ(port.Calls("ReOpen"), after ? 2 : 5);
    }
}

TEST(SendAllModules, AnExhaustedReopenLoopFails) {
    VirtualClock clock;
    ScriptedPort port(&clock);
    for (int i = 0; i < 10; ++i) port.OnReOpen(false);
    TestPackage package;
    package.AddModule(PSWHeaderModule::FONT, Pattern(10));
    PSWComponents list;
    list.Add(0x2002);
    list.Add(0x2004);
    UpgradePrinter printer(3, 1);
    LogCapture log;
    EXPECT_FALSE(printer.SendAllModules(port, package.file, list, nullptr, 10000, true, false));
    EXPECT_EQ(log.Take("SendAllModules"),
              Lines(9, "ReOpen Error. Retry") + Lines{"ReOpen Error. Num Max Retry found. Throw Error"});
    EXPECT_EQ(clock.WaitedUs(), 40U * 1000000);
}

}  // namespace

// What every engine has of the base: the bank checksums and the module download.
#include "upgrade/UpgradePrinter.h"

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "package/PSWComponents.h"
#include "simulator/SampleFiles.h"
#include "upgrade/TestPackage.h"

namespace {

using ModulesAvailable::ModuleType;

// Sizes around the blocks of 256 bytes and the index's 16 bits, against sums taken byte by byte.
TEST(Checksum, EqualsTheSumsTakenByteByByte) {
    for (const std::size_t size :
         {0U, 1U, 3U, 255U, 256U, 257U, 511U, 512U, 65535U, 65536U, 65793U, 200001U}) {
        Bytes data = Pattern(size, 251);
        unsigned long sum = 1;
        unsigned long xorSum = 1;
        EXPECT_TRUE(UpgradePrinter::GetCheckSumVarda18h(data.data(), static_cast<long>(size), sum, xorSum));
        EXPECT_EQ(PackedSums(sum, xorSum), SumsOf(data, 1000000)) << size;
        const std::vector<unsigned char*> banks{data.data(), data.data(), data.data()};
        EXPECT_TRUE(UpgradePrinter::GetCheckSumKeldUsb(banks, static_cast<long>(size), sum, xorSum));
        EXPECT_EQ(PackedSums(sum, xorSum), SumsOf(data + data + data, std::max<std::size_t>(size, 1)))
            << size;
    }
    unsigned long sum = 1;
    unsigned long xorSum = 1;
    const unsigned char three[] = {1, 2, 3};
    UpgradePrinter::GetCheckSumVarda18h(three, 3, sum, xorSum);
    EXPECT_EQ(PackedSums(sum, xorSum), (Bytes{0, 6, 0, 5}));
    UpgradePrinter::GetCheckSumVarda18h(three, -1, sum, xorSum);
    EXPECT_EQ(sum + xorSum, 0U);
}

/// Sends `module` of `type` over `port` and returns the log; `result` is what came of it.
Lines Send(ScriptedPort& port, ModuleType type, const Bytes& module, bool& result, bool close = false) {
    UpgradePrinter printer(2, 0);
    LogCapture log;
    const int size = static_cast<int>(module.size());
    result = close ? printer.SendModuleToDevice(port, type, module.data(), size, true, nullptr)
                   : printer.SendModule(port, type, module.data(), size, nullptr);
    return log.Take("SendModuleToDevice");
}

// The first byte that is an answer decides; 0x99 is none here.
TEST(SendModuleToDevice, Answers) {
    const struct {
        Bytes answer;
        Lines line;
    } rows[] = {{{0x99, 0x55, 0xAA, 0x33}, {}},
                {{0x00, 0x12, 0x95, 0xAA}, {"Answer Error(0x95) : Checksum Error"}},
                {{0x33}, {"Answer Error(0x33) : ID Module Error"}}};
    const Bytes module = Pattern(5000);
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        port.OnHandshake().Expect(module).Silence(3).Answer(row.answer).OnClose();
        const std::string length = std::to_string(row.answer.size());
        bool result = false;
        EXPECT_EQ(Send(port, ModulesAvailable::FONTS, module, result),
                  (Lines{"Waiting Answer...", "Read Answer len: " + length} + row.line));
        EXPECT_EQ(result, row.line.empty());
        EXPECT_EQ(port.Calls("CleanRX"), 1);
        EXPECT_EQ(port.sent.at(0).bytes.size(), 4096U);
        EXPECT_EQ(clock.WaitedUs(), 40000U) << "20 ms after each packet, and no wait besides";
    }
}

TEST(SendModuleToDevice, WriteTimeoutOfEachKindAndTheLineOfALargeModule) {
    const Lines rfid{"Add another Timeout due to RFID module "};
    const Lines large{"Add Timeout module size > 2MB "};
    const struct {
        ModuleType type;
        unsigned int timeout;
        std::size_t size;
        Lines log;
    } rows[] = {
        {ModulesAvailable::FLASH_DISK, 2000, 1024000, {}},
        {ModulesAvailable::RADIO_CAMERA, 2000, 1024001, large},
        {ModulesAvailable::RFID_HF, 4000, 10, rfid},
        {ModulesAvailable::RFID_UHF, 4000, 1024001, large + rfid},
        {ModulesAvailable::BLUETOOTH, 22000, 10, {"Add another Timeout due to Bluetooth module "}},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        const Bytes module = Pattern(row.size);
        port.Expect(module).Answer(Bytes{0xAA});
        bool result = false;
        const Lines log = row.log + Lines{"Waiting Answer...", "Read Answer len: 1"};
        EXPECT_EQ(Send(port, row.type, module, result), log);
        EXPECT_TRUE(result);
        for (const auto& sent : port.sent) EXPECT_EQ(sent.uiTimeoutTX, row.timeout) << row.type;
        EXPECT_EQ(port.GetTimeoutTX(), 500);
    }
}

TEST(SendModuleToDevice, FailedHandshakeClosesWhenAsked) {
    for (const bool close : {false, true}) {
        ScriptedPort port;
        port.OnHandshake(false);
        bool result = true;
        EXPECT_EQ(Send(port, ModulesAvailable::FONTS, {1}, result, close),
                  Lines{"Handshake Communication Error "});
        EXPECT_FALSE(result);
        EXPECT_EQ(port.Calls("Close"), close ? 1 : 0);
    }
}

// Ten minutes, whatever the multiplier; bytes that mean nothing do not end them, nor does a transfer that
// broke off.
TEST(SendModuleToDevice, TheAnswerAloneDecidesWithinTenMinutes) {
    const Bytes module = Pattern(9000);
    for (const int silences : {1199, 1200}) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        port.Expect(Slice(module, 0, 4096)).FailWrite().Answer(Bytes{0x96, 0x06}).Silence(silences);
        if (silences < 1200) port.Answer(Bytes{0xAA});
        port.OnClose();
        bool result = false;
        const Lines log = Send(port, ModulesAvailable::FONTS, module, result);
        EXPECT_EQ(result, silences < 1200);
        EXPECT_EQ(log.back(), result ? "Read Answer len: 1" : "Wait Answer Error");
        EXPECT_EQ(port.GetTimeoutTX(), 500);
    }
}

bool SendAll(ScriptedPort& port, TestPackage& package, const std::vector<PSWCOMPONENTS>& values, bool after,
             int waitMs = 0) {
    PSWComponents list;
    for (const PSWCOMPONENTS value : values) list.Add(value);
    return UpgradePrinter(3, 3).SendAllModules(port, package.file, list, nullptr, waitMs, !after, after);
}

TEST(SendAllModules, EachKindOnEachSideTakenRefusedAndMissing) {
    const struct {
        PSWCOMPONENTS component;
        int headerKind, reopens;  // the re-open before each, and the loop's
        const char *begin, *refused, *missing;
    } rows[] = {
        {0x2002, 0, 2, "Send Fonts...", "Programming Fonts Module Error", "Fonts Module not found"},
        {0x2004, 2, 1, "Send Flash Disk...", "Programming Flash Disk Module Error.",
         "Flash Disk Module not found"},
        {0x2008, 7, 2, "Send Logos...", "Programming Logos Module Error", "Logos Module not found"},
        {0x2010, 5, 2, "Send unknown module...", "Programming Logos Module Error", "Logos Module not found"},
    };
    for (const auto& row : rows) {
        for (const bool after : {false, true}) {
            // Two modules of the kind, in the order of the headers, with their answers; or none.
            for (const Bytes& answers : {Bytes{0xAA, 0xAA}, Bytes{0xAA, 0x77}, Bytes{}}) {
                VirtualClock clock;
                ScriptedPort port(&clock);
                TestPackage package;
                package.AddModule(PSWHeaderModule::CODEFONT, Pattern(9));  // of no kind that is sent
                for (int i = 0; i < row.reopens; ++i) port.OnReOpen();
                for (std::size_t i = 0; i < answers.size(); ++i) {
                    package.AddModule(row.headerKind, Pattern(30, static_cast<unsigned>(i)));
                    port.Expect(Pattern(30, static_cast<unsigned>(i))).Answer(Bytes{answers[i]});
                }
                const bool refused = !answers.empty() && answers.back() != 0xAA;
                const bool taken = !answers.empty() && !refused;
                LogCapture log;
                EXPECT_EQ(SendAll(port, package, {row.component | (after ? 0x1000U : 0U)}, after, 10000),
                          !refused);
                EXPECT_EQ(log.Take("SendAllModules"), (Lines{row.begin, taken     ? "Programming OK"
                                                                        : refused ? row.refused
                                                                                  : row.missing}));
                EXPECT_EQ(clock.WaitedUs(), answers.size() * 20000 + (taken ? 30000000U : 0U)) << row.begin;
            }
        }
    }
}

// A module of no kind of the package's own is sent as what its own header says, known by its write time-out.
TEST(SendAllModules, OtherModulesNameTheirKind) {
    for (const auto& [kind, timeout] : {std::pair{'H', 4000U}, {'E', 22000U}, {'F', 2000U}, {'O', 2000U}}) {
        simulator::ModuleSample sample;
        sample.kind = kind;
        sample.bodySize = 100;
        const Bytes module = simulator::SampleFiles::MakeModule(sample);
        VirtualClock clock;
        ScriptedPort port(&clock);
        port.Expect(module).Answer(Bytes{0xAA});  // as it lies in the package
        TestPackage package;
        package.AddModule(PSWHeaderModule::OTHER, module);
        EXPECT_TRUE(SendAll(port, package, {0x3010}, true));
        for (const auto& sent : port.sent) EXPECT_EQ(sent.uiTimeoutTX, timeout) << kind;
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
        for (const unsigned variant : after ? std::vector<unsigned>{3} : std::vector<unsigned>{2, 1})
            port.Expect(Pattern(10, variant)).Answer(Bytes{0xAA});
        EXPECT_TRUE(SendAll(port, package, {0x3008, 0x2004, 0, 0x2020, 0x2006, 0x2002, 0x1002}, after));
        // One before each module of the side, known or not, and the loop of all kinds but the disk.
        EXPECT_EQ(port.Calls("ReOpen"), after ? 2 : 5);
    }
}

}  // namespace

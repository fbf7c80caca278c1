#include "upgrade/UpgradePrinter_ModeU1.h"

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "package/PSWComponents.h"
#include "port/CommPortSettings.h"
#include "upgrade/TestPackage.h"

namespace {

const Lines kBlocks{"Sending flash block start...1/2", "Sending flash block end  ...1/2",
                    "Sending flash block start...2/2", "Sending flash block end  ...2/2"};

std::string Try(int number) {
    return "Error on sending banks. This is the " + std::to_string(number) + "/3 try.";
}

/// A run of SendFW with two banks of 60 bytes.
struct Rig {
    explicit Rig(COMMPORTTYPE type = COMMPORT_SERIAL, int timem = 1) : port(&clock, type), engine(3, timem) {}

    bool SendFW(int answerSetting = 1) {
        return engine.SendFW(info, port, package.file, settings, nullptr, nullptr, answerSetting);
    }

    /// The group alone, with an error code that a silent failure leaves.
    bool SendGroup(bool sameVersion = false) {
        const Bytes sums = SumsOf(firmware, 120);
        err = 77;
        return engine.SendBankFlashBanksNew(port, firmware.data(), 60, 2, sums[0] * 256UL + sums[1],
                                            sums[2] * 256UL + sums[3], 0, err, "1.05", sameVersion, 1,
                                            nullptr);
    }

    VirtualClock clock;
    ScriptedPort port;
    int err = 0;
    Bytes firmware = Pattern(120);
    // One sum over both banks: the index does not start again in the second.
    const Bytes group = StartOf(0, 1) + firmware + ProgramOf(0, 1, SumsOf(firmware, 120));
    TestPackage package{"105", 2, firmware};
    UpgradePrinter_ModeU1 engine;
    UpgradeDataInfo info;
    CommPortSettings settings;
};

TEST(UpgradeU1, AGroupThatIsTakenAtTheFourthTryThoughThePrinterStaysAway) {
    Rig rig;
    ReleaseAsked(rig.port.OnReOpen());
    for (const unsigned char answer : Bytes{0x99, 0x77, 0x88, 0xAA})
        rig.port.Expect(rig.group).Answer(Bytes{answer});
    for (int i = 0; i < 9; ++i) rig.port.OnReOpen(false);
    LogCapture log;
    EXPECT_TRUE(rig.SendFW());
    EXPECT_STREQ(rig.engine.szErrorMessage, "");
    EXPECT_EQ(rig.clock.WaitedUs(), (3 + 8 * 2 + 3) * 1000000U);
    const Lines lines = log.Take("SendBankFlashBanksNew");
    EXPECT_EQ(
        Lines(lines.begin(), lines.begin() + 7),
        (kBlocks + Lines{"Programming answer: 0x99", "Answer: ERROR_CECKSUM", "Upgrade Return Status: 0"}));
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
              (Lines{"ReOpen Error. Num max Retry found. Throw Error", "Answer: NO_ERROR_COM",
                     "Upgrade Return Status: 1"}));
    for (const auto& sent : rig.port.sent) {
        const bool bank = sent.bytes.size() == 60;
        EXPECT_EQ(sent.uiWPacketSize, bank ? 48U : 1000U);
        EXPECT_EQ(sent.uiTimeoutTX, bank ? 2500U : 500U);
    }
}

// A try that fails silently keeps the code of the one before, hence its text.
TEST(UpgradeU1, FourTriesAtMostEachWithItsText) {
    Rig rig;
    ReleaseAsked(rig.port);
    rig.port.Expect(rig.group).Answer(Bytes{0xAA, 0xAA});
    rig.port.Expect(rig.group).Answer(Bytes{0x99});
    rig.port.Expect(rig.group).Silence(220);  // 110 s of reads of half a second
    rig.port.Expect(rig.group).Answer(Bytes{0x77});
    LogCapture log;
    EXPECT_FALSE(rig.SendFW());
    const std::string repeat = "You have problem during the upgrade procedure.  Please repeat the upgrade.";
    const Lines texts{"Some serious problem occurred during the upgrade process. Please repeat operation.",
                      repeat, repeat,
                      "You have a serious problem during upgrade phase. Please send your printer to Quorva "
                      "Technical Service."};
    Lines lines;
    for (int i = 0; i < 4; ++i)
        lines = lines + Lines{"Sending bank...1", texts[static_cast<std::size_t>(i)], Try(i + 1)};
    EXPECT_EQ(log.Take("SendFW"), lines);
    EXPECT_EQ(rig.engine.szErrorMessage, Try(4));
    EXPECT_EQ(rig.clock.WaitedUs(), 4000000U);
}

TEST(UpgradeU1, AFatalAnswerLeavesTheMessageOfTheTryBefore) {
    for (const unsigned char fatal : Bytes{0x66, 0x55, 0x00}) {
        Rig rig;
        ReleaseAsked(rig.port).Expect(StartOf(0, 1)).FailWrite();  // a block that is not taken is retried
        rig.port.Expect(rig.group).Answer(Bytes{fatal});
        EXPECT_FALSE(rig.SendFW());
        EXPECT_EQ(rig.engine.szErrorMessage, Try(1));
    }
    Rig start;
    ReleaseAsked(start.port).FailWrite();
    EXPECT_FALSE(start.SendFW());
    EXPECT_STREQ(start.engine.szErrorMessage, "");
}

TEST(UpgradeU1, WritesThatFail) {
    const struct {
        std::size_t before, taken;
        int err;
        Lines log;
    } rows[] = {
        {0, 0, 111, {"ERROR_COMMAND_TO_SEND_BANK"}},
        {4, 59, 112, {kBlocks[0], kBlocks[1]}},
        {64, 0, 112, kBlocks},
        {124, 0, 77, kBlocks},  // the trailer leaves the code as it was
    };
    for (const auto& row : rows) {
        Rig rig;
        if (row.before != 0) rig.port.Expect(Slice(rig.group, 0, row.before));
        rig.port.FailWrite(1, row.taken);
        LogCapture log;
        EXPECT_FALSE(rig.SendGroup());
        EXPECT_EQ(rig.err, row.err);
        EXPECT_EQ(log.Take("SendBankFlashBanksNew"), row.log);
        EXPECT_EQ(rig.port.uiWPacketSize, 1000U);
        EXPECT_EQ(rig.port.uiTimeoutTX, 500U);
    }
}

TEST(UpgradeU1, UsbWithoutAnswer) {
    for (const bool same : {true, false}) {
        Rig rig(COMMPORT_USB, 2);
        ReleaseAsked(rig.port.OnReOpen(), same ? "1.05" : "1.04").Expect(rig.group);
        for (int i = 0; !same && i < 7; ++i) rig.port.OnReOpen(false);
        LogCapture log;
        EXPECT_TRUE(rig.SendFW(0));
        EXPECT_EQ(log.Take("SendBankFlashBanksNew"),
                  (kBlocks + Lines{same ? "Same version: Wait then exit..."
                                        : "Different version: Wait printer reset...",
                                   "Upgrade Return Status: 1"}));
        EXPECT_EQ(rig.clock.WaitedUs(), ((same ? 12U : 60U) + 6) * 1000000);
    }
    // The setting speaks of USB alone.
    Rig serial(COMMPORT_SERIAL);
    ReleaseAsked(serial.port).Expect(serial.group).Answer(Bytes{0xAA});
    EXPECT_TRUE(serial.SendFW(0));
}

// One group over Ethernet, judged by the release that the printer reports afterwards.
TEST(UpgradeU1, EthernetIsJudgedByTheRelease) {
    const std::string silent = "Read FW Release Error";
    const Lines wrong{"Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED", "Upgrade Return Status: 0"};
    const Lines right{"New FW Release :1.05", "Upgrade succesfully, version correct. Force NO_ERROR_COM",
                      "Upgrade Return Status: 1"};
    const struct {
        const char* what;
        Lines releases;  // to the inquiries in turn; "" is silence
        int err;
        std::uint64_t ms;
        Lines log;
    } rows[] = {
        {"same", {}, 0, 10000, {"Same version. Force NO_ERROR_COM", "Upgrade Return Status: 1"}},
        {"another", {"1.04"}, 102, 10000, Lines{"New FW Release :1.04"} + wrong},
        {"new", {"1.05 ", "105", "", "1.05"}, 0, 15000, Lines(3, silent) + right},
        {"nine silences", Lines(9), 102, 9000 + 9 * 1500 + 8 * 500, Lines(9, silent) + wrong},
        {"no handshake", {}, 77, 10000, {"Handshake Communication Error"}},  // the code stays
    };
    for (const auto& row : rows) {
        Rig rig(COMMPORT_ETHERNET);
        rig.port.Expect(rig.group).OnClose();
        for (const std::string& release : row.releases) {
            rig.port.OnReOpen(false).OnHandshake().Expect(ReleaseInquiry());  // the re-open is not looked at
            release.empty() ? rig.port.Silence() : rig.port.Answer(release);
            rig.port.OnClose();
        }
        if (row.err == 77) rig.port.OnReOpen().OnHandshake(false);
        const std::uint64_t begin = rig.clock.NowMs();
        LogCapture log;
        EXPECT_EQ(rig.SendGroup(std::string(row.what) == "same"), row.err == 0) << row.what;
        EXPECT_EQ(rig.err, row.err) << row.what;
        EXPECT_EQ(log.Take("SendBankFlashBanksNew"),
                  kBlocks + Lines{"Waiting before closing port.."} + row.log);
        EXPECT_EQ(rig.clock.NowMs() - begin, row.ms) << row.what;
    }
}

TEST(UpgradeU1, TheTimeForAnAnswer) {
    const struct {
        int timem, silences;
        bool result;
    } rows[] = {{1, 219, true}, {2, 439, true}, {0, 0, true}, {0, 1, false}, {-1, 1, false}};
    for (const auto& row : rows) {
        Rig rig(COMMPORT_SERIAL, row.timem);
        rig.port.Expect(rig.group);
        if (row.silences != 0) rig.port.Silence(row.silences);
        if (row.result) rig.port.Answer(Bytes{0xAA});
        EXPECT_EQ(rig.SendGroup(), row.result) << row.timem;
        EXPECT_EQ(rig.err, row.result ? 0 : 77) << row.timem;
    }
}

// The printer's settings text: its first piece, when it is a number, says whether a USB printer answers.
TEST(UpgradeU1, AnswerSettingOfThePrinter) {
    const std::string line = "iUSB_PRG_ANSWER:";
    const std::string none = "START Upgrade PSW1";
    const struct {
        const char* text;
        bool answers;
        std::string first;  // line of the log
    } rows[] = {{"0;7", false, line + "0"},
                {";;0;1", false, line + "0"},
                {"2;0", true, line + "2"},
                {"x;0", true, none},
                {"", true, none}};
    for (const auto& row : rows) {
        Rig rig(COMMPORT_USB);
        rig.info.SetUpgradeConfigurationSettings(row.text);
        ReleaseAsked(rig.port, "1.05").Expect(rig.group);
        if (row.answers) rig.port.Answer(Bytes{0xAA});
        PSWComponents list;
        LogCapture log;
        EXPECT_TRUE(rig.engine.StartUpgrade_PSW1(rig.info, rig.port, rig.package.file, rig.settings, nullptr,
                                                 nullptr, list));
        EXPECT_EQ(log.Take("StartUpgrade_PSW1").front(), row.first) << row.text;
    }
}

}  // namespace

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "package/PSWComponents.h"
#include "port/CommPortSettings.h"
#include "upgrade/BankScript.h"
#include "upgrade/UpgradePrinter_ModeU1.h"

namespace {

const Lines kBlocks{"Sending flash block start...1/2", "Sending flash block end  ...1/2",
                    "Sending flash block start...2/2", "Sending flash block end  ...2/2"};
const char* const kRepeat = "You have problem during the upgrade procedure.  Please repeat the upgrade.";
const char* const kSerious =
    "You have a serious problem during upgrade phase. Please send your printer to Quorva Technical Service.";
const char* const kSome =
    "Some serious problem occurred during the upgrade process. Please repeat operation.";
const char* const kTry = "Error on sending banks. This is the %d/3 try.";

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
    const Bytes firmware = Pattern(120);
    // One sum over both banks: the index does not start again in the second.
    const Bytes group = StartOf(0, 1) + firmware + ProgramOf(0, 1, SumsOf(firmware, 120));
    TestPackage package{"105", 2, firmware};
    UpgradePrinter_ModeU1 engine;
    UpgradeDataInfo info;
    CommPortSettings settings;
};

TEST(UpgradeU1, EachAnswerItsLineAndItsRetries) {
    const struct {
        Bytes answer;  // none is silence
        const char* line;
        const char* text;  // for the user, at each of four tries; none: no retry
    } rows[] = {
        {{0xAA}, "Answer: NO_ERROR_COM", nullptr},
        {{0x99}, "Answer: ERROR_CECKSUM", kRepeat},
        {{0x88}, "Answer: ERROR_BANK_NOT_DELETED", kSerious},
        {{0x77}, "Answer: ERROR_BANK_NOT_PROGRAMMED", kSerious},
        {{0x66}, "Answer: ERROR_BANK_DAMAGED", nullptr},
        {{0x55}, "Answer: ERROR_SEND_SIGN", nullptr},
        {{0x00}, "Answer: ERROR_DEFAULT_CASE", nullptr},
        {{0xAA, 0xAA}, "", kSome},
        {{}, "", kSome},
    };
    for (const auto& row : rows) {
        Rig rig;
        ReleaseAsked(rig.port);
        const bool taken = row.answer == Bytes{0xAA};
        const int tries = row.text != nullptr ? 4 : 1;
        Lines log;
        for (int i = 1; i <= tries; ++i) {
            rig.port.Expect(rig.group);
            if (row.answer.empty()) {
                rig.port.Silence(220);  // 110 s of reads of half a second
            } else {
                rig.port.Answer(row.answer);
            }
            log = log + Lines{"[SendFW]Sending bank...1"};
            for (const std::string& line : kBlocks) log.push_back("[SendBankFlashBanksNew]" + line);
            if (*row.line != '\0') {
                log = log + Lines{Format("[SendBankFlashBanksNew]Programming answer: 0x%02x", row.answer[0]),
                                  std::string("[SendBankFlashBanksNew]") + row.line,
                                  Format("[SendBankFlashBanksNew]Upgrade Return Status: %d", taken ? 1 : 0)};
            }
            if (row.text != nullptr) {
                log = log + Lines{std::string("[SendFW]") + row.text, "[SendFW]" + Format(kTry, i)};
            }
        }
        LogCapture capture;
        EXPECT_EQ(rig.SendFW(), taken) << row.line;
        EXPECT_EQ(capture.Take(), log) << row.line;
        EXPECT_EQ(rig.engine.szErrorMessage, row.text != nullptr ? Format(kTry, 4) : "") << row.line;
        EXPECT_EQ(rig.clock.WaitedUs(), (taken ? 5U : row.text != nullptr ? 4U : 0U) * 1000000) << row.line;
    }
}

TEST(UpgradeU1, ALaterTryThatIsTakenClearsTheMessage) {
    Rig rig;
    ReleaseAsked(rig.port.OnReOpen());
    for (const unsigned char answer : Bytes{0x99, 0x77, 0x88, 0xAA})
        rig.port.Expect(rig.group).Answer(Bytes{answer});
    for (int i = 0; i < 9; ++i) rig.port.OnReOpen(false);  // taken although the printer never comes back
    LogCapture log;
    EXPECT_TRUE(rig.SendFW());
    EXPECT_STREQ(rig.engine.szErrorMessage, "");
    EXPECT_EQ(rig.clock.WaitedUs(), (3 + 8 * 2 + 3) * 1000000U);
    const Lines lines = log.Take("SendBankFlashBanksNew");
    EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
              (Lines{"ReOpen Error. Retry 9", "ReOpen Error. Num max Retry found. Throw Error",
                     "Answer: NO_ERROR_COM", "Upgrade Return Status: 1"}));
}

TEST(UpgradeU1, WritesThatFail) {
    const struct {
        std::size_t before, taken;
        int err;
        Lines log;
    } rows[] = {
        {0, 0, 111, {"ERROR_COMMAND_TO_SEND_BANK"}},
        {4, 0, 112, {kBlocks[0], kBlocks[1]}},
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

TEST(UpgradeU1, AStartThatIsNotTakenIsNotRetriedABlockIs) {
    Rig start;
    ReleaseAsked(start.port).FailWrite();
    EXPECT_FALSE(start.SendFW());
    EXPECT_STREQ(start.engine.szErrorMessage, "");

    Rig block;
    ReleaseAsked(block.port).Expect(StartOf(0, 1)).FailWrite().Expect(block.group).Answer(Bytes{0x55});
    EXPECT_FALSE(block.SendFW());
    EXPECT_EQ(block.engine.szErrorMessage, Format(kTry, 1))
        << "a fatal code leaves the message of the try before";
}

TEST(UpgradeU1, BanksGoInSmallPacketsAndThePortsValuesComeBack) {
    Rig rig;
    ReleaseAsked(rig.port).Expect(rig.group).Answer(Bytes{0xAA});
    EXPECT_TRUE(rig.SendFW());
    std::vector<std::size_t> sizes;
    for (const auto& sent : rig.port.sent) {
        const bool bank = sent.bytes.size() == 60;
        EXPECT_EQ(sent.uiWPacketSize, bank ? 48U : 1000U);
        EXPECT_EQ(sent.uiTimeoutTX, bank ? 2500U : 500U);
        sizes.push_back(sent.bytes.size());
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{1, 3, 4, 60, 60, 8}));
    EXPECT_EQ(rig.port.uiWPacketSize, 1000U);
    EXPECT_EQ(rig.port.uiTimeoutTX, 500U);
}

TEST(UpgradeU1, TheNumberOfBanksIsOneByte) {
    const struct { int banks, sent, last; } rows[] = {{255, 255, 254}, {256, 0, 255}, {257, 1, 0}};
    for (const auto& row : rows) {
        const Bytes firmware = Pattern(static_cast<std::size_t>(row.banks) * 2);
        const Bytes sent = Slice(firmware, 0, static_cast<std::size_t>(row.sent) * 2);
        for (const auto form : {TestPackage::Form::kOld, TestPackage::Form::kNew}) {
            Rig rig;
            TestPackage package(form, "105", row.banks, 2, firmware);
            ReleaseAsked(rig.port)
                .Expect(StartOf(0, row.last) + sent + ProgramOf(0, row.last, SumsOf(sent, 1000)))
                .Answer(Bytes{0xAA});
            EXPECT_TRUE(
                rig.engine.SendFW(rig.info, rig.port, package.file, rig.settings, nullptr, nullptr, 1))
                << row.banks;
        }
    }
}

TEST(UpgradeU1, UsbWithoutAnswer) {
    const Lines different{"Different version: Wait printer reset..."};
    const Lines back{"Different version: Printer reset..."};
    const struct {
        const char* printers;
        int failures;
        std::uint64_t seconds;
        Lines log;
    } rows[] = {{"1.05", -1, 12, {"Same version: Wait then exit..."}},
                {"1.04", 0, 0, different + back},
                {"1.04", 6, 60, different + back},
                {"1.04", 7, 60, different}};
    for (const auto& row : rows) {
        Rig rig(COMMPORT_USB, 2);
        ReleaseAsked(rig.port.OnReOpen(), row.printers).Expect(rig.group);
        for (int i = 0; i < row.failures; ++i) rig.port.OnReOpen(false);
        if (row.failures >= 0 && row.failures < 7) rig.port.OnReOpen();
        LogCapture log;
        EXPECT_TRUE(rig.SendFW(0));
        EXPECT_EQ(log.Take("SendBankFlashBanksNew"), kBlocks + row.log + Lines{"Upgrade Return Status: 1"});
        EXPECT_EQ(rig.clock.WaitedUs(), (row.seconds + 6) * 1000000);
    }
    // The setting speaks of USB alone.
    Rig serial(COMMPORT_SERIAL);
    ReleaseAsked(serial.port).Expect(serial.group).Answer(Bytes{0xAA});
    EXPECT_TRUE(serial.SendFW(0));
}

// One group over Ethernet, judged by the release that the printer reports afterwards.
TEST(UpgradeU1, EthernetIsJudgedByTheRelease) {
    using Script = void (*)(ScriptedPort&);
    const std::string waiting = "Waiting before closing port..";
    const std::string silent = "Read FW Release Error";
    const Lines wrong{"Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED", "Upgrade Return Status: 0"};
    const Lines right{"Upgrade succesfully, version correct. Force NO_ERROR_COM", "Upgrade Return Status: 1"};
    const struct {
        const char* what;
        Script script;
        bool same, result;
        int err;
        std::uint64_t ms;
        Lines log;
    } rows[] = {
        {"same release: nothing is asked",
         [](ScriptedPort& port) { port.OnClose(); },
         true,
         true,
         0,
         10000,
         {"Same version. Force NO_ERROR_COM", "Upgrade Return Status: 1"}},
        {"the new release",
         [](ScriptedPort& port) {
             port.OnClose().OnReOpen().OnHandshake().Expect(ReleaseInquiry()).Answer("1.05").OnClose();
         },
         false, true, 0, 10000, Lines{"New FW Release :1.05"} + right},
        {"another release",
         [](ScriptedPort& port) { port.OnReOpen(false).Expect(ReleaseInquiry()).Answer("1.04"); }, false,
         false, 102, 10000, Lines{"New FW Release :1.04"} + wrong},
        {"only four bytes are a release",
         [](ScriptedPort& port) {
             for (const char* release : {"1.05 ", "105", "", "1.05"}) {
                 port.Expect(ReleaseInquiry());
                 *release != '\0' ? port.Answer(release) : port.Silence();
             }
         },
         false, true, 0, 14500 + 500, Lines{silent, silent, silent, "New FW Release :1.05"} + right},
        {"no answer nine times",
         [](ScriptedPort& port) {
             for (int i = 0; i < 9; ++i) port.Expect(ReleaseInquiry()).Silence();
         },
         false, false, 102, 9000 + 9 * 1500 + 8 * 500, Lines(9, silent) + wrong},
        {"no handshake: the code stays",
         [](ScriptedPort& port) { port.OnReOpen().OnHandshake(false); },
         false,
         false,
         77,
         10000,
         {"Handshake Communication Error"}},
    };
    for (const auto& row : rows) {
        Rig rig(COMMPORT_ETHERNET);
        rig.port.Expect(rig.group);
        row.script(rig.port);
        const std::uint64_t begin = rig.clock.NowMs();
        LogCapture log;
        EXPECT_EQ(rig.SendGroup(row.same), row.result) << row.what;
        EXPECT_EQ(rig.err, row.err) << row.what;
        EXPECT_EQ(log.Take("SendBankFlashBanksNew"), kBlocks + Lines{waiting} + row.log) << row.what;
        EXPECT_EQ(rig.clock.NowMs() - begin, row.ms) << row.what;
    }
}

TEST(UpgradeU1, TheTimeForAnAnswer) {
    const struct {
        const char* what;
        int timem, silences;
        bool answered, result;
    } rows[] = {{"last moment", 1, 219, true, true},
                {"twice the time", 2, 439, true, true},
                {"no time, but the answer is there", 0, 0, true, true},
                {"no time and nothing there", 0, 1, false, false}};
    for (const auto& row : rows) {
        Rig rig(COMMPORT_SERIAL, row.timem);
        rig.port.Expect(rig.group);
        if (row.silences != 0) rig.port.Silence(row.silences);
        if (row.answered) rig.port.Answer(Bytes{0xAA});
        EXPECT_EQ(rig.SendGroup(), row.result) << row.what;
        EXPECT_EQ(rig.err, row.result ? 0 : 77) << row.what;
    }
}

// The printer's settings text: its first piece, when it is a number, says whether a USB printer answers.
TEST(UpgradeU1, AnswerSettingOfThePrinter) {
    const struct {
        const char* text;
        bool answers;
        Lines log;
    } rows[] = {{"0;7", false, {"iUSB_PRG_ANSWER:0"}},
                {"0", false, {"iUSB_PRG_ANSWER:0"}},
                {";;0;1", false, {"iUSB_PRG_ANSWER:0"}},
                {"2;0", true, {"iUSB_PRG_ANSWER:2"}},
                {"x;0", true, {}},
                {"", true, {}}};
    for (const auto& row : rows) {
        for (const bool newForm : {false, true}) {
            Rig rig(COMMPORT_USB);
            rig.info.SetUpgradeConfigurationSettings(row.text);
            ReleaseAsked(rig.port, "1.05").Expect(rig.group);
            if (row.answers) rig.port.Answer(Bytes{0xAA});
            PSWComponents components;
            components.Add(0);
            UpgradePrinter_ModeU1 engine(1, 1);
            LogCapture log;
            EXPECT_TRUE((engine.*(newForm ? &UpgradePrinter_ModeU1::StartUpgrade_PSW2
                                          : &UpgradePrinter_ModeU1::StartUpgrade_PSW1))(
                rig.info, rig.port, rig.package.file, rig.settings, nullptr, nullptr, components))
                << row.text;
            const Lines lines = log.Take(newForm ? "StartUpgrade_PSW2" : "StartUpgrade_PSW1");
            const Lines begin = row.log + Lines{newForm ? "START Upgrade PSW2" : "START Upgrade PSW1"};
            EXPECT_EQ(Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(begin.size())), begin);
        }
    }
}

}  // namespace

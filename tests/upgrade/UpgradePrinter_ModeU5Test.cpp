#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "port/CommPortSettings.h"
#include "upgrade/BankScript.h"
#include "upgrade/UpgradePrinter_ModeU5.h"

namespace {

bool SendFW(CComPort& port, TestPackage& package, int timem) {
    UpgradePrinter_ModeU5 engine(3, timem);
    UpgradeDataInfo info;
    CommPortSettings settings;
    return engine.SendFW(info, port, package.file, settings, nullptr, nullptr);
}

/// One data bank of 20 bytes with the index 3 of 5, of which the printer's answer is `script`'s.
struct DataBank {
    explicit DataBank(int timem = 1) : engine(3, timem) {}
    int Send(ScriptedPort& port, bool isLast = false) {
        return engine.SendBankFlashDATA(port, bank.data(), 20, 0x0102, 0x0304, false, nullptr, 3, 5, isLast);
    }
    Bytes Wire() const { return StartOf(3, 3) + bank + ProgramOf(3, 3, {1, 2, 3, 4}); }

    Bytes bank = Pattern(20);
    UpgradePrinter_ModeU5 engine;
};

const Lines kBankLines{"Sending command to start upgrade...", "Sending bank...4/5 (80%)",
                       "Sending command to program Flash..."};

// The whole run: the code group, the reset, the banks one by one; all banks but the last are answered. The
// same release is sent all the same.
TEST(UpgradeU5, ThreeToFiveBanksOverEachPort) {
    const struct {
        COMMPORTTYPE type;
        int banks;
        std::uint64_t seconds;
    } rows[] = {
        // 5 re-open, 30 or 2 reset, 1, 2 re-open, 1 after each data bank, 1
        {COMMPORT_ETHERNET, 3, 39}, {COMMPORT_SERIAL, 4, 40}, {COMMPORT_ETHERNET, 5, 41},
        {COMMPORT_USB, 3, 11},      {COMMPORT_USB, 5, 13},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock, row.type);
        const Bytes firmware = Pattern(static_cast<std::size_t>(row.banks) * 50);
        ReleaseAsked(port.OnReOpen().OnHandshake(), "1.05")
            .OnSaveLocation()
            .Expect(GroupOf(firmware, 50, 0, 2));
        if (row.type == COMMPORT_USB) port.OnReOpen().OnRestoreLocation();
        port.OnClose().OnReOpen();
        for (int i = 3; i < row.banks; ++i) {
            port.Expect(GroupOf(firmware, 50, i, i));
            if (i < row.banks - 1) port.Answer(Bytes{0xAA});
        }
        if (row.type == COMMPORT_USB && row.banks > 3) port.OnReOpen();
        port.OnClose();
        TestPackage package("105", row.banks, firmware);
        EXPECT_TRUE(SendFW(port, package, 1)) << row.banks;
        EXPECT_EQ(clock.WaitedUs(), row.seconds * 1000000) << row.type << " " << row.banks;
        EXPECT_EQ(port.GetWPacketSize(), 1000U);
        EXPECT_EQ(port.GetTimeoutTX(), 500);
        for (const auto& sent : port.sent) EXPECT_TRUE(sent.bytes.size() < 8 || sent.uiWPacketSize == 57344U);
    }
}

TEST(UpgradeU5, CodeGroupLinesAndResetOnUsb) {
    for (const int failures : {0, 6, 7}) {
        VirtualClock clock;
        ScriptedPort port(&clock, COMMPORT_USB);
        const Bytes firmware = Pattern(30);
        port.OnSaveLocation(false).Expect(GroupOf(firmware, 10, 0, 2));
        for (int i = 0; i < failures; ++i) port.OnReOpen(false);
        if (failures < 7) port.OnReOpen();
        port.OnRestoreLocation(false);
        Bytes copy = firmware;
        UpgradePrinter_ModeU5 engine(3, 2);
        const Bytes sums = SumsOf(firmware, 10);
        LogCapture log;
        EXPECT_TRUE(engine.SendBankFlashCODE(port, {copy.data(), copy.data() + 10, copy.data() + 20}, 10,
                                             sums[0] * 256UL + sums[1], sums[2] * 256UL + sums[3], true,
                                             nullptr));
        const Lines begin{"Sending command to start upgrade...",
                          "Sending bank...1/3 (33%)",
                          "Sending bank...2/3 (66%)",
                          "Sending bank...3/3 (100%)",
                          "Sending command to program Flash...",
                          "Different version: Wait printer reset..."};
        EXPECT_EQ(log.Take("SendBankFlashCODE"),
                  failures < 7 ? begin + Lines{"Different version: Printer reset..."} : begin);
        EXPECT_EQ(clock.WaitedUs(), static_cast<std::uint64_t>(std::min(failures, 6) * 10 + 4) * 1000000);
    }
}

TEST(UpgradeU5, AnswersOfADataBank) {
    const struct {
        Bytes answer;
        int result;
        const char* line;
    } rows[] = {
        {{0xAA}, 1, ""},
        {{0x33}, 0, "Answer Error(0x33) : ID Module Error"},
        {{0x44}, 0, "Answer Error(0x44) : Module Error"},
        {{0x66}, 0, "Answer Error(0x66) : Ram Error"},
        {{0x77}, 0, "Answer Error(0x77) : Program Flash Error"},
        {{0x88}, 0, "Answer Error(0x88) : Clear Flash Error"},
        {{0x99}, 0, "Answer Error(0x99) : Generic Error"},
        {{0x95, 0x00, 0x55, 0x99, 0xAA}, 0, "Answer Error(0x99) : Generic Error"},
        {{0x95, 0x06, 0xAA, 0x33}, 1, ""},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        DataBank data;
        ScriptedPort port(&clock);
        port.Expect(data.Wire()).Answer(row.answer);
        LogCapture log;
        EXPECT_EQ(data.Send(port), row.result) << row.line;
        Lines lines =
            kBankLines + Lines{"Waiting Answer...", "Read Answer len: " + std::to_string(row.answer.size())};
        if (*row.line != '\0') lines.emplace_back(row.line);
        EXPECT_EQ(log.Take("SendBankFlashDATA"), lines);
        EXPECT_EQ(port.uiTimeoutRX, 500U);
    }
}

TEST(UpgradeU5, AnAnswerIsWaitedForSixtySecondsTimesTheMultiplier) {
    const struct {
        const char* what;
        int timem, silences;
        Bytes answer;
        int result;
    } rows[] = {
        {"in time", 1, 11, {0xAA}, 1},
        {"unrecognised bytes, then in time", 2, 22, {0xAA}, 1},
        {"never", 1, 12, {}, 0},
        {"no time at all: the answer that is there is discarded", 0, 0, {0xAA}, 0},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        DataBank data(row.timem);
        ScriptedPort port(&clock);
        port.Expect(data.Wire());
        if (row.timem == 2) port.Answer(Bytes{0x95, 0x00});
        if (row.silences != 0) port.Silence(row.silences);  // of 5 s each
        if (!row.answer.empty()) port.Answer(row.answer);
        LogCapture log;
        EXPECT_EQ(data.Send(port), row.result) << row.what;
        EXPECT_EQ(log.Take("SendBankFlashDATA").back() == "Wait Answer Error", row.result == 0) << row.what;
        EXPECT_EQ(port.uiTimeoutRX, 500U);
    }
}

// A line that comes back at once with nothing is polled at a pace, and no further than the limit.
TEST(UpgradeU5, AnAnswerWaitDoesNotSpin) {
    VirtualClock clock;
    DataBank data;
    ScriptedPort port;  // its reads take no time
    port.Expect(data.Wire()).SilenceUntilAsked();
    const std::uint64_t begin = clock.NowMs();
    EXPECT_EQ(data.Send(port), 0);
    EXPECT_LE(clock.waits.size(), 60000U / 20 + 2);
    EXPECT_NEAR(static_cast<double>(clock.NowMs() - begin), 61000, 30);
}

TEST(UpgradeU5, TheLastBankIsNotAnswered) {
    const struct {
        COMMPORTTYPE type;
        int failures;
        std::uint64_t seconds;
        Lines end;
    } rows[] = {
        {COMMPORT_ETHERNET, 0, 1, {"Wait than exit..."}},
        {COMMPORT_SERIAL, 0, 1, {"Wait than exit..."}},
        {COMMPORT_USB,
         2,
         11,
         {"Different version: Wait printer reset...", "Different version: Printer reset... Done"}},
        {COMMPORT_USB, 7, 31, {"Different version: Wait printer reset..."}},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        DataBank data;
        ScriptedPort port(&clock, row.type);
        port.Expect(data.Wire());
        for (int i = 0; i < row.failures; ++i) port.OnReOpen(false);
        if (row.type == COMMPORT_USB && row.failures < 7) port.OnReOpen();
        LogCapture log;
        EXPECT_EQ(data.Send(port, true), 1);
        EXPECT_EQ(log.Take("SendBankFlashDATA"), kBankLines + row.end);
        EXPECT_EQ(clock.WaitedUs(), row.seconds * 1000000);
        EXPECT_EQ(port.Calls("RestoreAddrNumFrmLocatio"), 0);
    }
}

TEST(UpgradeU5, FailuresOfTheRun) {
    const Bytes firmware = Pattern(250);
    const struct {
        const char* what;
        void (*script)(ScriptedPort& port, const Bytes& firmware);
        Lines sendFw;
    } rows[] = {
        {"code group not written",
         [](ScriptedPort& port, const Bytes&) { port.FailWrite(); },
         {"Upgrade Error"}},
        {"port not back: the data phase runs and fails",
         [](ScriptedPort& port, const Bytes& data) {
             port.Expect(GroupOf(data, 50, 0, 2));
             for (int i = 0; i < 9; ++i) port.OnReOpen(false);
             port.FailWrite();
         },
         {"ReOpen Error. Retry 1", "ReOpen Error. Retry 2", "ReOpen Error. Retry 3", "ReOpen Error. Retry 4",
          "ReOpen Error. Retry 5", "ReOpen Error. Retry 6", "ReOpen Error. Retry 7", "ReOpen Error. Retry 8",
          "ReOpen Error. Retry 9", "ReOpen Error. Num max Retry found. Throw Error", "Upgrade Error"}},
        {"bank refused, the next one is not sent",
         [](ScriptedPort& port, const Bytes& data) {
             port.Expect(GroupOf(data, 50, 0, 2))
                 .OnReOpen()
                 .Expect(GroupOf(data, 50, 3, 3))
                 .Answer(Bytes{0x77});
         },
         {"Upgrade Error"}},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        row.script(ReleaseAsked(port.OnReOpen()), firmware);
        TestPackage package("105", 5, firmware);
        LogCapture log;
        EXPECT_FALSE(SendFW(port, package, 1)) << row.what;
        EXPECT_EQ(log.Take("SendFW"), row.sendFw) << row.what;
    }
}

TEST(UpgradeU5, BankIndexesAreSentAsTheirLowByte) {
    VirtualClock clock;
    ScriptedPort port(&clock);
    Bytes bank = Pattern(4);
    port.Expect({0x1C, 0xFD, 0x2C, 0x2C})
        .Expect(bank)
        .Expect(ProgramOf(0x2C, 0x2C, {0, 1, 0, 2}))
        .Answer(Bytes{0xAA});
    UpgradePrinter_ModeU5 engine(3, 1);
    LogCapture log;
    EXPECT_EQ(engine.SendBankFlashDATA(port, bank.data(), 4, 1, 2, false, nullptr, 300, 1000, false), 1);
    EXPECT_EQ(log.Take("SendBankFlashDATA")[1], "Sending bank...301/1000 (30%)");
}

}  // namespace

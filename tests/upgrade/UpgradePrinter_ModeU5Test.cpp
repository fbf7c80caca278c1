#include "upgrade/UpgradePrinter_ModeU5.h"

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "port/CommPortSettings.h"
#include "upgrade/TestPackage.h"

namespace {

bool SendFW(CComPort& port, const Bytes& firmware) {
    TestPackage package("105", static_cast<int>(firmware.size() / 50), firmware);
    UpgradePrinter_ModeU5 engine(3, 1);
    UpgradeDataInfo info;
    CommPortSettings settings;
    return engine.SendFW(info, port, package.file, settings, nullptr, nullptr);
}

/// The data bank 3 of 5, of 20 bytes.
struct DataBank {
    explicit DataBank(COMMPORTTYPE type = COMMPORT_ETHERNET, int timem = 1)
        : port(&clock, type), engine(3, timem) {
        port.Expect(StartOf(3, 3) + bank + ProgramOf(3, 3, {1, 2, 3, 4}));
    }
    /// Sends it; the log behind the three lines of the transfer.
    Lines Send(int result, bool isLast = false) {
        LogCapture log;
        EXPECT_EQ(
            engine.SendBankFlashDATA(port, bank.data(), 20, 0x0102, 0x0304, false, nullptr, 3, 5, isLast),
            result);
        const Lines lines = log.Take("SendBankFlashDATA");
        EXPECT_EQ(lines.at(1), "Sending bank...4/5 (80%)");
        EXPECT_EQ(port.uiTimeoutRX, 500U);
        return {lines.begin() + 3, lines.end()};
    }

    VirtualClock clock;
    ScriptedPort port;
    Bytes bank = Pattern(20);
    UpgradePrinter_ModeU5 engine;
};

// The whole run: the code group, the reset, the banks one by one; all banks but the last are answered. The
// same release is sent all the same.
TEST(UpgradeU5, ThreeToFiveBanksOverEachPort) {
    const struct {
        COMMPORTTYPE type;
        unsigned banks;
        int away;  // re-opens of the reset after the code group that fail
        std::uint64_t seconds;
    } rows[] = {
        // 5 re-open, 30 or 2 reset, 1, 2 re-open, 1 after each data bank, 1
        {COMMPORT_ETHERNET, 3, 0, 39}, {COMMPORT_SERIAL, 4, 0, 40}, {COMMPORT_ETHERNET, 5, 0, 41},
        {COMMPORT_USB, 3, 6, 41},      {COMMPORT_USB, 5, 7, 43},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock, row.type);
        const Bytes firmware = Pattern(row.banks * 50);
        ReleaseAsked(port.OnReOpen().OnHandshake(), "1.05")
            .OnSaveLocation()
            .Expect(GroupOf(firmware, 50, 0, 2));
        if (row.type == COMMPORT_USB) {
            for (int i = 0; i < row.away; ++i) port.OnReOpen(false);
            if (row.away < 7) port.OnReOpen();
            port.OnRestoreLocation();
        }
        port.OnClose().OnReOpen();
        for (int i = 3; i < static_cast<int>(row.banks); ++i) {
            port.Expect(GroupOf(firmware, 50, i, i));
            if (i + 1 < static_cast<int>(row.banks)) port.Answer(Bytes{0xAA});
        }
        if (row.type == COMMPORT_USB && row.banks > 3) port.OnReOpen();
        port.OnClose();
        EXPECT_TRUE(SendFW(port, firmware)) << row.banks;
        EXPECT_EQ(clock.WaitedUs(), row.seconds * 1000000) << row.type << " " << row.banks;
        for (const auto& sent : port.sent) EXPECT_TRUE(sent.bytes.size() < 8 || sent.uiWPacketSize == 57344U);
    }
}

// 0x95 is no answer here and 0x99 is one: the reverse of a module's.
TEST(UpgradeU5, AnswersOfADataBank) {
    for (const unsigned char answer : Bytes{0xAA, 0x33, 0x44, 0x66, 0x77, 0x88, 0x99}) {
        DataBank data;
        data.port.Answer(Bytes{0x95, 0x00, 0x55, answer, 0xAA, 0x33});
        const Lines log = data.Send(answer == 0xAA ? 1 : 0);
        EXPECT_EQ(Lines(log.begin(), log.begin() + 2), (Lines{"Waiting Answer...", "Read Answer len: 6"}));
        EXPECT_EQ(log.back() == "Answer Error(0x99) : Generic Error", answer == 0x99);
    }
}

TEST(UpgradeU5, AnAnswerIsWaitedForSixtySecondsTimesTheMultiplier) {
    const struct {
        int timem, silences;  // of 5 s each
        bool answered;
        int result;
    } rows[] = {{1, 11, true, 1}, {2, 22, true, 1}, {1, 12, false, 0}, {0, 0, true, 0}};  // 0: discarded
    for (const auto& row : rows) {
        DataBank data(COMMPORT_ETHERNET, row.timem);
        if (row.silences != 0) data.port.Silence(row.silences);
        if (row.answered) data.port.Answer(Bytes{0xAA});
        EXPECT_EQ(data.Send(row.result).back() == "Wait Answer Error", row.result == 0) << row.timem;
    }
}

// A line that comes back at once with nothing is polled at a pace, and no further than the limit.
TEST(UpgradeU5, AnAnswerWaitDoesNotSpin) {
    VirtualClock clock;
    ScriptedPort port;  // its reads take no time
    Bytes bank = Pattern(20);
    port.Expect(StartOf(3, 3) + bank + ProgramOf(3, 3, Bytes(4))).SilenceUntilAsked();
    UpgradePrinter_ModeU5 engine(3, 1);
    EXPECT_EQ(engine.SendBankFlashDATA(port, bank.data(), 20, 0, 0, false, nullptr, 3, 5, false), 0);
    EXPECT_LE(clock.waits.size(), 60000U / 20 + 2);
    EXPECT_NEAR(static_cast<double>(clock.WaitedUs()), 61e6, 3e4);
}

TEST(UpgradeU5, TheLastBankWaitsForTheResetOnUsb) {
    for (const int failures : {2, 7}) {
        DataBank data(COMMPORT_USB);
        for (int i = 0; i < failures; ++i) data.port.OnReOpen(false);
        if (failures < 7) data.port.OnReOpen();
        EXPECT_EQ(data.Send(1, true).size(), failures < 7 ? 2U : 1U);
        EXPECT_EQ(data.clock.WaitedUs(), failures < 7 ? 11000000U : 31000000U);
        EXPECT_EQ(data.port.Calls("RestoreAddrNumFrmLocatio"), 0);
    }
}

// A bank that is refused is the last one sent; a printer that does not come back is sent the first one.
TEST(UpgradeU5, FailuresOfTheRun) {
    const Bytes firmware = Pattern(250);
    for (const bool back : {true, false}) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        ReleaseAsked(port.OnReOpen()).Expect(GroupOf(firmware, 50, 0, 2));
        if (back) port.OnReOpen().Expect(GroupOf(firmware, 50, 3, 3)).Answer(Bytes{0x77});
        for (int i = 0; !back && i < 9; ++i) port.OnReOpen(false);
        if (!back) port.FailWrite();
        LogCapture log;
        EXPECT_FALSE(SendFW(port, firmware));
        const Lines lines = log.Take("SendFW");
        EXPECT_EQ(lines.back(), "Upgrade Error");
        EXPECT_EQ(lines.size(), back ? 1U : 11U);
    }
}

}  // namespace

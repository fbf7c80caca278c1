#include "upgrade/UpgradePrinter_ModeU3.h"

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "port/CommPortSettings.h"
#include "upgrade/TestPackage.h"

namespace {

const Lines kSent{"Sending command to start upgrade...", "Sending bank...1/3 (33%)",
                  "Sending bank...2/3 (66%)", "Sending bank...3/3 (100%)",
                  "Sending command to program Flash..."};

bool SendFW(CComPort& port, TestPackage::Form form, const Bytes& firmware) {
    TestPackage package(form, "105", 3, firmware.size() / 3, firmware);
    UpgradePrinter_ModeU3 engine(3, 2);
    UpgradeDataInfo info;
    CommPortSettings settings;
    return engine.SendFW(info, port, package.file, settings, nullptr, nullptr);
}

TEST(UpgradeU3, EveryEndByReleaseAndPort) {
    const Lines same{"Same version: Wait then exit..."};
    const Lines notUsb{"Com or Eth port: Wait then exit..."};
    const Lines away{"Different version: Wait printer reset..."};
    const Lines back = away + Lines{"Different version: Printer reset..."};
    const struct {
        std::string_view printers;
        COMMPORTTYPE type;
        int failedReopens;
        std::uint64_t seconds;  // after the 10 s of the re-open before the firmware, multiplier 2
        Lines end;
    } rows[] = {
        {"1.05", COMMPORT_USB, 0, 0, same},       {{"1.05\0x", 6}, COMMPORT_SERIAL, 0, 0, same},
        {"1.06", COMMPORT_SERIAL, 0, 24, notUsb}, {"1.05b", COMMPORT_ETHERNET, 0, 24, notUsb},
        {"1.04", COMMPORT_USB, 0, 0, back},       {"1.04", COMMPORT_USB, 6, 60, back},
        {"1.04", COMMPORT_USB, 7, 60, away},
    };
    const Bytes firmware = Pattern(300);
    for (const auto& row : rows) {
        for (const auto form : {TestPackage::Form::kOld, TestPackage::Form::kNew}) {
            VirtualClock clock;
            ScriptedPort port(&clock, row.type);
            ReleaseAsked(port.OnReOpen().OnHandshake(), row.printers).Expect(GroupOf(firmware, 100, 0, 2));
            for (int i = 0; i < row.failedReopens; ++i) port.OnReOpen(false);
            if (row.end == back) port.OnReOpen();
            LogCapture log;
            EXPECT_TRUE(SendFW(port, form, firmware)) << row.printers;
            EXPECT_EQ(log.Take("SendBankFlashGeneric"), kSent + row.end) << row.printers;
            EXPECT_EQ(clock.WaitedUs(), (10 + row.seconds) * 1000000) << row.printers;
        }
    }
}

TEST(UpgradeU3, LargePacketsScaleTheWriteTimeout) {
    const struct {
        unsigned int packet, timeout, scaled;
    } rows[] = {{64, 1000, 897000}, {1000, 500, 29000}, {57344, 700, 1400},         {100000, 700, 700},
                {64, 0, 0},         {0, 1, 57345},      {1, 2000000000, 2147483647}};
    Bytes bank = Pattern(10);
    for (const auto& row : rows) {
        ScriptedPort port;
        port.uiWPacketSize = row.packet;
        port.uiTimeoutTX = row.timeout;
        port.Expect({0x1C, 0xFD, 0x00, 0x00}).Expect(bank).Expect(ProgramOf(0, 0, {0x12, 0x34, 0xFF, 0xFE}));
        UpgradePrinter_ModeU3 engine(3, 1);
        EXPECT_TRUE(engine.SendBankFlashGeneric(port, {bank.data()}, 10, 0x1234, 0xFFFE, true, nullptr));
        ASSERT_EQ(port.sent.size(), 3U) << "a bank is one write";
        for (const auto& sent : port.sent) {
            EXPECT_EQ(sent.uiWPacketSize, 57344U);
            EXPECT_EQ(sent.uiTimeoutTX, row.scaled) << row.packet;
        }
        EXPECT_EQ(port.uiWPacketSize, row.packet);
        EXPECT_EQ(port.uiTimeoutTX, row.timeout);
    }
}

// A write that fails, or takes less than it was given, ends the transfer with the port's values left changed.
TEST(UpgradeU3, AFailedWriteEndsTheTransferWithoutRestoring) {
    const Bytes firmware = Pattern(300);
    const Bytes whole = GroupOf(firmware, 100, 0, 2);
    const struct {
        std::size_t before, taken;
        int lines;
    } rows[] = {{0, 0, 1}, {4, 0, 2}, {104, 0, 3}, {204, 99, 4}, {304, 0, 5}, {304, 7, 5}};
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock, COMMPORT_USB);
        ReleaseAsked(port);
        if (row.before != 0) port.Expect(Slice(whole, 0, row.before));
        port.FailWrite(1, row.taken);
        LogCapture log;
        EXPECT_FALSE(SendFW(port, TestPackage::Form::kOld, firmware));
        Lines lines;
        for (int i = 0; i < row.lines; ++i)
            lines.push_back("[SendBankFlashGeneric]" + kSent.at(static_cast<std::size_t>(i)));
        EXPECT_EQ(log.Take(), (lines + Lines{"[SendBankFlashGeneric]Communication Error! exit...",
                                             "[SendFW]Upgrade Error"}));
        EXPECT_EQ(port.uiWPacketSize, 57344U);
        EXPECT_EQ(port.uiTimeoutTX, 29000U);
    }
}

}  // namespace

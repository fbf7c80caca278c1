#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "renesas_rig.h"
#include "upgrade/RenesasUnits.h"

namespace {

using simulator::BootFault;
using simulator::RenesasBootDevice;
using testing::Contains;
using testing::ElementsAre;

constexpr const char* kTag = "StartUpgradeUsb";
constexpr int kUnit = 16;

TEST(RenesasUnits, FirmwareEndsAtTheTopOfTheAddressSpace) {
    const Bytes firmware = Counting(512 * 1024);
    const RenesasUnits units(firmware.data(), firmware.size(), 256);
    ASSERT_TRUE(units.Fit());
    EXPECT_EQ(units.Count(), 2048U);
    struct Case {
        std::uint64_t index;
        Bytes head;
    };
    for (const Case& each : {Case{0, {0x50, 0xFF, 0xF8, 0x00, 0x00}}, Case{1, {0x50, 0xFF, 0xF8, 0x01, 0x00}},
                             Case{2047, {0x50, 0xFF, 0xFF, 0xFF, 0x00}}}) {
        const Bytes frame = units.Frame(each.index);
        ASSERT_EQ(frame.size(), 262U);
        EXPECT_EQ(Bytes(frame.begin(), frame.begin() + 5), each.head);
        const auto data = firmware.begin() + static_cast<std::ptrdiff_t>(each.index * 256);
        EXPECT_EQ(Bytes(frame.begin() + 5, frame.end() - 1), Bytes(data, data + 256));
        EXPECT_EQ(std::accumulate(frame.begin(), frame.end(), 0) % 256, 0);
    }
}

TEST(RenesasUnits, TheSumMakesAllBytesZero) {
    // 50 + FF FF FF FE = 0x44B; the data brings the sum to 0x5F3, then to 0x600.
    const Bytes odd{0xFF, 0xA9};
    EXPECT_EQ(RenesasUnits(odd.data(), 2, 2).Frame(0),
              (Bytes{0x50, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xA9, 0x0D}));
    const Bytes even{0xFF, 0xB6};
    EXPECT_EQ(RenesasUnits(even.data(), 2, 2).Frame(0).back(), 0x00);
}

TEST(RenesasProgramming, AFirmwareThatIsNoWholeNumberOfUnitsIsNotStarted) {
    struct Case {
        std::size_t length;
        int unit;
    };
    for (const Case& each :
         {Case{33, 16}, Case{15, 16}, Case{32, 0}, Case{32, -16}, Case{0, 16}, Case{32, 64}}) {
        SCOPED_TRACE(testing::Message() << each.length << " by " << each.unit);
        RenesasRig rig(Chip::U2, BootOptions(Chip::U2));
        LogCapture log;
        EXPECT_EQ(rig.Program(Counting(each.length), each.unit), 0);
        EXPECT_THAT(log.Take(), ElementsAre());
        EXPECT_THAT(rig.port.SentHex(), ElementsAre());
        EXPECT_EQ(rig.port.closes, 0);
    }
}

TEST(RenesasProgramming, ProgramsAndLocksAndLeavesTheBootLoaderAsEachEngineDoes) {
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        RenesasRig rig(chip, BootOptions(chip), 2);
        ASSERT_TRUE(rig.Connect());
        rig.clock.waits.clear();
        const std::size_t before = rig.port.sent.size();
        const Bytes firmware = Counting(3 * kUnit);
        LogCapture log;
        EXPECT_EQ(rig.Program(firmware, kUnit), 1);
        std::vector<std::string> lines{"Sending Boot Program Status Inquiry command",
                                       "OK!",
                                       "Sending User Data Area Programmin Selection command",
                                       "OK!",
                                       "Start do sending data!",
                                       "Sending bank 1/3 (33%)",
                                       "Bank 1 successfully sent!",
                                       "Sending bank 2/3 (66%)",
                                       "Bank 2 successfully sent!",
                                       "Sending bank 3/3 (100%)",
                                       "Bank 3 successfully sent!",
                                       "Sending Terminate Programming command",
                                       "OK!",
                                       "Sending Lock Bit Enable command",
                                       "OK!"};
        for (std::string& line : lines) line.insert(0, "[StartUpgradeUsb]");
        lines.insert(lines.begin() + 1, {"[ReadAll]Begin", "[ReadAll]End"});
        if (chip == Chip::U2) {
            lines.emplace_back("[SendResetCommandUSB]Sending Reset command");
            lines.emplace_back("[SendResetCommandUSB]OK!");
        } else {
            lines.emplace_back(
                "[SendResetCommandUSBForSuccess]Upgrade firmware. Please, restart the printer");
        }
        EXPECT_EQ(log.Take(), lines);
        // Four answers and the end of the lock bits at 100 ms, then 2.5 s.
        EXPECT_EQ(rig.clock.WaitedUs(), 2U * (5 * 100000 + 2500000));
        EXPECT_EQ(rig.device.FlashImage(), firmware);
        EXPECT_TRUE(rig.device.IsComplete());
        rig.device.Transmit(rig.clock.NowMs() + 10000);
        EXPECT_EQ(rig.device.Finished(), chip == Chip::U2);
        EXPECT_THAT(rig.device.Violations(), ElementsAre());
        EXPECT_FALSE(rig.port.bOpen);

        // A frame goes out in one write, under a packet size that keeps it whole.
        ASSERT_EQ(rig.port.sent.size(), before + (chip == Chip::U2 ? 8 : 7));
        EXPECT_EQ(rig.port.sent[before].uiWPacketSize, 64U);
        EXPECT_EQ(rig.port.sent[before + 2].uiWPacketSize, 57344U);
        EXPECT_EQ(rig.port.sent[before + 2].bytes.size(), 6U + kUnit);
        EXPECT_EQ(rig.port.SentHex()[before + 5], "50 FF FF FF FF B4");
        // Emptied before every command and once before the units.
        for (std::size_t i = before; i < rig.port.sent.size(); ++i) {
            EXPECT_EQ(rig.port.sent[i].bCleaned, i != before + 3 && i != before + 4) << i;
        }
        EXPECT_EQ(rig.port.uiWPacketSize, 57344U);
    }
}

TEST(RenesasProgramming, TheResetAfterSuccessIsNotLookedAt) {
    simulator::RenesasBootOptions options = BootOptions(Chip::U2);
    options.faults.push_back(BootFault::Silence(RenesasBootDevice::kReset));
    RenesasRig rig(Chip::U2, options);
    ASSERT_TRUE(rig.Connect());
    EXPECT_EQ(rig.Program(Counting(2 * kUnit), kUnit), 1);
    EXPECT_TRUE(rig.device.IsComplete());
}

struct Refusal {
    Bytes answer;
    const char* line;
};

const std::vector<Refusal> kRefusals{
    {{0xD0, 0x11}, "ERROR: wrong response: CHECKSUM error!"},
    {{0xD0, 0x2A}, "ERROR: wrong response: ADDRESS error!"},
    {{0xD0, 0x53}, "ERROR: wrong response: PROGRAMMING error!"},
    {{0xD0, 0x06}, "ERROR: Unknown response!"},
    {{0xD0}, "ERROR: wrong response!"},
    {{0x15}, "ERROR: wrong response!"},
    {{0x11, 0xD0}, "ERROR: wrong response!"},
};

TEST(RenesasProgramming, ARefusedUnitIsSentOnceMoreTheLastOneToo) {
    for (const Refusal& refusal : kRefusals) {
        for (const int unit : {1, 2, 3}) {
            SCOPED_TRACE(testing::Message()
                         << "unit " << unit << ": " << testing::PrintToString(refusal.answer));
            simulator::RenesasBootOptions options = BootOptions(Chip::U4);
            options.faults.push_back(
                BootFault::Says(RenesasBootDevice::kUnit, refusal.answer).Between(unit, unit));
            RenesasRig rig(Chip::U4, options);
            ASSERT_TRUE(rig.Connect());
            const Bytes firmware = Counting(3 * kUnit);
            LogCapture log;
            EXPECT_EQ(rig.Program(firmware, kUnit), 1);
            const std::string number = std::to_string(unit);
            const std::vector<std::string> lines = log.Take(kTag);
            const auto refused = std::find(lines.begin(), lines.end(), refusal.line);
            ASSERT_LT(refused, lines.end() - 2);
            EXPECT_EQ(refused[1], "Retry to send " + number + " bank!");
            EXPECT_EQ(refused[2], "Bank " + number + " successfully sent!");
            EXPECT_EQ(rig.device.FlashImage(), firmware);
            EXPECT_TRUE(rig.device.IsComplete());
            EXPECT_EQ(rig.device.Count(RenesasBootDevice::kUnit), 4);
        }
    }
}

TEST(RenesasProgramming, AUnitThatIsRefusedTwiceEndsItAndEachUnitHasARetryOfItsOwn) {
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        for (const Refusal& refusal : kRefusals) {
            simulator::RenesasBootOptions options = BootOptions(chip);
            // The first unit once, the third one twice.
            options.faults.push_back(BootFault::Says(RenesasBootDevice::kUnit, refusal.answer));
            options.faults.push_back(BootFault::Says(RenesasBootDevice::kUnit, refusal.answer).Between(4, 5));
            RenesasRig rig(chip, options);
            ASSERT_TRUE(rig.Connect());
            LogCapture log;
            EXPECT_EQ(rig.Program(Counting(3 * kUnit), kUnit), 0);
            const std::vector<std::string> lines = log.Take();
            const std::string tag = "[" + std::string(kTag) + "]";
            const auto exit = std::find(lines.begin(), lines.end(), tag + "Exit..");
            ASSERT_NE(exit, lines.end());
            EXPECT_EQ(exit[-1], tag + refusal.line);
            EXPECT_EQ(exit[-2], tag + "Retry to send 3 bank!");
            EXPECT_EQ(exit[1],
                      chip == Chip::U2
                          ? "[SendResetCommandUSB]Sending Reset command"
                          : "[SendResetCommandUSB]Upgrade Error. Please, restart the printer and retry");
            EXPECT_EQ(rig.device.Count(RenesasBootDevice::kUnit), 5);
            EXPECT_EQ(rig.device.Count(RenesasBootDevice::kTerminate), 0);
            EXPECT_FALSE(rig.device.IsComplete());
            EXPECT_FALSE(rig.port.bOpen);
        }
    }
}

TEST(RenesasProgramming, EachExchangeIsRefusedWhenItsAnswerIs) {
    struct Case {
        int command;
        Bytes answer;
        const char* line;
    };
    constexpr const char* kWrong = "ERROR: wrong response! exit...";
    constexpr const char* kWrongMode = "ERROR: wrong status mode response! exit...";
    std::vector<Case> cases{
        {RenesasBootDevice::kStatus, {}, kWrong},
        {RenesasBootDevice::kStatus, {0x5E, 2, 0x3F, 0, 0x60}, kWrong},
        {RenesasBootDevice::kStatus, {0x5F, 2, 0x3F, 0}, kWrong},
        {RenesasBootDevice::kStatus, {0x5F, 2, 0x1F, 0, 0x80}, kWrongMode},
        {RenesasBootDevice::kStatus, {0x5F, 2, 0x3F, 0x52, 0x0E}, kWrongMode},
        {RenesasBootDevice::kUnit, {}, kWrong},
    };
    for (const int command :
         {RenesasBootDevice::kAreaSelection, RenesasBootDevice::kTerminate, RenesasBootDevice::kLock}) {
        for (const Bytes& answer : {Bytes{}, Bytes{0x15}, Bytes{0x07}, Bytes{0x06, 0x06}}) {
            cases.push_back({command, answer, kWrong});
        }
    }
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        for (const Case& each : cases) {
            SCOPED_TRACE(testing::Message() << each.command << " " << testing::PrintToString(each.answer));
            simulator::RenesasBootOptions options = BootOptions(chip);
            const int occurrence = each.command == RenesasBootDevice::kStatus ? 2 : 1;
            options.faults.push_back(
                BootFault::Says(each.command, each.answer).Between(occurrence, occurrence));
            RenesasRig rig(chip, options);
            ASSERT_TRUE(rig.Connect());
            LogCapture log;
            EXPECT_EQ(rig.Program(Counting(2 * kUnit), kUnit), 0);
            const std::vector<std::string> lines = log.Take();
            EXPECT_THAT(lines, Contains("[" + std::string(kTag) + "]" + each.line));
            EXPECT_EQ(lines.back().rfind("[SendResetCommandUSB]", 0), 0U) << lines.back();
            EXPECT_EQ(rig.port.SentHex().back() == "31", chip == Chip::U2);
            EXPECT_FALSE(rig.port.bOpen);
            EXPECT_FALSE(rig.device.IsComplete());
        }
    }
}

TEST(RenesasProgramming, TheStatusOfANewBootLoaderIsMarked) {
    struct Case {
        unsigned char mark;
        int result;
    };
    for (const Case& each : {Case{0x52, 1}, Case{0x00, 0}}) {
        simulator::RenesasBootOptions options = BootOptions("1.10", true);
        options.faults.push_back(
            BootFault::Says(RenesasBootDevice::kStatus, {0x5F, 2, 0x3F, each.mark, 0}).Between(2, 2));
        RenesasRig rig(Chip::U2, options);
        ASSERT_TRUE(rig.Connect());
        EXPECT_EQ(rig.Program(Counting(kUnit), kUnit), each.result);
    }
}

TEST(RenesasProgramming, AWriteThatFailsEndsIt) {
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        // Status, area, two units, end, lock bits.
        for (std::size_t n = 1; n <= 6; ++n) {
            SCOPED_TRACE(n);
            RenesasRig rig(chip, BootOptions(chip));
            ASSERT_TRUE(rig.Connect());
            rig.port.failWrite = rig.port.sent.size() + n;
            LogCapture log;
            EXPECT_EQ(rig.Program(Counting(2 * kUnit), kUnit), 0);
            EXPECT_EQ(log.Take(kTag).back(), "Error during send command! exit...");
            EXPECT_EQ(rig.port.sent.size(), rig.port.failWrite + (chip == Chip::U2 ? 1 : 0));
            EXPECT_FALSE(rig.port.bOpen);
            EXPECT_FALSE(rig.device.IsComplete());
        }
    }
}

TEST(RenesasProgramming, ADeviceThatCannotBeOpenedAgainIsNotTalkedTo) {
    RenesasRig rig(Chip::U2, BootOptions(Chip::U2));
    rig.port.bOpens = false;
    LogCapture log;
    EXPECT_EQ(rig.Program(Counting(kUnit), kUnit), 0);
    EXPECT_THAT(log.Take(), ElementsAre("[StartUpgradeUsb]Open Renesas device Error"));
    EXPECT_THAT(rig.port.SentHex(), ElementsAre());
}

}  // namespace

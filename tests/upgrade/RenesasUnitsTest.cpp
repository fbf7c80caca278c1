#include "upgrade/RenesasUnits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "BootRig.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;
using testing::Contains;
using testing::ElementsAre;

constexpr int kUnit = 16;
const std::string kTag = "[StartUpgradeUsb]";

TEST(RenesasUnits, FirmwareEndsAtTheTopOfTheAddressSpaceInFramesWhoseBytesAddUpToZero) {
    const Bytes firmware = Pattern(512 * 1024);
    const RenesasUnits units(firmware.data(), firmware.size(), 256);
    ASSERT_TRUE(units.Fit());
    EXPECT_EQ(units.Count(), 2048U);
    const std::pair<std::size_t, Bytes> cases[] = {{0, {0x50, 0xFF, 0xF8, 0x00, 0x00}},
                                                   {1, {0x50, 0xFF, 0xF8, 0x01, 0x00}},
                                                   {2047, {0x50, 0xFF, 0xFF, 0xFF, 0x00}}};
    for (const auto& [index, head] : cases) {
        const Bytes frame = units.Frame(index);
        EXPECT_EQ(Slice(frame, 0, frame.size() - 1), head + Slice(firmware, index * 256, 256));
        EXPECT_EQ(std::accumulate(frame.begin(), frame.end(), 0) % 256, 0);
    }
    // 50 + FF FF FF FE = 0x44B; the data brings the sum to 0x5F3, then to 0x600.
    const Bytes odd{0xFF, 0xA9};
    EXPECT_EQ(RenesasUnits(odd.data(), 2, 2).Frame(0).back(), 0x0D);
    const Bytes even{0xFF, 0xB6};
    EXPECT_EQ(RenesasUnits(even.data(), 2, 2).Frame(0).back(), 0x00);
}

TEST(RenesasProgramming, WhatIsNoWholeNumberOfUnitsOrCannotBeOpenedIsNotStarted) {
    struct Case {
        std::size_t length;
        int unit;
        bool opens;
    };
    for (const Case& each : {Case{33, 16, true}, Case{15, 16, true}, Case{32, 0, true}, Case{32, -16, true},
                             Case{0, 16, true}, Case{32, 64, true}, Case{32, 16, false}}) {
        SCOPED_TRACE(testing::Message() << each.length << " by " << each.unit);
        RenesasRig rig(Chip::U2, BootOptions(Chip::U2));
        rig.port.bOpens = each.opens;
        LogCapture log;
        EXPECT_EQ(rig.Program(Pattern(each.length), each.unit), 0);
        EXPECT_EQ(log.Take(), each.opens ? Lines{} : Lines{kTag + "Open Renesas device Error"});
        EXPECT_THAT(rig.port.SentHex(), ElementsAre());
        EXPECT_EQ(rig.port.closes, 0);
    }
}

/// A programming of three units, made after a connection.
struct Programming {
    Programming(Chip chip, std::vector<BootFault> faults, std::size_t failWrite = 0, int timem = 1)
        : rig(chip, BootOptions(chip, std::move(faults)), timem) {
        EXPECT_TRUE(rig.Connect());
        connecting = rig.port.sent.size();
        if (failWrite != 0) rig.port.failWrite = connecting + failWrite;
        rig.clock.waits.clear();
        LogCapture log;
        programmed = rig.Program(firmware, kUnit) == 1;
        lines = log.Take();
        EXPECT_FALSE(rig.port.bOpen);
        EXPECT_EQ(rig.device.IsComplete(), programmed);
        EXPECT_TRUE(!programmed || rig.device.FlashImage() == firmware);
        EXPECT_EQ(rig.device.Count(Device::kReset), chip == Chip::U2 ? 1 : 0);
    }

    Bytes firmware = Pattern(3 * kUnit);
    RenesasRig rig;
    std::size_t connecting = 0;  ///< writes before
    bool programmed = false;
    Lines lines;
};

TEST(RenesasProgramming, ProgramsAndLocksAndLeavesTheBootLoaderAsEachEngineDoes) {
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        Programming run(chip, {}, 0, 2);
        EXPECT_TRUE(run.programmed);
        Lines lines{"Sending Boot Program Status Inquiry command",
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
        for (std::string& line : lines) line.insert(0, kTag);
        lines.insert(lines.begin() + 1, {"[ReadAll]Begin", "[ReadAll]End"});
        const Lines u2{"[SendResetCommandUSB]Sending Reset command", "[SendResetCommandUSB]OK!"};
        const Lines u4{"[SendResetCommandUSBForSuccess]Upgrade firmware. Please, restart the printer"};
        EXPECT_EQ(run.lines, lines + (chip == Chip::U2 ? u2 : u4));
        // Four answers and the end of the lock bits at 100 ms, then 2.5 s.
        EXPECT_EQ(run.rig.clock.WaitedUs(), 2U * (5 * 100000 + 2500000));
        EXPECT_THAT(run.rig.device.Violations(), ElementsAre());

        Lines sent = run.rig.port.SentHex();
        sent.erase(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(run.connecting));
        ASSERT_EQ(sent.size(), chip == Chip::U2 ? 8U : 7U);
        EXPECT_EQ(sent[5], "50 FF FF FF FF B4");
        EXPECT_EQ(sent.back(), chip == Chip::U2 ? "31" : "7A");
        for (std::size_t i = 0; i < sent.size(); ++i) {
            // A frame goes out in one write, under a packet size that keeps it whole; the receive side is
            // emptied before every command and once before the units.
            const ModelPort::Sent& each = run.rig.port.sent[run.connecting + i];
            EXPECT_EQ(each.uiWPacketSize, i < 2 ? 64U : 57344U);
            EXPECT_EQ(each.bCleaned, i != 3 && i != 4) << i;
        }
    }
}

struct Refusal {
    Bytes answer;
    const char* line;
};

const Refusal kRefusals[] = {
    {{0xD0, 0x11}, "ERROR: wrong response: CHECKSUM error!"},
    {{0xD0, 0x2A}, "ERROR: wrong response: ADDRESS error!"},
    {{0xD0, 0x53}, "ERROR: wrong response: PROGRAMMING error!"},
    {{0xD0, 0x06}, "ERROR: Unknown response!"},
    {{0xD0}, "ERROR: wrong response!"},
    {{0x11, 0xD0}, "ERROR: wrong response!"},
};

TEST(RenesasProgramming, AUnitIsSentTwiceAtMostTheLastOneToo) {
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        for (const Refusal& refusal : kRefusals) {
            for (const int unit : {1, 2, 3}) {
                for (const bool twice : {false, true}) {
                    SCOPED_TRACE(testing::Message() << "unit " << unit << ": " << refusal.line << twice);
                    // The unit before it has used a retry of its own.
                    const int from = unit == 1 ? 1 : unit + 1;
                    Programming run(
                        chip, {BootFault::Says(Device::kUnit, refusal.answer)
                                   .Between(from, twice ? from + 1 : from),
                               BootFault::Says(Device::kUnit, refusal.answer).Between(unit - 1, unit - 1)});
                    EXPECT_EQ(run.programmed, !twice);
                    const std::string number = std::to_string(unit);
                    const auto retry = std::find(run.lines.begin(), run.lines.end(),
                                                 kTag + "Retry to send " + number + " bank!");
                    ASSERT_LT(retry, run.lines.end() - 2);
                    EXPECT_EQ(retry[-1], kTag + refusal.line);
                    EXPECT_EQ(retry[1],
                              kTag + (twice ? refusal.line : "Bank " + number + " successfully sent!"));
                    EXPECT_EQ(retry[2] == kTag + "Exit..", twice);
                    EXPECT_EQ(run.rig.device.Count(Device::kTerminate), twice ? 0 : 1);
                }
            }
        }
    }
}

TEST(RenesasProgramming, EachExchangeEndsItWhenItsAnswerIsWrongOrItCannotBeSent) {
    struct Case {
        int command;
        Bytes answer;
        const char* line;
    };
    constexpr const char* kWrong = "ERROR: wrong response! exit...";
    constexpr const char* kWrongMode = "ERROR: wrong status mode response! exit...";
    std::vector<Case> cases{{Device::kStatus, {}, kWrong},
                            {Device::kStatus, {0x5E, 2, 0x3F, 0, 0x60}, kWrong},
                            {Device::kStatus, {0x5F, 2, 0x3F, 0}, kWrong},
                            {Device::kStatus, {0x5F, 2, 0x1F, 0, 0x80}, kWrongMode},
                            {Device::kStatus, {0x5F, 2, 0x3F, 0x52, 0x0E}, kWrongMode},
                            {Device::kUnit, {}, kWrong}};
    for (const int command : {Device::kAreaSelection, Device::kTerminate, Device::kLock}) {
        for (const Bytes& answer : {Bytes{}, Bytes{0x15}, Bytes{0x06, 0x06}})
            cases.push_back({command, answer, kWrong});
    }
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        for (const Case& each : cases) {
            SCOPED_TRACE(testing::Message() << each.command << " " << testing::PrintToString(each.answer));
            const int occurrence = each.command == Device::kStatus ? 2 : 1;
            const Programming run(
                chip, {BootFault::Says(each.command, each.answer).Between(occurrence, occurrence)});
            EXPECT_FALSE(run.programmed);
            EXPECT_THAT(run.lines, Contains(kTag + each.line));
        }
        // Status, area, three units, end, lock bits.
        for (std::size_t n = 1; n <= 7; ++n) {
            const Programming run(chip, {}, n);
            EXPECT_FALSE(run.programmed);
            EXPECT_THAT(run.lines, Contains(kTag + "Error during send command! exit..."));
            EXPECT_EQ(run.rig.port.sent.size(), run.rig.port.failWrite + (chip == Chip::U2 ? 1 : 0));
        }
    }
}

TEST(RenesasProgramming, TheStatusOfANewBootLoaderIsMarked) {
    for (const unsigned char mark : Bytes{0x52, 0x00}) {
        simulator::RenesasBootOptions options = BootOptions("1.10", true);
        options.faults = {BootFault::Says(Device::kStatus, {0x5F, 2, 0x3F, mark, 0}).Between(2, 2)};
        RenesasRig rig(Chip::U2, options);
        ASSERT_TRUE(rig.Connect());
        EXPECT_EQ(rig.Program(Pattern(kUnit), kUnit), mark == 0x52 ? 1 : 0);
    }
}

TEST(RenesasReset, U2WantsItConfirmedAfterAFailureOnlyAndU4TellsTheUser) {
    const std::pair<Bytes, bool> answers[] = {
        {{0x52}, true}, {{0x06}, false}, {{0x52, 0x52}, false}, {{}, false}};
    for (const auto& [answer, confirmed] : answers) {
        EXPECT_TRUE(Programming(Chip::U2, {BootFault::Says(Device::kReset, answer)}).programmed);
        RenesasRig rig(Chip::U2, BootOptions(Chip::U2, {BootFault::Says(Device::kReset, answer)}));
        rig.port.bOpen = true;
        LogCapture log;
        EXPECT_EQ(rig.engine->SendResetCommandUSB(rig.port), confirmed);
        EXPECT_THAT(
            log.Take("SendResetCommandUSB"),
            ElementsAre("Sending Reset command", confirmed ? "OK!" : "ERROR: wrong response! exit..."));
        EXPECT_EQ(rig.port.bOpen, confirmed);
        EXPECT_TRUE(rig.port.sent[0].bCleaned);
    }
    RenesasRig rig(Chip::U4, BootOptions(Chip::U4));
    LogCapture log;
    EXPECT_TRUE(rig.engine->SendResetCommandUSB(rig.port));
    EXPECT_THAT(log.Take(),
                ElementsAre("[SendResetCommandUSB]Upgrade Error. Please, restart the printer and retry"));
    EXPECT_THAT(rig.port.SentHex(), ElementsAre());
}

}  // namespace

#include "upgrade/RenesasUnits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "BootRig.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;
using testing::ElementsAre;

constexpr int kUnit = 16;

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
        EXPECT_EQ(log.Take(), each.opens ? Lines{} : Lines{"[StartUpgradeUsb]Open Renesas device Error"});
        EXPECT_THAT(rig.port.SentHex(), ElementsAre());
        EXPECT_EQ(rig.port.closes, 0);
    }
}

const std::pair<Bytes, std::string> kRefusals[] = {
    {{0xD0, 0x11}, "ERROR: wrong response: CHECKSUM error!"},
    {{0xD0, 0x2A}, "ERROR: wrong response: ADDRESS error!"},
    {{0xD0, 0x53}, "ERROR: wrong response: PROGRAMMING error!"},
    {{0xD0, 0x06}, "ERROR: Unknown response!"},
    {{0xD0}, "ERROR: wrong response!"},
    {{0x11, 0xD0}, "ERROR: wrong response!"},
};

TEST(RenesasProgramming, AUnitIsSentTwiceAtMostTheLastOneToo) {
    struct Case {
        int unit;
        bool twice;
    };
    for (const Case& each : {Case{1, false}, Case{1, true}, Case{2, false}, Case{3, false}, Case{3, true}}) {
        for (const auto& [answer, line] : kRefusals) {
            SCOPED_TRACE(testing::Message() << "unit " << each.unit << ": " << line << each.twice);
            // The unit before it has had a retry of its own.
            const int first = each.unit == 1 ? 1 : each.unit + 1;
            const BootFault refusal = BootFault::Says(Device::kUnit, answer);
            RenesasRig rig(Chip::U2,
                           BootOptions(Chip::U2, {BootFault(refusal).Between(first, first + each.twice),
                                                  BootFault(refusal).Between(each.unit - 1, each.unit - 1)}));
            ASSERT_TRUE(rig.Connect());
            LogCapture log;
            EXPECT_EQ(rig.Program(Pattern(3 * kUnit), kUnit), each.twice ? 0 : 1);
            EXPECT_EQ(rig.device.IsComplete(), !each.twice);
            const Lines lines = log.Take("StartUpgradeUsb");
            const std::string number = std::to_string(each.unit);
            const auto retry = std::find(lines.begin(), lines.end(), "Retry to send " + number + " bank!");
            ASSERT_LT(retry, lines.end() - 2);
            EXPECT_EQ(retry[-1], line);
            EXPECT_EQ(retry[1], each.twice ? line : "Bank " + number + " successfully sent!");
            EXPECT_EQ(retry[2] == "Exit..", each.twice);
            EXPECT_EQ(rig.device.Count(Device::kTerminate), each.twice ? 0 : 1);
            EXPECT_EQ(rig.device.Count(Device::kReset), 1);
            EXPECT_FALSE(rig.port.bOpen);
        }
    }
}

TEST(RenesasReset, U2WantsItConfirmedAfterAFailureOnly) {
    for (const Bytes& answer : {Bytes{0x52}, Bytes{0x06}, Bytes{0x52, 0x52}, Bytes{}}) {
        const bool confirmed = answer == Bytes{0x52};
        for (const bool afterSuccess : {false, true}) {
            RenesasRig rig(Chip::U2, BootOptions(Chip::U2, {BootFault::Says(Device::kReset, answer)}));
            rig.port.bOpen = true;
            ASSERT_TRUE(!afterSuccess || rig.Connect());
            LogCapture log;
            EXPECT_EQ(afterSuccess ? rig.Program(Pattern(kUnit), kUnit) == 1
                                   : rig.engine->SendResetCommandUSB(rig.port),
                      afterSuccess || confirmed);
            EXPECT_THAT(
                log.Take("SendResetCommandUSB"),
                ElementsAre("Sending Reset command", confirmed ? "OK!" : "ERROR: wrong response! exit..."));
            EXPECT_EQ(rig.port.bOpen, confirmed && !afterSuccess);
        }
    }
}

}  // namespace

// That the simulated boot loaders notice what a chip would not stand: the tests of the engines rest on it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "harness/ScriptedPort.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"

namespace {

using simulator::RenesasBootDevice;
using simulator::SiliconLabsBootDevice;

Bytes Say(RenesasBootDevice& device, const Bytes& bytes) {
    device.Receive(bytes.data(), bytes.size(), 0);
    const std::vector<Bytes> answers = device.Transmit(10);
    return answers.empty() ? Bytes() : answers.front();
}

Bytes Unit(std::uint32_t address, unsigned char fill) {
    Bytes frame{0x50};
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        frame.push_back(static_cast<unsigned char>((address >> shift) & 0xFF));
    }
    frame.resize(5 + 16, fill);
    frame.push_back(
        static_cast<unsigned char>((0U - std::accumulate(frame.begin(), frame.end(), 0U)) & 0xFF));
    return frame;
}

const std::vector<Bytes> kToProgramming{{0x55},
                                        {0x10, 4, '7', '6', '0', '8', 0x17},
                                        {0x11, 1, 0, 0xEE},
                                        {0x3F, 7, 0, 0, 0x04, 0xB0, 2, 8, 4, 0xF8},
                                        {0x06},
                                        {0x40},
                                        {0x4D},
                                        {0x62},
                                        {0x43}};

TEST(RenesasSimulator, TakesItsCommandsInTheirOrderOnly) {
    // Each step left out makes the one after it a violation.
    for (std::size_t left = 0; left + 1 < kToProgramming.size(); ++left) {
        simulator::RenesasBootOptions options;
        options.bootRelease = "0.99";
        RenesasBootDevice device(options);
        for (std::size_t i = 0; i < left; ++i) Say(device, kToProgramming[i]);
        EXPECT_TRUE(device.Violations().empty());
        Say(device, kToProgramming[left + 1]);
        EXPECT_EQ(device.Violations().size(), 1U) << left;
    }
}

TEST(RenesasSimulator, ChecksEveryByteOfACommandAndWhetherItIsSecured) {
    simulator::RenesasBootOptions options;
    for (std::size_t at = 2; at < kToProgramming[1].size(); ++at) {
        RenesasBootDevice device(options);
        Say(device, {0x55});
        Bytes wrong = kToProgramming[1];
        wrong[at] ^= 0x01;
        Say(device, wrong);
        EXPECT_EQ(device.Violations().size(), 1U) << at;
    }
    RenesasBootDevice unsecured(options);
    for (std::size_t i = 0; i < 6; ++i) Say(unsecured, kToProgramming[i]);
    EXPECT_EQ(unsecured.Violations().size(), 1U);
}

TEST(RenesasSimulator, ChecksAddressAndSumOfEachUnitAndThatNoneIsMissing) {
    Bytes badSum = Unit(0xFFFFFFE0, 1);
    badSum.back() ^= 0x01;
    struct Case {
        const char* name;
        std::vector<Bytes> frames;
        Bytes last;
    };
    const Bytes end{0x50, 0xFF, 0xFF, 0xFF, 0xFF, 0xB4};
    const Case cases[] = {
        {"sum", {badSum}, {0xD0, 0x11}},
        {"outside the flash", {Unit(0xFFF7FFF0, 1)}, {0xD0, 0x2A}},
        {"across two units", {Unit(0xFFFFFFE8, 1)}, {0xD0, 0x2A}},
        {"twice", {Unit(0xFFFFFFE0, 1), Unit(0xFFFFFFE0, 1)}, {0xD0, 0x53}},
        {"a hole", {Unit(0xFFFFFFD0, 1), Unit(0xFFFFFFF0, 1)}, {0xD0, 0x53}},
        {"short of the end", {Unit(0xFFFFFFE0, 1), end, {0x7A}}, {0x15}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        simulator::RenesasBootOptions options;
        options.bootRelease = "0.99";
        options.unitSize = 16;
        RenesasBootDevice device(options);
        for (const Bytes& command : kToProgramming) Say(device, command);
        ASSERT_TRUE(device.Violations().empty());
        Bytes answer;
        for (const Bytes& frame : each.frames) answer = Say(device, frame);
        EXPECT_EQ(answer, each.last);
        EXPECT_EQ(device.Violations().size(), 1U);
        EXPECT_FALSE(device.IsComplete());
    }
}

TEST(RenesasSimulator, NoticesAHostThatDoesNotWaitForItsAnswer) {
    RenesasBootDevice device(simulator::RenesasBootOptions{});
    const Bytes both{0x55, 0x32};
    device.Receive(both.data(), both.size(), 0);
    EXPECT_EQ(device.Violations().size(), 1U);
}

TEST(SiliconLabsSimulator, ChecksTheRequestThePaddingAndTheRecord) {
    simulator::ControlRequest good{0x21, 9, 0x0200, 0, Bytes(64)};
    good.data[0] = '$';
    good.data[1] = 3;
    const auto violations = [](const simulator::ControlRequest& request) {
        SiliconLabsBootDevice device(simulator::SiliconLabsBootOptions{});
        device.Control(request, 0);
        return device.Violations().size();
    };
    EXPECT_EQ(violations(good), 0U);
    std::vector<simulator::ControlRequest> wrong(8, good);
    wrong[0].type = 0x20;
    wrong[1].request = 8;
    wrong[2].value = 0x0300;
    wrong[3].index = 1;
    wrong[4].data.pop_back();
    wrong[5].data.push_back(0);
    wrong[6].data[5] = 1;
    wrong[7].data[0] = '%';
    for (std::size_t i = 0; i < wrong.size(); ++i) EXPECT_EQ(violations(wrong[i]), 1U) << i;
}

}  // namespace

// That the simulated boot loaders notice what a chip would not stand: the tests of the engines rest on it.
#include <gtest/gtest.h>

#include "harness/ScriptedPort.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"
#include "upgrade/RenesasUnits.h"

namespace {

using simulator::RenesasBootDevice;
using simulator::SiliconLabsBootDevice;

// clang-format off
const std::vector<Bytes> kToProgramming{
    {0x55}, {0x10, 4, '7', '6', '0', '8', 0x17}, {0x11, 1, 0, 0xEE}, {0x3F, 7, 0, 0, 0x04, 0xB0, 2, 8, 4, 0xF8},
    {0x06}, {0x40}, {0x4D}, {0x62}, {0x43}};
// clang-format on

/// What a chip noticed of these commands, and its last answer.
std::pair<std::size_t, Bytes> Hears(const std::vector<Bytes>& commands, const std::string& release = "0.99") {
    simulator::RenesasBootOptions options;
    options.bootRelease = release;
    options.unitSize = 16;
    RenesasBootDevice device(options);
    Bytes answer;
    for (const Bytes& command : commands) {
        device.Receive(command.data(), command.size(), 0);
        for (const Bytes& each : device.Transmit(10)) answer = each;
    }
    return {device.Violations().size(), answer};
}

TEST(RenesasSimulator, TakesItsCommandsInTheirOrderSecuredAndWithoutAWrongByte) {
    EXPECT_EQ(Hears(kToProgramming).first, 0U);
    EXPECT_NE(Hears(kToProgramming, "1.00").first, 0U);  // wants to be secured
    EXPECT_EQ(Hears({{0x55, 0x32}}).first, 1U);          // wants its answer to be waited for
    for (std::size_t i = 1; i < kToProgramming.size(); ++i) {
        std::vector<Bytes> heard(kToProgramming.begin(),
                                 kToProgramming.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        std::vector<Bytes> skips = heard;
        skips.erase(skips.end() - 2);
        EXPECT_EQ(Hears(skips).first, 1U) << i;
        for (std::size_t at = 2; at < heard.back().size(); ++at) {
            heard.back() = kToProgramming[i];
            heard.back()[at] ^= 0x01;
            EXPECT_EQ(Hears(heard).first, 1U) << i << " byte " << at;
        }
    }
}

TEST(RenesasSimulator, ChecksAddressAndSumOfEachUnitAndThatNoneIsMissing) {
    // Firmware that begins at an address has its first unit there.
    const auto unit = [](std::uint32_t address) {
        const Bytes firmware(0x100000000 - address, 1);
        return RenesasUnits(firmware.data(), firmware.size(), 16).Frame(0);
    };
    const Bytes last = RenesasUnits(Bytes(16, 1).data(), 16, 16).Frame(0);
    struct Case {
        const char* name;
        std::vector<Bytes> frames;
        Bytes answer;
    };
    const Case cases[] = {
        {"sum", {Bytes(last.begin(), last.end() - 1) + Bytes{0}}, {0xD0, 0x11}},
        {"outside the flash", {unit(0xFFF7FFF0)}, {0xD0, 0x2A}},
        {"across two units", {unit(0xFFFFFFE8)}, {0xD0, 0x2A}},
        {"twice", {last, last}, {0xD0, 0x53}},
        {"a hole", {unit(0xFFFFFFD0), last}, {0xD0, 0x53}},
        {"short of the end", {unit(0xFFFFFFE0), {0x50, 0xFF, 0xFF, 0xFF, 0xFF, 0xB4}, {0x7A}}, {0x15}},
    };
    for (const Case& each : cases) {
        std::vector<Bytes> heard = kToProgramming;
        heard.insert(heard.end(), each.frames.begin(), each.frames.end());
        EXPECT_EQ(Hears(heard), std::make_pair(std::size_t{1}, each.answer)) << each.name;
    }
}

TEST(SiliconLabsSimulator, ChecksTheRequestThePaddingAndTheRecord) {
    std::vector<simulator::ControlRequest> requests(9, {0x21, 9, 0x0200, 0, Bytes{'$', 3} + Bytes(62)});
    requests[1].type = 0x20;
    requests[2].request = 8;
    requests[3].value = 0x0300;
    requests[4].index = 1;
    requests[5].data.pop_back();
    requests[6].data.push_back(0);
    requests[7].data[5] = 1;
    requests[8].data[0] = '%';
    for (std::size_t i = 0; i < requests.size(); ++i) {
        SiliconLabsBootDevice device(simulator::SiliconLabsBootOptions{});
        device.Control(requests[i], 0);
        EXPECT_EQ(device.Violations().size(), i == 0 ? 0U : 1U) << i;
    }
}

}  // namespace

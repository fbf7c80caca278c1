#include "upgrade/UpgradePrinter_ModeU6.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BootRig.h"
#include "simulator/boot/SiliconLabsBootDevice.h"

namespace {

using simulator::BootFault;
using Device = simulator::SiliconLabsBootDevice;
using testing::ElementsAre;

const std::string kBadFile =
    "Upgrade file wrong or incomplete: the firmware is not a run of boot loader records";

Bytes Record(std::size_t n, unsigned char fill) {
    return Bytes{'$', static_cast<unsigned char>(n)} + Bytes(n, fill);
}

/// A run whose printer is yet to be scripted.
struct U6Run : BootRun<Device, simulator::SiliconLabsBootOptions> {
    explicit U6Run(const Bytes& firmware, std::vector<BootFault> faults = {}, int timem = 1,
                   COMMPORTTYPE type = COMMPORT_ETHERNET, int vendor = 0x10C4)
        : BootRun(std::make_shared<UpgradePrinter_ModeU6>(3, timem), type,
                  OptionsOf(firmware.size(), std::move(faults), vendor), firmware) {}

    static simulator::SiliconLabsBootOptions OptionsOf(std::size_t size, std::vector<BootFault> faults,
                                                       int vendor) {
        simulator::SiliconLabsBootOptions options;
        options.firmwareSize = size;
        options.faults = std::move(faults);
        options.usb.vendor = static_cast<std::uint16_t>(vendor);
        return options;
    }
    /// The conversation with the printer up to the boot loader.
    U6Run& Enters() {
        printer.OnReOpen().OnHandshake().Expect({0x1C, 0xEE}).OnClose();
        return *this;
    }
};

TEST(SiliconLabs, SendsEachRecordInReportsOf64BytesFromAnyPort) {
    struct Case {
        std::size_t n;
        int reports;
    };
    for (const COMMPORTTYPE type : {COMMPORT_SERIAL, COMMPORT_ETHERNET, COMMPORT_USB}) {
        for (const Case& each :
             {Case{0, 1}, Case{61, 1}, Case{62, 1}, Case{63, 2}, Case{126, 2}, Case{127, 3}, Case{253, 4}}) {
            SCOPED_TRACE(each.n);
            const Bytes firmware = Record(each.n, '$') + Record(each.n, 0x5A);
            U6Run run(firmware, {}, 2, type);
            EXPECT_EQ(run.Enters().SendFW(),
                      std::make_pair(true, Lines{"Found Silicon Lab device.", "start sending FW ", "Bank 1 ",
                                                 "Bank 2 "}));
            EXPECT_EQ(run.device.FlashImage(), firmware);
            EXPECT_EQ(run.device.Reports(), 2 * each.reports);
            EXPECT_THAT(run.device.Violations(), ElementsAre());
            // Re-open pause, the fixed second, 10 us a report, the wait at the end.
            EXPECT_EQ(run.clock.WaitedUs(), 13000000U + 20U * static_cast<unsigned int>(each.reports));
        }
    }
}

TEST(SiliconLabs, FirmwareThatIsNoGapFreeRunOfRecordsIsRefusedBeforeThePrinterIsTold) {
    const Bytes good = Record(2, 1);
    for (const Bytes& data : {Bytes{}, Bytes{'%', 0}, good + Bytes{0} + good, good + Bytes{0},
                              good + Bytes{'$'}, Bytes{'$', 3, 1, 2}, Record(254, 1), Record(255, 1)}) {
        SCOPED_TRACE(testing::PrintToString(data));
        U6Run run(data);
        EXPECT_EQ(run.SendFW(), std::make_pair(false, Lines{kBadFile}));
        EXPECT_THAT(run.printer.AllSent(), ElementsAre());
        EXPECT_EQ(run.printer.Calls("ReOpen") + run.bus.polls, 0);
    }
}

TEST(SiliconLabs, AnAnswerThatIsNoAcknowledgementEndsItAtThatRecord) {
    const std::string nack = "Silicon Laboratory answer Error NACK";
    const std::string silence = "Read FW Release Error";
    const auto says = [](const Bytes& answer) { return BootFault::Says(Device::kRecord, answer); };
    const std::pair<BootFault, std::string> cases[] = {
        {says({0x40, 0, 0, 0, 0xFF}), "Bank 3 "},
        {says({0x40}), "Bank 3 "},
        {says({0x40, 0, 0, 1}), nack},
        {says({0x40, 0, 1, 0}), nack},
        {says({0x40, 1}), nack},
        {says({0x41, 0, 0, 0}), nack},
        {says({0x00}), nack},
        {says({}), silence},
        {BootFault::Vanishes(Device::kRecord), silence},
        {BootFault::Late(Device::kRecord, 1100), silence},
    };
    for (auto [fault, line] : cases) {
        SCOPED_TRACE(testing::PrintToString(fault.answer));
        U6Run run(Record(10, 1) + Record(70, 2) + Record(3, 3), {fault.Between(2, 2)});
        const auto [sent, lines] = run.Enters().SendFW();
        EXPECT_EQ(sent, line == "Bank 3 ");
        EXPECT_EQ(lines.back(), line);
        EXPECT_EQ(run.device.Reports(), sent ? 4 : 3);
    }
}

TEST(SiliconLabs, ADeviceThatNeverComesIsWaitedForAndOneThatCannotBeOpenedAcknowledgesNothing) {
    for (const int timem : {0, 1, 3}) {
        U6Run none(Record(10, 1), {}, timem, COMMPORT_SERIAL, 0x10C5);
        EXPECT_EQ(none.Enters().SendFW(),
                  std::make_pair(false, Lines{"Not found Silicon Lab device Error."}));
        // The re-open's pause, and a turn more at most.
        const std::uint64_t limit = static_cast<std::uint64_t>(timem) * 45000000;
        EXPECT_GE(none.clock.WaitedUs(), limit);
        EXPECT_LE(none.clock.WaitedUs(), limit + 100000);
    }
    U6Run closed(Record(10, 1));
    closed.bus.bOpens = false;
    EXPECT_EQ(closed.Enters().SendFW(),
              std::make_pair(false, Lines{"Found Silicon Lab device.", "start sending FW ", "Bank 1 ",
                                          "Read FW Release Error"}));
}

TEST(SiliconLabs, WithAMultiplierOfZeroADeviceThatIsThereIsTakenAfterAFixedSecond) {
    U6Run run(Record(10, 1), {}, 0);
    EXPECT_TRUE(run.Enters().SendFW().first);
    EXPECT_EQ(run.bus.polls, 1);
    EXPECT_EQ(run.clock.WaitedUs(), 1000010U);
}

TEST(SiliconLabs, AFailedHandshakeEndsItAnEntryCommandThatCannotBeWrittenDoesNot) {
    U6Run deaf(Record(10, 1));
    deaf.printer.OnReOpen().OnHandshake(false);
    EXPECT_EQ(deaf.SendFW(), std::make_pair(false, Lines{"Handshake Communication Error."}));
    U6Run broken(Record(10, 1));
    broken.printer.OnReOpen().OnHandshake().FailWrite().OnClose();
    EXPECT_TRUE(broken.SendFW().first);
}

}  // namespace

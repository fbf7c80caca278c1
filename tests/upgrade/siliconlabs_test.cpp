#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "harness/LogCapture.h"
#include "harness/ModelPort.h"
#include "harness/ScriptedPort.h"
#include "package/PSWFile.h"
#include "package/PSWHeaderBin.h"
#include "port/CommPortSettings.h"
#include "protocol/UpgradeDataInfo.h"
#include "simulator/boot/SiliconLabsBootDevice.h"
#include "upgrade/UpgradePrinter_ModeU6.h"

namespace {

using simulator::BootFault;
using simulator::SiliconLabsBootDevice;
using testing::ElementsAre;

Bytes Record(std::size_t n, unsigned char fill) {
    return Bytes{'$', static_cast<unsigned char>(n)} + Bytes(n, fill);
}

std::vector<Bytes> Split(const Bytes& data) {
    std::vector<Bytes> records;
    UpgradePrinter_ModeU6 engine(3, 1);
    for (unsigned char* record : engine.SplitBuffer(data.data(), static_cast<int>(data.size()))) {
        const std::unique_ptr<unsigned char[]> owned(record);
        records.emplace_back(record, record + record[1] + 2);
    }
    return records;
}

TEST(SplitBuffer, CutsAGapFreeRunOfRecordsAndNothingElse) {
    const Bytes longest = Record(253, '$');
    EXPECT_EQ(Split(Record(0, 0) + Record(3, '$') + longest),
              (std::vector<Bytes>{Record(0, 0), Record(3, '$'), longest}));
    struct Case {
        const char* name;
        Bytes data;
    };
    const Case bad[] = {
        {"nothing", {}},
        {"no record start", {'%', 0}},
        {"a gap between records", Record(2, 1) + Bytes{0} + Record(2, 2)},
        {"a byte after the last record", Record(2, 1) + Bytes{0}},
        {"a start without its length", Record(2, 1) + Bytes{'$'}},
        {"one byte short", {'$', 3, 1, 2}},
        {"a length that does not fit its byte", Record(254, 1)},
        {"the same with a length of one", Record(255, 1)},
    };
    for (const Case& each : bad) EXPECT_EQ(Split(each.data), std::vector<Bytes>{}) << each.name;
}

/// A run of SendFW from a printer on any port to a boot device on USB.
struct LineRun {
    explicit LineRun(Bytes data, std::vector<BootFault> faults = {}, int timem = 1,
                     COMMPORTTYPE type = COMMPORT_ETHERNET)
        : firmware(std::move(data)),
          printer(&clock, type),
          device(Options(firmware, std::move(faults))),
          bus(clock, device),
          engine(3, timem) {}

    static simulator::SiliconLabsBootOptions Options(const Bytes& firmware, std::vector<BootFault> faults) {
        simulator::SiliconLabsBootOptions options;
        options.firmwareSize = firmware.size();
        options.faults = std::move(faults);
        return options;
    }

    bool SendFW() {
        PSWFile package;
        auto bin = std::make_unique<PSWHeaderBin>();
        bin->uiBinLength = firmware.size();
        bin->pData = std::make_unique<unsigned char[]>(firmware.size());
        std::copy(firmware.begin(), firmware.end(), bin->pData.get());
        package.Add(bin.release());
        UpgradeDataInfo info;
        CommPortSettings settings;
        return engine.SendFW(info, printer, package, settings, nullptr, nullptr);
    }

    /// The conversation with the printer up to the boot loader.
    LineRun& Enters() {
        printer.OnReOpen().OnHandshake().Expect({0x1C, 0xEE}).OnClose();
        return *this;
    }

    Bytes firmware;
    VirtualClock clock;
    ScriptedPort printer;
    SiliconLabsBootDevice device;
    ModelBus bus;
    UpgradePrinter_ModeU6 engine;
};

TEST(SiliconLabs, SendsEachRecordInReportsOf64BytesFromAnyPort) {
    struct Case {
        std::size_t n;
        int reports;
    };
    for (const COMMPORTTYPE type : {COMMPORT_SERIAL, COMMPORT_ETHERNET, COMMPORT_USB}) {
        for (const Case& each : {Case{0, 1}, Case{1, 1}, Case{61, 1}, Case{62, 1}, Case{63, 2}, Case{126, 2},
                                 Case{127, 3}, Case{253, 4}}) {
            SCOPED_TRACE(each.n);
            LineRun run(Record(each.n, 0xA5) + Record(each.n, 0x5A), {}, 2, type);
            run.Enters();
            LogCapture log;
            EXPECT_TRUE(run.SendFW());
            EXPECT_THAT(log.Take("SendFW"),
                        ElementsAre("Found Silicon Lab device.", "start sending FW ", "Bank 1 ", "Bank 2 "));
            EXPECT_EQ(run.device.FlashImage(), run.firmware);
            EXPECT_EQ(run.device.Reports(), 2 * each.reports);
            EXPECT_THAT(run.device.Violations(), ElementsAre());
            run.device.Transmit(run.clock.NowMs() + 10000);
            EXPECT_TRUE(run.device.Finished());
            // Re-open pause, the fixed second, 10 us a report, the wait at the end.
            EXPECT_EQ(run.clock.WaitedUs(),
                      10000000U + 1000000U + 20U * static_cast<unsigned int>(each.reports) + 2000000U);
        }
    }
}

TEST(SiliconLabs, FirmwareThatIsNoRunOfRecordsIsRefusedBeforeThePrinterIsTold) {
    for (const Bytes& data : {Bytes{}, Bytes{'$', 3, 1, 2}, Record(2, 1) + Bytes{'#', 0}, Record(255, 1)}) {
        LineRun run(data);
        LogCapture log;
        EXPECT_FALSE(run.SendFW());
        EXPECT_THAT(
            log.Take("SendFW"),
            ElementsAre(
                "Upgrade file wrong or incomplete: the firmware is not a run of boot loader records"));
        EXPECT_THAT(run.printer.AllSent(), ElementsAre());
        EXPECT_EQ(run.printer.Calls("ReOpen") + run.bus.polls, 0);
    }
}

TEST(SiliconLabs, AnAnswerThatIsNoAcknowledgementEndsItAtThatRecord) {
    constexpr const char* kNack = "Silicon Laboratory answer Error NACK";
    struct Case {
        Bytes answer;  ///< empty: silence
        bool accepted;
        const char* line;
    };
    const Case cases[] = {
        {{0x40, 0, 0, 0, 0xFF}, true, "Bank 3 "},
        {Bytes{0x40} + Bytes(63, 0), true, "Bank 3 "},
        {{0x40, 0, 0, 1}, false, kNack},
        {{0x40, 0, 1, 0}, false, kNack},
        {{0x40, 1, 0, 0}, false, kNack},
        {{0x41, 0, 0, 0}, false, kNack},
        {{0x00}, false, kNack},
        {{0x40, 0, 0}, false, kNack},
        {{}, false, "Read FW Release Error"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.answer));
        LineRun run(Record(10, 1) + Record(70, 2) + Record(3, 3),
                    {BootFault::Says(SiliconLabsBootDevice::kRecord, each.answer).Between(2, 2)});
        run.Enters();
        LogCapture log;
        EXPECT_EQ(run.SendFW(), each.accepted);
        EXPECT_EQ(log.Take("SendFW").back(), each.line);
        EXPECT_EQ(run.device.Reports(), each.accepted ? 4 : 3);
    }
}

TEST(SiliconLabs, ADeviceThatVanishesOrAnswersLateIsSilent) {
    for (const BootFault& fault : {BootFault::Vanishes(SiliconLabsBootDevice::kRecord),
                                   BootFault::Late(SiliconLabsBootDevice::kRecord, 1100)}) {
        LineRun run(Record(10, 1) + Record(70, 2), {fault});
        run.Enters();
        LogCapture log;
        EXPECT_FALSE(run.SendFW());
        EXPECT_EQ(log.Take("SendFW").back(), "Read FW Release Error");
    }
}

TEST(SiliconLabs, ADeviceThatCannotBeOpenedAcknowledgesNothing) {
    LineRun run(Record(10, 1));
    run.Enters();
    run.bus.bOpens = false;
    LogCapture log;
    EXPECT_FALSE(run.SendFW());
    EXPECT_THAT(log.Take("SendFW"), ElementsAre("Found Silicon Lab device.", "start sending FW ", "Bank 1 ",
                                                "Read FW Release Error"));
}

TEST(SiliconLabs, ADeviceThatNeverComesIsWaitedForFortySecondsTimesTheMultiplier) {
    for (const int timem : {0, 1, 3}) {
        LineRun run(Record(10, 1), {}, timem);
        run.Enters();
        simulator::SiliconLabsBootOptions other;
        other.usb.vendor = 0x10C5;
        SiliconLabsBootDevice stranger(other);
        ModelBus bus(run.clock, stranger);
        LogCapture log;
        const std::uint64_t began = run.clock.NowMs();
        EXPECT_FALSE(run.SendFW());
        EXPECT_THAT(log.Take("SendFW"), ElementsAre("Not found Silicon Lab device Error."));
        const auto waited =
            static_cast<int>(run.clock.NowMs() - began) - 5000 * timem;  // the re-open's pause
        EXPECT_GE(waited, 40000 * timem);
        EXPECT_LE(waited, 40000 * timem + 100);
    }
}

TEST(SiliconLabs, WithAMultiplierOfZeroADeviceThatIsThereIsTaken) {
    LineRun run(Record(10, 1), {}, 0);
    run.Enters();
    EXPECT_TRUE(run.SendFW());
    EXPECT_EQ(run.bus.polls, 1);
    EXPECT_EQ(run.clock.WaitedUs(), 1000010U);  // the second before it is opened stays
}

TEST(SiliconLabs, AFailedHandshakeEndsIt) {
    LineRun run(Record(10, 1));
    run.printer.OnReOpen().OnHandshake(false);
    LogCapture log;
    EXPECT_FALSE(run.SendFW());
    EXPECT_THAT(log.Take("SendFW"), ElementsAre("Handshake Communication Error."));
}

TEST(SiliconLabs, AnEntryCommandThatCannotBeWrittenIsDecidedByTheWait) {
    LineRun run(Record(10, 1));
    run.printer.OnReOpen().OnHandshake().FailWrite().OnClose();
    EXPECT_TRUE(run.SendFW());
}

}  // namespace

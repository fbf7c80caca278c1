#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "renesas_rig.h"

namespace {

using simulator::BootFault;
using simulator::Bytes;
using simulator::RenesasBootDevice;
using testing::Contains;
using testing::ElementsAre;

constexpr const char* kTag = "InitConnectRenesasDevice";

struct Dialect {
    const char* name;
    Chip chip;
    const char* release;
    bool newDialect;
    std::vector<std::string> security;  ///< sent between the bit rate and the inquiries
    const char* blankLine;
};

void PrintTo(const Dialect& dialect, std::ostream* out) {
    *out << dialect.name;
}

class RenesasDialects : public testing::TestWithParam<Dialect> {};

TEST_P(RenesasDialects, SendsEachCommandInItsPlaceAndPausesAfterEachOk) {
    const Dialect& dialect = GetParam();
    for (const int timem : {0, 1, 3}) {
        simulator::RenesasBootOptions options = BootOptions(dialect.release, dialect.newDialect);
        options.unitSize = 256;
        RenesasRig rig(dialect.chip, options, timem);
        LogCapture log;
        ASSERT_TRUE(rig.Connect());

        std::vector<std::string> commands{"55"};
        commands.insert(commands.end(), dialect.security.begin(), dialect.security.end());
        for (const char* command : {"27", "10 04 37 36 30 38 17", "11 01 00 EE", "25",
                                    "3F 07 00 00 04 B0 02 08 04 F8", "06", "40", "4F", "4D", "62"}) {
            commands.push_back(command);
        }
        EXPECT_EQ(rig.port.SentHex(), commands);
        for (const ModelPort::Sent& each : rig.port.sent) EXPECT_TRUE(each.bCleaned);
        EXPECT_THAT(rig.device.Violations(), ElementsAre());

        const std::vector<std::string> lines = log.Take(kTag);
        const auto oks = std::count(lines.begin(), lines.end(), "OK!");
        EXPECT_EQ(oks, static_cast<std::ptrdiff_t>(commands.size()) - (dialect.newDialect ? 1 : 0));
        EXPECT_EQ(rig.clock.WaitedUs(), static_cast<std::uint64_t>(oks * timem) * 100000);
        EXPECT_THAT(lines, Contains("Programming Size: 256"));
        EXPECT_THAT(lines, Contains("Micro FLASH size: 524288"));
        EXPECT_THAT(lines, Contains(dialect.blankLine));
        EXPECT_EQ(lines.front(), "Starting connecting operations...");
        EXPECT_EQ(lines.back(), "Connecting operations executed!");
        EXPECT_EQ(rig.unitSize, 256);
        EXPECT_EQ(rig.engine->bNewBootloader, dialect.newDialect);
        EXPECT_EQ(rig.port.uiTimeoutTX, 5000U);
        EXPECT_FALSE(rig.port.bOpen);
    }
}

constexpr const char* kOldBlank = "Sending Data Area Blank Check command(OLD BOOTLOADER)";
constexpr const char* kNewBlank = "Sending Data Area Blank Check command(New Bootloader)";

INSTANTIATE_TEST_SUITE_P(
    Engines, RenesasDialects,
    testing::Values(Dialect{"U2Release099", Chip::U2, "0.99", false, {"32"}, kOldBlank},
                    Dialect{"U2Release100", Chip::U2, "1.00", false, {"32", "33"}, kOldBlank},
                    Dialect{"U2Release110", Chip::U2, "1.10", false, {"32", "33"}, kOldBlank},
                    Dialect{"U2NewDialect", Chip::U2, "1.10", true, {"32", "33", "34"}, kNewBlank},
                    Dialect{"U4", Chip::U4, "0.99", false, {}, kOldBlank}),
    [](const testing::TestParamInfo<Dialect>& each) { return each.param.name; });

TEST(RenesasConnection, LogsTheReleaseAndWhatFollowsFromIt) {
    const auto linesOf = [](const char* release, bool newDialect) {
        RenesasRig rig(Chip::U2, BootOptions(release, newDialect));
        LogCapture log;
        EXPECT_TRUE(rig.Connect());
        std::vector<std::string> lines = log.Take(kTag);
        const auto begin = std::find(lines.begin(), lines.end(), "Sending Get Bootloader Release command");
        return std::vector<std::string>(
            begin + 1, std::find(begin, lines.end(), "Sending Programming Size Inquiry command"));
    };
    EXPECT_THAT(linesOf("0.99", false), ElementsAre("OK!", "Release Found: 0.99"));
    EXPECT_THAT(linesOf("1.00", false),
                ElementsAre("OK!", "Release Found: 1.00", "Bootloader release support security!",
                            "Sending Save Security command", "OK!"));
    EXPECT_THAT(linesOf("1.10", true),
                ElementsAre("OK!", "Release Found: 1.10", "Bootloader release support security!",
                            "Sending Save Security command", "New Bootloader...",
                            "Sending Save Security NEW command", "OK!"));
}

/// A command, the answer that is accepted (its bytes that do not matter are AA), how long it is waited for,
/// and whether it is read by a single read, which sees a byte too many.
struct AnswerRow {
    int command;
    Bytes good;
    std::vector<std::size_t> judged;
    std::uint64_t limitMs;
};

const std::vector<AnswerRow> kU4Rows{
    {RenesasBootDevice::kBitRateAdjustment, {0xE6}, {0}, 0},
    {RenesasBootDevice::kUnitSize, {0x37, 0xAA, 0x01, 0x00, 0xAA}, {0}, 5000},
    {RenesasBootDevice::kDeviceSelection, {0x06}, {0}, 0},
    {RenesasBootDevice::kClockMode, {0x06}, {0}, 0},
    {RenesasBootDevice::kUserArea,
     {0x35, 0xAA, 0xAA, 0xFF, 0xF8, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xAA},
     {0},
     5000},
    {RenesasBootDevice::kBitRate, {0x06}, {0}, 0},
    {RenesasBootDevice::kConfirmation, {0x06}, {0}, 0},
    {RenesasBootDevice::kProgrammingState, {0x06}, {0}, 30000},
    {RenesasBootDevice::kStatus, {0x5F, 0xAA, 0x3F, 0x00, 0xAA}, {0, 2, 3}, 10000},
    {RenesasBootDevice::kUserBlank, {0x06}, {0}, 5000},
    {RenesasBootDevice::kDataBlank, {0x06}, {0}, 5000},
};

std::vector<AnswerRow> RowsOf(Chip chip, bool newDialect) {
    std::vector<AnswerRow> rows = kU4Rows;
    if (chip == Chip::U4) return rows;
    rows.push_back({RenesasBootDevice::kRelease, {'1', '.', '0', '0'}, {}, 5000});
    rows.push_back({RenesasBootDevice::kSecurity, {newDialect ? Bytes{0x15} : Bytes{0x06}}, {0}, 0});
    if (!newDialect) return rows;
    rows.push_back({RenesasBootDevice::kSecurityNew, {0x06}, {0}, 0});
    for (AnswerRow& row : rows) {
        if (row.command == RenesasBootDevice::kDataBlank) row = {row.command, {0xAA, 0x52}, {1}, 5000};
    }
    return rows;
}

/// The answers that a row must not take.
std::vector<Bytes> WrongAnswers(const AnswerRow& row) {
    std::vector<Bytes> wrong{{}};  // silence
    for (const std::size_t at : row.judged) {
        wrong.push_back(row.good);
        wrong.back()[at] ^= 0x01;
        wrong.push_back(row.good);
        wrong.back()[at] = 0x15 ^ row.good[at] ? 0x15 : 0x06;
    }
    if (row.command == RenesasBootDevice::kSecurity) {
        wrong.erase(wrong.begin() + 2);  // each of 06 and 15 is an answer here
        wrong.push_back({0x15, 0x15});
    }
    if (row.limitMs == 0) wrong.push_back(row.good + Bytes{0x00});
    if (row.good.size() > 1) wrong.emplace_back(row.good.begin(), row.good.end() - 1);
    return wrong;
}

void ExpectWrongResponse(Chip chip, bool newDialect, const AnswerRow& row, const Bytes& answer) {
    SCOPED_TRACE(testing::Message() << "command " << row.command << " answer "
                                    << testing::PrintToString(answer));
    simulator::RenesasBootOptions options =
        chip == Chip::U4 ? BootOptions(chip) : BootOptions("1.00", newDialect);
    options.faults.push_back(BootFault::Says(row.command, answer));
    RenesasRig rig(chip, options);
    LogCapture log;
    EXPECT_FALSE(rig.Connect());
    EXPECT_EQ(rig.err, BTPRG_FAILED);
    EXPECT_EQ(log.Take(kTag).back(), "ERROR: wrong response! exit...");
    EXPECT_FALSE(rig.port.bOpen);
    EXPECT_EQ(rig.device.Count(row.command), 1);
    // Nothing follows the refused command but, from U2, the reset.
    const std::vector<std::string> sent = rig.port.SentHex();
    EXPECT_EQ(sent.back() == "31", chip == Chip::U2);
    EXPECT_THAT(rig.device.Violations(), ElementsAre());
}

TEST(RenesasConnection, EachAnswerIsRefusedWhenAByteOrTheCountIsWrongOrNothingComes) {
    struct Case {
        Chip chip;
        bool newDialect;
    };
    for (const Case& each : {Case{Chip::U4, false}, Case{Chip::U2, false}, Case{Chip::U2, true}}) {
        for (const AnswerRow& row : RowsOf(each.chip, each.newDialect)) {
            for (const Bytes& answer : WrongAnswers(row)) {
                ExpectWrongResponse(each.chip, each.newDialect, row, answer);
            }
        }
    }
}

TEST(RenesasConnection, EachAnswerMayTakeItsTimeAndNoMore) {
    for (const AnswerRow& row : RowsOf(Chip::U2, true)) {
        const std::uint64_t limit = row.limitMs == 0 ? 1000 : row.limitMs;
        for (const bool inTime : {true, false}) {
            SCOPED_TRACE(testing::Message()
                         << "command " << row.command << (inTime ? " in time" : " too late"));
            simulator::RenesasBootOptions options = BootOptions("1.00", true);
            // A collecting read looks at the clock between reads of a second each.
            const std::uint64_t delay = inTime ? limit - 50 : limit + (row.limitMs == 0 ? 50 : 1050);
            options.faults.push_back(BootFault::Late(row.command, delay));
            RenesasRig rig(Chip::U2, options);
            EXPECT_EQ(rig.Connect(), inTime);
        }
    }
}

TEST(RenesasConnection, ACommandThatCannotBeSentEndsItAndOnlyTheReleaseHasACodeOfItsOwn) {
    for (const Chip chip : {Chip::U2, Chip::U4}) {
        const std::size_t writes = chip == Chip::U2 ? 13 : 11;
        for (std::size_t n = 1; n <= writes; ++n) {
            SCOPED_TRACE(n);
            RenesasRig rig(chip, BootOptions(chip));
            rig.port.failWrite = n;
            LogCapture log;
            EXPECT_FALSE(rig.Connect());
            EXPECT_EQ(rig.err, chip == Chip::U2 && n == 2 ? BTPRG_RELEASE_UNAVAILABLE : BTPRG_FAILED);
            EXPECT_EQ(log.Take(kTag).back(), "Error during send command! exit...");
            EXPECT_EQ(rig.port.sent.size(), chip == Chip::U2 ? n + 1 : n);
            EXPECT_FALSE(rig.port.bOpen);
        }
    }
}

TEST(RenesasConnection, ADeviceThatCannotBeOpenedIsNotTalkedTo) {
    const auto fails = [](RenesasRig& rig) {
        LogCapture log;
        EXPECT_FALSE(rig.Connect());
        EXPECT_THAT(log.Take(kTag),
                    ElementsAre("Starting connecting operations...", "Open Renesas device Error"));
        EXPECT_EQ(rig.err, BTPRG_FAILED);
        EXPECT_THAT(rig.port.SentHex(), ElementsAre());
        EXPECT_EQ(rig.port.uiTimeoutTX, 1000U);
    };
    RenesasRig closed(Chip::U2, BootOptions("1.00"));
    closed.port.bOpens = false;
    fails(closed);
    for (const char* name : {"", "045B", "045B|0025|OTHER", "045B|0026|BOOT1", "10C4|0025|BOOT1"}) {
        RenesasRig other(Chip::U4, BootOptions(Chip::U4));
        other.name = name;
        fails(other);
    }
}

TEST(RenesasConnection, EachConnectionLearnsTheDialectAnew) {
    RenesasRig rig(Chip::U4, BootOptions(Chip::U4));
    EXPECT_TRUE(rig.engine->bNewBootloader);
    EXPECT_TRUE(rig.Connect());
    EXPECT_FALSE(rig.engine->bNewBootloader);
    EXPECT_TRUE(RenesasRig(Chip::U2, BootOptions("1.00")).engine->bNewBootloader == false);
}

TEST(RenesasReset, U2WantsItConfirmedAndU4OnlyTellsTheUser) {
    struct Case {
        Bytes answer;
        bool confirmed;
    };
    for (const Case& each :
         {Case{{0x52}, true}, Case{{0x06}, false}, Case{{0x52, 0x52}, false}, Case{{}, false}}) {
        simulator::RenesasBootOptions options = BootOptions("1.00");
        options.faults.push_back(BootFault::Says(RenesasBootDevice::kReset, each.answer));
        RenesasRig rig(Chip::U2, options);
        rig.port.bOpen = true;
        LogCapture log;
        EXPECT_EQ(rig.engine->SendResetCommandUSB(rig.port), each.confirmed);
        EXPECT_THAT(
            log.Take("SendResetCommandUSB"),
            ElementsAre("Sending Reset command", each.confirmed ? "OK!" : "ERROR: wrong response! exit..."));
        EXPECT_EQ(rig.port.bOpen, each.confirmed);
        EXPECT_THAT(rig.port.SentHex(), ElementsAre("31"));
    }
    RenesasRig rig(Chip::U4, BootOptions(Chip::U4));
    rig.port.bOpen = true;
    LogCapture log;
    EXPECT_TRUE(rig.engine->SendResetCommandUSB(rig.port));
    EXPECT_THAT(log.Take(),
                ElementsAre("[SendResetCommandUSB]Upgrade Error. Please, restart the printer and retry"));
    EXPECT_TRUE(rig.port.bOpen);
    EXPECT_THAT(rig.port.SentHex(), ElementsAre());
}

}  // namespace

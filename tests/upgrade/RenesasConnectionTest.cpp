#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BootRig.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;
using testing::ElementsAre;

constexpr const char* kTag = "InitConnectRenesasDevice";

struct Dialect {
    const char* name;
    Chip chip;
    const char* release;
    bool isNew;
};

const Dialect kDialects[] = {{"U4", Chip::U4, "0.99", false},
                             {"U2 release 0.99", Chip::U2, "0.99", false},
                             {"U2 release 1.00", Chip::U2, "1.00", false},
                             {"U2 release 1.10", Chip::U2, "1.10", false},
                             {"U2 new dialect", Chip::U2, "1.00", true}};

/// A command, its log line, its bytes, the answer that is accepted (bytes that do not matter are AA), which
/// of its bytes matter, and how long it is collected (0: one read, which sees a byte too many).
struct Row {
    int command;
    std::string line;
    std::string request;
    Bytes answer;
    std::vector<std::size_t> judged;
    std::uint64_t limitMs;
    Lines said = {"OK!"};
};

std::vector<Row> RowsOf(const Dialect& dialect) {
    const bool u2 = dialect.chip == Chip::U2;
    const bool secured = u2 && std::string(dialect.release) != "0.99";
    std::vector<Row> rows{
        {Device::kBitRateAdjustment, "Automatic Adjustment of Bit Rate", "55", {0xE6}, {0}, 0}};
    if (u2) {
        Lines said{"OK!", std::string("Release Found: ") + dialect.release};
        if (secured) said.emplace_back("Bootloader release support security!");
        rows.push_back(
            {Device::kRelease, "Get Bootloader Release", "32", BytesOf(dialect.release), {}, 5000, said});
    }
    if (secured) {
        rows.push_back({Device::kSecurity, "Save Security", "33", {0x06}, {0}, 0});
        if (dialect.isNew) {
            rows.back() = {Device::kSecurity, "Save Security", "33", {0x15}, {0}, 0, {"New Bootloader..."}};
            rows.push_back({Device::kSecurityNew, "Save Security NEW", "34", {0x06}, {0}, 0});
        }
    }
    const std::vector<Row> rest{
        {Device::kUnitSize,
         "Programming Size Inquiry",
         "27",
         {0x37, 0xAA, 1, 0, 0xAA},
         {0},
         5000,
         {"OK!", "Programming Size: 256"}},
        {Device::kDeviceSelection, "Device Selection", "10 04 37 36 30 38 17", {0x06}, {0}, 0},
        {Device::kClockMode, "Clock Mode Selection", "11 01 00 EE", {0x06}, {0}, 0},
        {Device::kUserArea,
         "User Area Information Inquiry",
         "25",
         {0x35, 0xAA, 0xAA, 0xFF, 0xF8, 0, 0, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA},
         {0},
         5000,
         {"OK!", "Micro FLASH size: 524288"}},
        {Device::kBitRate, "Bit Rate Selection", "3F 07 00 00 04 B0 02 08 04 F8", {0x06}, {0}, 0},
        {Device::kConfirmation, "Confirmation", "06", {0x06}, {0}, 0},
        {Device::kProgrammingState, "Programming/Erasure State Transition", "40", {0x06}, {0}, 30000},
        {Device::kStatus, "Boot Program Status Inquiry", "4F", {0x5F, 0xAA, 0x3F, 0, 0xAA}, {0, 2, 3}, 10000},
        {Device::kUserBlank, "User Area Blank Check", "4D", {0x06}, {0}, 5000}};
    rows.insert(rows.end(), rest.begin(), rest.end());
    const std::string blank = "Data Area Blank Check";
    if (dialect.isNew) {
        rows.push_back({Device::kDataBlank, blank, "62", {0xAA, 0x52}, {1}, 5000});
    } else {
        rows.push_back({Device::kDataBlank, blank, "62", {0x06}, {0}, 5000});
    }
    return rows;
}

/// The boot loader of a dialect, which says what the rows want of it.
simulator::RenesasBootOptions OptionsOf(const Dialect& dialect, std::vector<BootFault> faults = {}) {
    simulator::RenesasBootOptions options = BootOptions(dialect.release, dialect.isNew);
    options.unitSize = 256;
    options.faults = std::move(faults);
    return options;
}

TEST(RenesasConnection, MakesEachExchangeInItsPlaceAndPausesAfterEachOk) {
    for (const Dialect& dialect : kDialects) {
        for (const int timem : {0, 1, 3}) {
            SCOPED_TRACE(dialect.name);
            Lines commands;
            Lines lines{"Starting connecting operations..."};
            for (const Row& row : RowsOf(dialect)) {
                commands.push_back(row.request);
                const char* kind = row.command != Device::kDataBlank ? ""
                                   : dialect.isNew                   ? "(New Bootloader)"
                                                                     : "(OLD BOOTLOADER)";
                lines = std::move(lines) + Lines{"Sending " + row.line + " command" + kind} + row.said;
            }
            lines.emplace_back("Connecting operations executed!");

            RenesasRig rig(dialect.chip, OptionsOf(dialect), timem);
            LogCapture log;
            EXPECT_TRUE(rig.Connect());
            EXPECT_EQ(log.Take(kTag), lines);
            EXPECT_EQ(rig.port.SentHex(), commands);
            for (const ModelPort::Sent& each : rig.port.sent) EXPECT_TRUE(each.bCleaned);
            EXPECT_THAT(rig.device.Violations(), ElementsAre());
            const auto oks = static_cast<std::uint64_t>(std::count(lines.begin(), lines.end(), "OK!"));
            EXPECT_EQ(rig.clock.WaitedUs(), oks * static_cast<unsigned>(timem) * 100000);
            EXPECT_EQ(rig.unitSize, 256);
            EXPECT_EQ(rig.engine->bNewBootloader, dialect.isNew);  // U4's begins as true
            EXPECT_EQ(rig.port.uiTimeoutTX, 5000U);
            EXPECT_FALSE(rig.port.bOpen);
        }
    }
}

/// The answers that a row must not take.
std::vector<Bytes> WrongAnswers(const Row& row) {
    std::vector<Bytes> wrong{{}};  // silence
    for (const std::size_t at : row.judged) {
        wrong.push_back(row.answer);
        wrong.back()[at] ^= 0x01;
        wrong.push_back(row.answer);
        wrong.back()[at] = 0x51;
    }
    // To the first security command a NAK is an answer, but not with more behind it.
    if (row.command != Device::kSecurity && row.answer == Bytes{0x06}) wrong.push_back({0x15});
    if (row.limitMs == 0) wrong.push_back(row.answer + Bytes{0x00});
    if (row.answer.size() > 1) wrong.emplace_back(row.answer.begin(), row.answer.end() - 1);
    return wrong;
}

TEST(RenesasConnection, EachAnswerIsRefusedWhenAByteOrTheCountIsWrongOrNothingComes) {
    for (const Dialect& dialect : kDialects) {
        for (const Row& row : RowsOf(dialect)) {
            for (const Bytes& answer : WrongAnswers(row)) {
                SCOPED_TRACE(dialect.name + (", " + row.line + ": ") + testing::PrintToString(answer));
                RenesasRig rig(dialect.chip, OptionsOf(dialect, {BootFault::Says(row.command, answer)}));
                LogCapture log;
                EXPECT_FALSE(rig.Connect());
                EXPECT_EQ(rig.err, BTPRG_FAILED);
                EXPECT_EQ(log.Take(kTag).back(), "ERROR: wrong response! exit...");
                EXPECT_FALSE(rig.port.bOpen);
                // Nothing follows the refused command but, from U2, the reset.
                Lines sent = rig.port.SentHex();
                EXPECT_EQ(sent.back() == "31", dialect.chip == Chip::U2);
                if (dialect.chip == Chip::U2) sent.pop_back();
                EXPECT_EQ(sent.back(), row.request);
            }
        }
    }
}

TEST(RenesasConnection, EachAnswerMayTakeItsTimeAndNoMore) {
    const Dialect& dialect = kDialects[4];
    for (const Row& row : RowsOf(dialect)) {
        for (const bool inTime : {true, false}) {
            SCOPED_TRACE(row.line + (inTime ? " in time" : " too late"));
            const std::uint64_t limit = row.limitMs == 0 ? 1000 : row.limitMs;
            // A collecting read looks at the clock between reads of a second each.
            const std::uint64_t delay = inTime ? limit - 50 : limit + (row.limitMs == 0 ? 50 : 1050);
            RenesasRig rig(dialect.chip, OptionsOf(dialect, {BootFault::Late(row.command, delay)}));
            EXPECT_EQ(rig.Connect(), inTime);
        }
    }
}

TEST(RenesasConnection, ACommandThatCannotBeSentEndsItAndOnlyTheReleaseHasACodeOfItsOwn) {
    for (const Dialect& dialect : kDialects) {
        const std::vector<Row> rows = RowsOf(dialect);
        for (std::size_t n = 1; n <= rows.size(); ++n) {
            SCOPED_TRACE(dialect.name + (", " + rows[n - 1].line));
            RenesasRig rig(dialect.chip, OptionsOf(dialect));
            rig.port.failWrite = n;
            LogCapture log;
            EXPECT_FALSE(rig.Connect());
            EXPECT_EQ(rig.err == BTPRG_RELEASE_UNAVAILABLE, rows[n - 1].command == Device::kRelease);
            EXPECT_EQ(log.Take(kTag).back(), "Error during send command! exit...");
            EXPECT_EQ(rig.port.sent.size(), dialect.chip == Chip::U2 ? n + 1 : n);
            EXPECT_FALSE(rig.port.bOpen);
        }
    }
}

TEST(RenesasConnection, ADeviceThatCannotBeOpenedIsNotTalkedTo) {
    for (const char* name : {"045B|0025|BOOT1", "", "045B", "045B|0025|OTHER", "10C4|0025|BOOT1"}) {
        RenesasRig rig(Chip::U2, BootOptions(Chip::U2));
        rig.port.bOpens = rig.name != name;
        rig.name = name;
        LogCapture log;
        EXPECT_FALSE(rig.Connect());
        EXPECT_THAT(log.Take(), ElementsAre("[InitConnectRenesasDevice]Starting connecting operations...",
                                            "[InitConnectRenesasDevice]Open Renesas device Error"));
        EXPECT_EQ(rig.err, BTPRG_FAILED);
        EXPECT_THAT(rig.port.SentHex(), ElementsAre());
        EXPECT_EQ(rig.port.uiTimeoutTX, 1000U);
    }
}

}  // namespace

// The whole conversation with a Renesas boot loader, from its connection to its lock bits, as one table.
#include "upgrade/RenesasExchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BootRig.h"
#include "upgrade/RenesasUnits.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;
using testing::ElementsAre;

constexpr int kUnit = 256;
const Bytes kFirmware = Pattern(2 * kUnit);

struct Dialect {
    const char* name;
    const char* release;
    Chip chip;
    bool isNew;
};

const Dialect kDialects[] = {{"U4", "0.99", Chip::U4, false},
                             {"U2 release 0.99", "0.99", Chip::U2, false},
                             {"U2 release 1.00", "1.00", Chip::U2, false},
                             {"U2 release 1.10", "1.10", Chip::U2, false},
                             {"U2 new dialect", "1.00", Chip::U2, true}};

/// A command, its log line, its bytes, the answer that is accepted (bytes that do not matter are AA), which
/// of its bytes matter, how long it is collected (0: one read, which sees a byte too many), what is then
/// logged, and which of these commands it is.
struct Row {
    int command;
    std::string line;
    Bytes request;
    Bytes answer;
    std::vector<std::size_t> judged = {0};
    std::uint64_t limitMs = 0;
    Lines said = {"OK!"};
    int occurrence = 1;
};

// clang-format off
std::vector<Row> ConnectionRows(const Dialect& dialect) {
    const bool secured = std::string(dialect.release) != "0.99";
    std::vector<Row> rows{{Device::kBitRateAdjustment, "Automatic Adjustment of Bit Rate", {0x55}, {0xE6}}};
    if (dialect.chip == Chip::U2) {
        rows.push_back({Device::kRelease, "Get Bootloader Release", {0x32}, BytesOf(dialect.release), {}, 5000,
                        {"OK!", std::string("Release Found: ") + dialect.release}});
    }
    if (secured) {
        rows.back().said.emplace_back("Bootloader release support security!");
        rows.push_back({Device::kSecurity, "Save Security", {0x33}, {0x06}});
    }
    if (dialect.isNew) {
        rows.back() = {Device::kSecurity, "Save Security", {0x33}, {0x15}, {0}, 0, {"New Bootloader..."}};
        rows.push_back({Device::kSecurityNew, "Save Security NEW", {0x34}, {0x06}});
    }
    rows.insert(rows.end(), {
        {Device::kUnitSize, "Programming Size Inquiry", {0x27}, {0x37, 0xAA, 1, 0, 0xAA}, {0}, 5000,
         {"OK!", "Programming Size: 256"}},
        {Device::kDeviceSelection, "Device Selection", {0x10, 4, '7', '6', '0', '8', 0x17}, {0x06}},
        {Device::kClockMode, "Clock Mode Selection", {0x11, 1, 0, 0xEE}, {0x06}},
        {Device::kUserArea, "User Area Information Inquiry", {0x25},
         Bytes{0x35, 0xAA, 0xAA, 0xFF, 0xF8, 0, 0} + Bytes(5, 0xAA), {0}, 5000, {"OK!", "Micro FLASH size: 524288"}},
        {Device::kBitRate, "Bit Rate Selection", {0x3F, 7, 0, 0, 4, 0xB0, 2, 8, 4, 0xF8}, {0x06}},
        {Device::kConfirmation, "Confirmation", {0x06}, {0x06}},
        {Device::kProgrammingState, "Programming/Erasure State Transition", {0x40}, {0x06}, {0}, 30000},
        {Device::kStatus, "Boot Program Status Inquiry", {0x4F}, {0x5F, 0xAA, 0x3F, 0, 0xAA}, {0, 2, 3}, 10000},
        {Device::kUserBlank, "User Area Blank Check", {0x4D}, {0x06}, {0}, 5000},
        {Device::kDataBlank, "Data Area Blank Check", {0x62}, {0x06}, {0}, 5000}});
    if (dialect.isNew) rows.back() = {Device::kDataBlank, "Data Area Blank Check", {0x62}, {0xAA, 0x52}, {1}, 5000};
    for (Row& row : rows) row.line = "Sending " + row.line + " command";
    rows.back().line += dialect.isNew ? "(New Bootloader)" : "(OLD BOOTLOADER)";
    return rows;
}

std::vector<Row> ProgrammingRows(const Dialect& dialect) {
    const RenesasUnits units(kFirmware.data(), kFirmware.size(), kUnit);
    const unsigned char mark = dialect.isNew ? 0x52 : 0;
    return {
        {Device::kStatus, "Sending Boot Program Status Inquiry command", {0x4F}, {0x5F, 0xAA, 0x3F, mark, 0xAA},
         {0, 2, 3}, 5000, {"OK!"}, 2},
        {Device::kAreaSelection, "Sending User Data Area Programmin Selection command", {0x43}, {0x06}, {0}, 0,
         {"OK!", "Start do sending data!"}},
        {Device::kUnit, "Sending bank 1/2 (50%)", units.Frame(0), {0x06}, {}, 0, {"Bank 1 successfully sent!"}},
        {Device::kUnit, "Sending bank 2/2 (100%)", units.Frame(1), {0x06}, {}, 0, {"Bank 2 successfully sent!"}, 2},
        {Device::kTerminate, "Sending Terminate Programming command", {0x50, 0xFF, 0xFF, 0xFF, 0xFF, 0xB4}, {0x06}},
        {Device::kLock, "Sending Lock Bit Enable command", {0x7A}, {0x06}}};
}
// clang-format on

std::vector<Row> RowsOf(const Dialect& dialect) {
    std::vector<Row> rows = ConnectionRows(dialect);
    for (Row& row : ProgrammingRows(dialect)) rows.push_back(std::move(row));
    return rows;
}

/// A connection and the programming that follows it.
struct Attempt {
    Attempt(const Dialect& dialect, std::vector<BootFault> faults, std::size_t failWrite = 0, int timem = 1)
        : rig(dialect.chip, OptionsOf(dialect, std::move(faults)), timem) {
        rig.port.failWrite = failWrite;
        LogCapture log;
        done = rig.Connect() && rig.Program(kFirmware, rig.unitSize) == 1;
        for (const std::string& line : log.Take()) {
            if (line.rfind("[ReadAll]", 0) != 0) lines.push_back(line);
        }
    }
    static simulator::RenesasBootOptions OptionsOf(const Dialect& dialect, std::vector<BootFault> faults) {
        simulator::RenesasBootOptions options = BootOptions(dialect.release, dialect.isNew);
        options.unitSize = kUnit;
        options.faults = std::move(faults);
        return options;
    }

    /// Nothing follows the row with this index but, from U2, the reset.
    void ExpectEndedAt(const Dialect& dialect, std::size_t row, const std::string& line) {
        EXPECT_FALSE(done);
        const std::string tag =
            row < ConnectionRows(dialect).size() ? "[InitConnectRenesasDevice]" : "[StartUpgradeUsb]";
        const auto reset = std::find_if(lines.begin(), lines.end(), [](const std::string& each) {
            return each.rfind("[SendResetCommandUSB]", 0) == 0;
        });
        ASSERT_NE(reset, lines.end());
        EXPECT_EQ(reset[-1], tag + line);
        EXPECT_EQ(*reset, dialect.chip == Chip::U2
                              ? "[SendResetCommandUSB]Sending Reset command"
                              : "[SendResetCommandUSB]Upgrade Error. Please, restart the printer and retry");
        EXPECT_EQ(rig.port.sent.size(), row + (dialect.chip == Chip::U2 ? 2 : 1));
        EXPECT_EQ(rig.port.sent.back().bytes == Bytes{0x31}, dialect.chip == Chip::U2);
        EXPECT_FALSE(rig.port.bOpen);
        EXPECT_FALSE(rig.device.IsComplete());
    }

    RenesasRig rig;
    bool done = false;
    Lines lines;
};

TEST(RenesasExchanges, EachIsMadeInItsPlaceWithAPauseAfterEachOk) {
    for (const Dialect& dialect : kDialects) {
        for (const int timem : {0, 1, 3}) {
            SCOPED_TRACE(dialect.name);
            const bool u2 = dialect.chip == Chip::U2;
            Lines lines{"[InitConnectRenesasDevice]Starting connecting operations..."};
            const auto log = [&lines](const std::string& tag, const std::vector<Row>& rows) {
                for (const Row& row : rows) {
                    lines.push_back(tag + row.line);
                    for (const std::string& each : row.said) lines.push_back(tag + each);
                }
            };
            log("[InitConnectRenesasDevice]", ConnectionRows(dialect));
            lines.emplace_back("[InitConnectRenesasDevice]Connecting operations executed!");
            log("[StartUpgradeUsb]", ProgrammingRows(dialect));
            const auto oks = std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
                return line.find("]OK!") != std::string::npos;
            });
            lines =
                std::move(lines) +
                (u2 ? Lines{"[SendResetCommandUSB]Sending Reset command", "[SendResetCommandUSB]OK!"}
                    : Lines{"[SendResetCommandUSBForSuccess]Upgrade firmware. Please, restart the printer"});

            Attempt attempt(dialect, {}, 0, timem);
            RenesasRig& rig = attempt.rig;
            EXPECT_TRUE(attempt.done);
            EXPECT_EQ(attempt.lines, lines);
            EXPECT_EQ(rig.device.FlashImage(), kFirmware);
            EXPECT_TRUE(rig.device.IsComplete());
            EXPECT_THAT(rig.device.Violations(), ElementsAre());
            EXPECT_EQ(rig.engine->bNewBootloader, dialect.isNew);  // U4's begins as true
            EXPECT_FALSE(rig.port.bOpen);
            // The NAK that tells the new dialect has a pause without an "OK!", the end of the lock bits
            // another.
            const auto pauses = oks + (dialect.isNew ? 2 : 1);
            EXPECT_EQ(rig.clock.WaitedUs(), static_cast<std::uint64_t>((pauses * 100 + 2500) * timem) * 1000);

            std::vector<Row> rows = RowsOf(dialect);
            if (u2) rows.push_back({Device::kReset, "", {0x31}, {}});
            ASSERT_EQ(rig.port.sent.size(), rows.size());
            const std::size_t firstUnit = ConnectionRows(dialect).size() + 2;
            for (std::size_t i = 0; i < rows.size(); ++i) {
                // A frame goes out in one write, under a packet size that keeps it whole; the receive side is
                // emptied before every command and once before the units.
                EXPECT_EQ(rig.port.sent[i].bytes, rows[i].request) << i;
                EXPECT_EQ(rig.port.sent[i].uiWPacketSize, i < firstUnit ? 64U : 57344U) << i;
                EXPECT_EQ(rig.port.sent[i].bCleaned, i != firstUnit + 1) << i;
                EXPECT_EQ(rig.port.sent[i].uiTimeoutTX, 5000U) << i;
            }
        }
    }
}

/// The answers that a row must not take.
std::vector<Bytes> WrongAnswers(const Row& row) {
    std::vector<Bytes> wrong{{}};  // silence
    for (const std::size_t at : row.judged) {
        for (const unsigned char value : Bytes{0x07, 0x51}) {
            wrong.push_back(row.answer);
            wrong.back()[at] = value;
        }
    }
    if (row.command == Device::kUnit) return wrong;  // what is refused is sent once more
    // To the first security command a NAK is an answer, but not with more behind it.
    if (row.command != Device::kSecurity && row.answer == Bytes{0x06}) wrong.push_back({0x15});
    if (row.limitMs == 0) wrong.push_back(row.answer + Bytes{0x00});
    if (row.answer.size() > 1) wrong.emplace_back(row.answer.begin(), row.answer.end() - 1);
    return wrong;
}

TEST(RenesasExchanges, EachIsRefusedWhenAByteOrTheCountIsWrongOrNothingComesOrItCannotBeSent) {
    for (const Dialect& dialect : kDialects) {
        const std::vector<Row> rows = RowsOf(dialect);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const Row& row = rows[i];
            for (const Bytes& answer : WrongAnswers(row)) {
                SCOPED_TRACE(dialect.name + (", " + row.line + ": ") + testing::PrintToString(answer));
                // When it is programmed, the chip's mode is told from a wrong answer.
                const bool mode = row.command == Device::kStatus && row.occurrence == 2 &&
                                  answer.size() == 5 && answer[0] == 0x5F;
                Attempt attempt(
                    dialect, {BootFault::Says(row.command, answer).Between(row.occurrence, row.occurrence)});
                attempt.ExpectEndedAt(
                    dialect, i,
                    mode ? "ERROR: wrong status mode response! exit..." : "ERROR: wrong response! exit...");
                EXPECT_EQ(attempt.rig.err, BTPRG_FAILED);
            }
            SCOPED_TRACE(dialect.name + (", " + row.line + ": not sent"));
            Attempt attempt(dialect, {}, i + 1);
            attempt.ExpectEndedAt(dialect, i, "Error during send command! exit...");
            EXPECT_EQ(attempt.rig.err == BTPRG_RELEASE_UNAVAILABLE, row.command == Device::kRelease);
        }
    }
}

TEST(RenesasExchanges, EachAnswerMayTakeItsTimeAndNoMore) {
    const Dialect& dialect = kDialects[4];
    for (const Row& row : RowsOf(dialect)) {
        for (const bool inTime : {true, false}) {
            SCOPED_TRACE(row.line + (inTime ? " in time" : " too late"));
            const std::uint64_t limit = row.limitMs == 0 ? 1000 : row.limitMs;
            // A collecting read looks at the clock between reads of a second each.
            const std::uint64_t delay = inTime ? limit - 50 : limit + (row.limitMs == 0 ? 50 : 1050);
            EXPECT_EQ(Attempt(dialect,
                              {BootFault::Late(row.command, delay).Between(row.occurrence, row.occurrence)})
                          .done,
                      inTime);
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
        EXPECT_EQ(rig.port.sent.size(), 0U);
        EXPECT_EQ(rig.port.uiTimeoutTX, 1000U);
    }
}

}  // namespace

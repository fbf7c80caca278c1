// Procedures U2 and U4: the printer becomes a boot device on USB, which is connected to and programmed unit
// by unit. U4 takes the printer on any port, asks for no release, and leaves the reset to the user.
#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using simulator::Bytes;
using simulator::Fault;
using simulator::Line;
using Device = simulator::RenesasBootDevice;

constexpr auto kEntry = simulator::Exchange::BootEntry;

const std::string kEnter = "[EnterUSBBootDirectModeOnUSB]";
const std::string kNoEntry = kEnter + "ERROR : WAIT TIMEOUT! Exit..";
const std::string kInit = "[InitConnectRenesasDevice]";
const std::string kBegin = kInit + "Starting connecting operations...";
const std::string kSend = "[StartUpgradeUsb]";
const std::string kResetting = "[SendResetCommandUSB]Sending Reset command";
const std::string kNotOpen = "Open Renesas device Error";
const std::string kInitError = "[SendFW]Init Renesas connection Error(1)";
const std::string kError = "[SendFW]Upgrade Error";
const std::string kNotSent = "Error during send command! exit...";
const std::string kWrong = "ERROR: wrong response! exit...";
const std::string kNoDevice = "[SendFW]Error waiting renesas device timeout...";
const std::string kContact =
    "[SendFW]Impossible to retrieve bootloader release. Please contact Quorva Technical Service at its web "
    "site or support mail address.";

Given Entry(const std::string& answer) {
    return PrinterFaults({Fault::Says(kEntry, Bytes(answer.begin(), answer.end()))});
}
Given UnitSize(unsigned char high, unsigned char low) {
    return Chip({BootFault::Says(Device::kUnitSize, {0x37, 2, high, low, 0})});
}
void HasTwoUnits(Rig& rig) {
    rig.renesas.unitSize = 640;
    rig.renesas.flashSize = 1280;
}

TEST(UpgradeU2AndU4, Table) {
    const Lines noFit{kError, "!" + kSend + "Sending Boot Program Status Inquiry command"};
    const Lines twoUnits{kInit + "Programming Size: 640", kInit + "Micro FLASH size: 1280",
                         kSend + "Sending bank 1/2 (50%)"};
    const std::string odd = kEnter + "Wrong response from device! Exit from upgrade procedure...";
    const Given unlisted = Bus("045B|0025|BOOT1\n", false);
    const Lines noFirmware{"[SendFW]Upgrade file wrong or incomplete:"};
    const std::vector<BootRow> both{
        {"eight other bytes", Entry("BOOT_ERR"), true, {kEnter + "Answer: BOOT_ERR", odd, kBegin}},
        {"seven", Entry("BOOT_RS"), false, {kEnter + "Read 7 bytes", kNoEntry, "!" + kBegin}, 15000},
        {"nine", Entry("BOOT_RST!"), false, {kEnter + "Read 9 bytes", kNoEntry, "!" + kBegin}, 5000},
        {"late", PrinterFaults({Fault::Late(kEntry, 9500)}), true, {kBegin}},
        {"another vendor", Vendor(0x045C, 2), false, {kNoDevice}, 90000},
        {"not waited for", Vendor(0x045B, 0), false, {kNoDevice}},
        {"a list that failed", unlisted, false, {kNoDevice}, 45000},
        {"a list that begins with an empty line", Bus("\n"), true, {}},
        {"the first one is taken", Bus("045B|0025|OTHER\n"), false, {kInit + kNotOpen, kInitError}},
        {"not opened", FailsOpen(2), false, {kInit + kNotOpen, kInitError, "!" + kResetting}},
        {"not opened again", FailsOpen(3), false, {kSend + kNotOpen, kError, "!" + kResetting}},
        {"two units, and no more flash", HasTwoUnits, true, twoUnits},
        {"units that do not fit", UnitSize(0, 48), false, noFit},
        {"units of nothing", UnitSize(0, 0), false, noFit},
        {"a unit that is too large", UnitSize(0x0A, 0), false, noFit},
        {"no firmware", [](Rig& rig) { rig.package.banks = 0; }, false, noFirmware, 1},
    };
    PlayRows("U2", Line::Usb, both);
    PlayRows("U4", Line::Serial, both);
    PlayRows("U4", Line::Ethernet, {{"its port is kept", {}, false, {kInit + kNotOpen, kInitError}}});
    for (const Bytes& answer : {Bytes{0x06}, Bytes{0x52, 0x52}, Bytes{}}) {
        const BootFault reset = BootFault::Says(Device::kReset, answer);
        const Given failed = Chip({reset, BootFault::Silence(Device::kLock)});
        const Lines lines{kResetting, "[SendResetCommandUSB]" + kWrong};
        PlayRows("U2", Line::Usb, {{"failed", failed, false, lines}, {"done", Chip({reset}), true, lines}});
    }
}

TEST(UpgradeU2AndU4, AUnitIsSentTwiceAtMost) {
    const std::pair<Bytes, std::string> refusals[] = {
        {{0xD0, 0x11}, kSend + "ERROR: wrong response: CHECKSUM error!"},
        {{0xD0, 0x2A}, kSend + "ERROR: wrong response: ADDRESS error!"},
        {{0xD0, 0x53}, kSend + "ERROR: wrong response: PROGRAMMING error!"},
        {{0xD0, 0x06}, kSend + "ERROR: Unknown response!"},
        {{0xD0}, kSend + "ERROR: wrong response!"},
        {{0x11, 0xD0}, kSend + "ERROR: wrong response!"},
    };
    for (const auto& [answer, line] : refusals) {
        for (const int unit : {1, 2, 5}) {
            const std::string retry = kSend + "Retry to send " + std::to_string(unit) + " bank!";
            const std::string sent = kSend + "Bank " + std::to_string(unit) + " successfully sent!";
            const Lines twice{line, retry, line, kSend + "Exit..", kError, "!" + sent};
            BootFault before = BootFault::Says(Device::kUnit, answer).Between(unit - 1, unit - 1);
            BootFault refusal = before;
            const int first = unit == 1 ? 1 : unit + 1;  // the unit before it has a retry of its own
            const Given one = Chip({before, refusal.Between(first, first)});
            const Given two = Chip({before, refusal.Between(first, first + 1)});
            PlayRows("U2", Line::Usb,
                     {{"once", one, true, {line, retry, sent}}, {"twice", two, false, twice}});
        }
    }
}

struct Dialect {
    const char* mode;
    Line line;
    const char* release;
    bool isNew;
};

constexpr unsigned char kAny = 0xAA;

/// A command, the answer that is accepted, how long it is collected (0: one read, of a second), and which of
/// these commands it is.
struct Step {
    int command;
    Bytes answer = {0x06};
    std::uint64_t collectMs = 0;
    int occurrence = 1;
};

std::vector<Step> StepsOf(const Dialect& dialect) {
    const unsigned char mark = dialect.isNew ? 0x52 : 0;
    std::vector<Step> steps{{Device::kBitRateAdjustment, {0xE6}}};
    if (std::string(dialect.mode) == "U2") steps.push_back({Device::kRelease, Bytes(4, kAny), 5000});
    if (std::string(dialect.release) != "0.99") steps.push_back({Device::kSecurity});
    if (dialect.isNew) steps.push_back({Device::kSecurityNew});
    Bytes userArea(12, kAny);
    userArea[0] = 0x35;
    steps.insert(steps.end(), {{Device::kUnitSize, {0x37, kAny, kAny, kAny, kAny}, 5000},
                               {Device::kDeviceSelection},
                               {Device::kClockMode},
                               {Device::kUserArea, userArea, 5000},
                               {Device::kBitRate},
                               {Device::kConfirmation},
                               {Device::kProgrammingState, {0x06}, 30000},
                               {Device::kStatus, {0x5F, kAny, 0x3F, 0, kAny}, 10000},
                               {Device::kUserBlank, {0x06}, 5000},
                               {Device::kDataBlank, dialect.isNew ? Bytes{kAny, 0x52} : Bytes{0x06}, 5000},
                               {Device::kStatus, {0x5F, kAny, 0x3F, mark, kAny}, 5000, 2},
                               {Device::kAreaSelection}});
    for (int unit = 1; unit <= 5; ++unit) steps.push_back({Device::kUnit, {0x06}, 0, unit});
    steps.insert(steps.end(), {{Device::kTerminate}, {Device::kLock}});
    return steps;
}

/// The answers that a step must not take.
std::vector<Bytes> WrongAnswers(const Step& step) {
    if (step.command == Device::kUnit) return {{}};  // what is refused is sent once more
    std::vector<Bytes> wrong{{}, {0x15, 0x00}};
    for (std::size_t at = 0; at < step.answer.size(); ++at) {
        if (step.answer[at] == kAny) continue;
        wrong.push_back(step.answer);
        wrong.back()[at] ^= 0x01;
    }
    if (step.collectMs == 0) wrong.push_back({step.answer[0], 0x00});
    if (step.answer.size() > 1) wrong.emplace_back(step.answer.begin(), step.answer.end() - 1);
    return wrong;
}

Given Speaks(const Dialect& dialect, const Given& also, int timem = 1) {
    return [=](Rig& rig) {
        rig.renesas.bootRelease = dialect.release;
        rig.renesas.newDialect = dialect.isNew;
        rig.timem = timem;
        if (also) also(rig);
    };
}

class BootDialects : public testing::TestWithParam<Dialect> {};

TEST_P(BootDialects, EachStepEndsItWhenItFailsOrTakesTooLong) {
    const Dialect& dialect = GetParam();
    const bool resets = std::string(dialect.mode) == "U2";
    const std::vector<Step> steps = StepsOf(dialect);
    Rig whole(dialect.mode, dialect.line, false);
    Speaks(dialect, {})(whole);
    ASSERT_TRUE(whole.Run());
    Lines lines;  // of the steps, and of what follows one that fails
    for (auto at = std::find(whole.log.begin(), whole.log.end(), kBegin); at != whole.log.end(); ++at)
        if (at->find("]Sending ") != std::string::npos) lines.push_back(*at);
    if (!resets) lines.push_back("[SendResetCommandUSB]Upgrade Error. Please, restart the printer and retry");
    ASSERT_EQ(lines.size(), steps.size() + 1);
    const int firstWrite = CallsOf(whole, "Write") - static_cast<int>(steps.size()) + (resets ? 0 : 1);
    std::vector<BootRow> rows;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        const char* what = lines[i].c_str();
        const auto now = [&](BootFault fault) {
            return Speaks(dialect, Chip({fault.Between(step.occurrence, step.occurrence)}));
        };
        const auto ends = [&](const Given& given, const std::string& failure) {
            const bool connects = lines[i].rfind(kInit, 0) == 0;
            const std::string tag = connects ? kInit : kSend;
            Lines log{lines[i], tag + failure, lines.back(), connects ? kInitError : kError};
            if (step.command == Device::kRelease && failure == kNotSent) {
                log.back() = "[SendFW]Init Renesas connection Error(10)";
                log.push_back(kContact);
            }
            if (i + 1 < steps.size()) log.push_back("!" + lines[i + 1]);
            rows.push_back({what, given, false, log});
        };
        for (const Bytes& answer : WrongAnswers(step)) {
            // Behind the connection, the chip's mode is told from a wrong answer.
            const bool mode = step.occurrence == 2 && answer.size() == 5 && answer[0] == 0x5F;
            ends(now(BootFault::Says(step.command, answer)),
                 mode ? "ERROR: wrong status mode response! exit..." : kWrong);
        }
        const auto write = [&](LineFault::How how) {
            return Speaks(dialect, LineFaults({{"Write", how, firstWrite + static_cast<int>(i)}}));
        };
        ends(write(LineFault::kShort), kNotSent);
        // The chip takes no command with a wrong byte; a unit is sent once more.
        rows.push_back({what, write(LineFault::kWrongByte), step.command == Device::kUnit, {}});
        // When answers are collected, the clock is looked at between reads of a second each.
        const std::uint64_t inTime = std::max<std::uint64_t>(step.collectMs, 1000) - 50;
        rows.push_back({what, now(BootFault::Late(step.command, inTime)), true, {}});
        const int done = i + 1 == steps.size() ? RigRow::kAll : 0;  // the chip is, all the same
        rows.push_back({what, now(BootFault::Late(step.command, step.collectMs + 1050)), false, {}, 0, done});
    }
    const Given unentered = LineFaults({{"Write", LineFault::kError, firstWrite - 1}});
    const Lines notEntered{kEnter + "Error USB Boot Direct mode", "!" + kBegin};
    rows.push_back({"not entered", unentered, false, notEntered});
    // 5 s before the firmware, 2.5 s after it, and 100 ms after each step but the five units.
    const std::uint64_t paused = 7500 + 100 * (steps.size() - 4);
    rows.push_back({"slow", Speaks(dialect, {}, 3), true, {}, whole.tookMs + 2 * paused});
    PlayRows(dialect.mode, dialect.line, rows);
}

constexpr Dialect kDialects[] = {{"U4", Line::Serial, "0.99", false},
                                 {"U2", Line::Usb, "0.99", false},
                                 {"U2", Line::Usb, "1.10", false},
                                 {"U2", Line::Usb, "1.00", true}};

INSTANTIATE_TEST_SUITE_P(Each, BootDialects, testing::ValuesIn(kDialects));

}  // namespace

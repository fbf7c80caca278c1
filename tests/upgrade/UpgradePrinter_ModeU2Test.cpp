// Procedures U2 and U4: the printer becomes a boot device on USB, which is connected to and programmed unit
// by unit. U4 takes the printer on any port, asks for no release, and leaves the reset to the user.
#include <array>

#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;

constexpr auto kEntry = simulator::Exchange::BootEntry;

const std::string kNoEntry = "ERROR : WAIT TIMEOUT! Exit..";
const std::string kInit = "[InitConnectRenesasDevice]";
const std::string kBegin = kInit + "Starting connecting operations...";
const std::string kSend = "[StartUpgradeUsb]";
const std::string kResetting = "[SendResetCommandUSB]Sending Reset command";
const std::string kNotOpen = "Open Renesas device Error";
const std::string kInitError = "Init Renesas connection Error(1)";
const std::string kError = "[SendFW]Upgrade Error";
const std::string kNotSent = "Error during send command! exit...";
const std::string kWrong = "ERROR: wrong response! exit...";
const std::string kNoDevice = "Error waiting renesas device timeout...";
const std::string kContact =
    "Impossible to retrieve bootloader release. Please contact Quorva Technical Service at its web "
    "site or support mail address.";

Given Entry(const std::string& answer) {
    return PrinterFaults({Fault::Says(kEntry, Bytes(answer.begin(), answer.end()))});
}
Given UnitSize(unsigned char high, unsigned char low) {
    return Chip({BootFault::Says(Device::kUnitSize, {0x37, 2, high, low, 0})});
}

TEST(UpgradeU2AndU4, Table) {
    const std::string odd = "Wrong response from device! Exit from upgrade procedure...";
    const Given unlisted = [](Rig& rig) { rig.line.bLists = false; };
    const Given ofSixteen = [](Rig& rig) { rig.renesas.unitSize = 16; };
    const Given empty = [](Rig& rig) { rig.package.banks = 0; };
    const Given other = ListedBefore("045B|0025|OTHER\n");
    const Lines noFit{kError, "!" + kSend + "Sending Boot Program Status Inquiry command"};
    const Lines notOpen{kInit + kNotOpen, kInitError, "!" + kResetting};
    for (const auto& [mode, line] : {std::pair{"U2", Line::Usb}, std::pair{"U4", Line::Serial}}) {
        PlayRows(mode,
                 {BootRow("eight other bytes", line, Entry("BOOT_ERR"), kWhole, {"Answer: BOOT_ERR", odd}),
                  BootRow("seven", line, Entry("BOOT_RS"), kNothing, {"Read 7 bytes", kNoEntry}, 15000),
                  BootRow("nine", line, Entry("BOOT_RST!"), kNothing, {"Read 9 bytes", kNoEntry}, 5000),
                  BootRow("late", line, PrinterFaults({Fault::Late(kEntry, 9500)}), kWhole, {kBegin}),
                  BootRow("never there", line, Both(NeverThere(), Times(2)), kNothing, {kNoDevice}, 90000),
                  BootRow("not waited for", line, Times(0), kNothing, {kNoDevice}, 1),
                  BootRow("a list that fails", line, unlisted, kNothing, {kNoDevice}, 45000),
                  BootRow("a list with an empty line", line, ListedBefore("\n"), kWhole, {}),
                  BootRow("the first one is taken", line, other, kNothing, notOpen),
                  BootRow("not opened again", line, FailsOpen(3), kNothing, {kSend + kNotOpen, kError}),
                  BootRow("units of 16", line, ofSixteen, kWhole, {"Programming Size: 16"}),
                  BootRow("units that do not fit", line, UnitSize(0, 48), kNothing, noFit),
                  BootRow("units of nothing", line, UnitSize(0, 0), kNothing, noFit),
                  BootRow("a unit that is too large", line, UnitSize(0x0A, 0), kNothing, noFit),
                  BootRow("no firmware", line, empty, kNothing, {"Upgrade file wrong or incomplete:"}, 1)});
    }
    PlayRows("U4", {BootRow("its port is kept", Line::Ethernet, {}, kNothing, notOpen)});
    for (const Bytes& answer : {Bytes{0x06}, Bytes{0x52, 0x52}, Bytes{}}) {
        const BootFault reset = BootFault::Says(Device::kReset, answer);
        const Given failed = Chip({reset, BootFault::Silence(Device::kLock)});
        const Lines lines{kResetting, "[SendResetCommandUSB]" + kWrong};
        PlayRows("U2", {BootRow("failed, not reset", Line::Usb, failed, kNothing, lines),
                        BootRow("done, not reset", Line::Usb, Chip({reset}), kWhole, lines)});
    }
}

TEST(UpgradeU2AndU4, AUnitIsSentTwiceAtMost) {
    const std::pair<Bytes, std::string> refusals[] = {
        {{0xD0, 0x11}, "ERROR: wrong response: CHECKSUM error!"},
        {{0xD0, 0x2A}, "ERROR: wrong response: ADDRESS error!"},
        {{0xD0, 0x53}, "ERROR: wrong response: PROGRAMMING error!"},
        {{0xD0, 0x06}, "ERROR: Unknown response!"},
        {{0xD0}, "ERROR: wrong response!"},
        {{0x11, 0xD0}, "ERROR: wrong response!"},
    };
    for (const auto& [answer, line] : refusals) {
        for (const int unit : {1, 2, 5}) {
            const std::string retry = "Retry to send " + std::to_string(unit) + " bank!";
            const std::string sent = "Bank " + std::to_string(unit) + " successfully sent!";
            // The unit before it is refused as well: each one has a retry of its own.
            const BootFault before = BootFault::Says(Device::kUnit, answer).Between(unit - 1, unit - 1);
            const int first = unit == 1 ? 1 : unit + 1;
            const auto times = [&](int count) {
                return Chip({before, BootFault(before).Between(first, first + count - 1)});
            };
            PlayRows("U2", {BootRow("once", Line::Usb, times(1), kWhole, {line, retry, sent}),
                            BootRow("twice", Line::Usb, times(2), kNothing,
                                    {line, retry, line, "Exit..", kError, "!" + sent})});
        }
    }
}

struct Dialect {
    const char* mode;
    const char* release;
    Line line;
    bool isNew;
};

const Dialect kDialects[] = {{"U4", "0.99", Line::Serial, false},
                             {"U2", "0.99", Line::Usb, false},
                             {"U2", "1.10", Line::Usb, false},
                             {"U2", "1.00", Line::Usb, true}};

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

Given Speaks(const Dialect& dialect, const Given& also) {
    return [=](Rig& rig) {
        rig.renesas.bootRelease = dialect.release;
        rig.renesas.newDialect = dialect.isNew;
        if (also) also(rig);
    };
}

/// What is tried with one step, whose line is `own`; `reset` is the one that follows when it fails.
void PlayStep(const Dialect& dialect, const Step& step, const std::string& own, const std::string& reset) {
    const auto play = [&](BootFault fault, const RigEnd& end, const Lines& log) {
        const Given given = Chip({fault.Between(step.occurrence, step.occurrence)});
        PlayRows(dialect.mode, {BootRow("step", dialect.line, Speaks(dialect, given), end, log)});
    };
    for (const Bytes& answer : WrongAnswers(step)) {
        // Behind the connection, the chip's mode is told from a wrong answer.
        const bool mode = step.occurrence == 2 && answer.size() == 5 && answer[0] == 0x5F;
        play(BootFault::Says(step.command, answer), kNothing,
             {own, mode ? "ERROR: wrong status mode response! exit..." : kWrong, reset,
              own.rfind(kInit, 0) == 0 ? kInitError : kError});
    }
    // When answers are collected, the clock is looked at between reads of a second each.
    play(BootFault::Late(step.command, std::max<std::uint64_t>(step.collectMs, 1000) - 50), kWhole, {own});
    const int locked = step.command == Device::kLock ? kAll : 0;  // the chip is, in spite of that
    play(BootFault::Late(step.command, step.collectMs + 1050), RigEnd{false, locked, 0}, {own});
}

TEST(UpgradeU2AndU4, EachStepEndsItWhenItFailsOrTakesTooLong) {
    for (const Dialect& dialect : kDialects) {
        const bool resets = std::string(dialect.mode) == "U2";
        const std::vector<Step> steps = StepsOf(dialect);
        Rig whole(dialect.mode, dialect.line, false);
        Speaks(dialect, {})(whole);
        ASSERT_TRUE(whole.Run());
        Lines lines;  // of the steps, and of what follows one that fails
        for (auto at = std::find(whole.log.begin(), whole.log.end(), kBegin); at != whole.log.end(); ++at)
            if (at->find("]Sending ") != std::string::npos) lines.push_back(*at);
        if (!resets)
            lines.push_back("[SendResetCommandUSB]Upgrade Error. Please, restart the printer and retry");
        ASSERT_EQ(lines.size(), steps.size() + 1);
        const int first = CallsOf(whole, "Write") - static_cast<int>(steps.size()) + (resets ? 0 : 1);
        for (std::size_t i = 0; i < steps.size(); ++i) PlayStep(dialect, steps[i], lines[i], lines.back());
        const Given unsent = LineFaults({{"Write", LineFault::kError, first - 1}});
        PlayRows(dialect.mode,
                 {BootRow("not entered", dialect.line, unsent, kNothing, {"Error USB Boot Direct mode"})});
    }
}

}  // namespace

// Procedures U2 and U4: the printer becomes a boot device on USB, which is connected to and programmed unit
// by unit. U4 takes the printer on any port, asks for no release, and leaves the reset to the user.
#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;

constexpr auto kEntry = simulator::Exchange::BootEntry;

const std::string kInit = "[InitConnectRenesasDevice]";
const std::string kBegin = kInit + "Starting connecting operations...";
const std::string kResetting = "[SendResetCommandUSB]Sending Reset command";
const std::string kInitError = "Init Renesas connection Error(1)";
const std::string kError = "[SendFW]Upgrade Error";
const std::string kWrong = "ERROR: wrong response! exit...";
const std::string kNoDevice = "Error waiting renesas device timeout...";

Given Entry(const std::string& answer) {
    return PrinterFaults({Fault::Says(kEntry, Bytes(answer.begin(), answer.end()))});
}

TEST(UpgradeU2AndU4, Table) {
    const std::string odd = "Wrong response from device! Exit from upgrade procedure...";
    const auto slow = [](std::uint64_t ms) { return Chip({BootFault::Late(Device::kProgrammingState, ms)}); };
    const Given empty = [](Rig& rig) { rig.package.banks = 0; };
    const Given odd48 = Chip({BootFault::Says(Device::kUnitSize, {0x37, 2, 0, 48, 0})});
    const Lines noFit{kError, "![StartUpgradeUsb]Sending Boot Program Status Inquiry command"};
    const Lines notOpen{kInit + "Open Renesas device Error", kInitError, "!" + kResetting};
    for (const auto& [mode, line] : {std::pair{"U2", Line::Usb}, std::pair{"U4", Line::Serial}}) {
        PlayRows(mode,
                 {BootRow("eight other bytes", line, Entry("BOOT_ERR"), kWhole, {"Answer: BOOT_ERR", odd}),
                  BootRow("late", line, PrinterFaults({Fault::Late(kEntry, 9500)}), kWhole, {kBegin}),
                  BootRow("never there", line, Both(NeverThere(), Times(2)), kNothing, {kNoDevice}, 90000),
                  BootRow("not waited for", line, Times(0), kNothing, {kNoDevice}, 1),
                  BootRow("units that do not fit", line, odd48, kNothing, noFit),
                  BootRow("no firmware", line, empty, kNothing, {"Upgrade file wrong or incomplete:"}, 1),
                  BootRow("slow to begin", line, slow(29950), kWhole, {}),
                  BootRow("too slow", line, slow(31050), kNothing, {kWrong, kInitError})});
    }
    PlayRows("U4", {BootRow("its port is kept", Line::Ethernet, {}, kNothing, notOpen)});
    const BootFault reset = BootFault::Silence(Device::kReset);
    const Given failed = Chip({reset, BootFault::Silence(Device::kLock)});
    const Lines lines{kResetting, "[SendResetCommandUSB]" + kWrong};
    PlayRows("U2", {BootRow("failed, not reset", Line::Usb, failed, kNothing, lines),
                    BootRow("done, not reset", Line::Usb, Chip({reset}), kWhole, lines)});
}

TEST(UpgradeU2AndU4, AUnitIsSentTwiceAtMost) {
    const std::pair<Bytes, std::string> refusals[] = {
        {{0xD0, 0x11}, "ERROR: wrong response: CHECKSUM error!"},
        {{0xD0, 0x06}, "ERROR: Unknown response!"},
        {{0xD0}, "ERROR: wrong response!"},
    };
    for (const auto& [answer, line] : refusals) {
        // The first unit is refused as well: each one has a retry of its own.
        const std::string retry = "Retry to send 2 bank!", sent = "Bank 2 successfully sent!";
        const BootFault first = BootFault::Says(Device::kUnit, answer).Between(1, 1);
        const auto until = [&](int last) { return Chip({first, BootFault(first).Between(3, last)}); };
        PlayRows("U2", {BootRow("once", Line::Usb, until(3), kWhole, {line, retry, sent}),
                        BootRow("twice", Line::Usb, until(4), kNothing,
                                {line, retry, line, "Exit..", kError, "!" + sent})});
    }
}

TEST(UpgradeU2AndU4, AStepThatIsRefusedEndsIt) {
    std::vector<int> steps{Device::kUnitSize, Device::kProgrammingState, Device::kStatus, Device::kDataBlank,
                           Device::kLock};
    const std::pair<const char*, const char*> dialects[] = {
        {"U4", "0.99"}, {"U2", "0.99"}, {"U2", "1.10"}, {"U2", "1.00"}};
    for (const auto& [mode, release] : dialects) {
        const bool isNew = std::string(release) == "1.00";
        if (release == std::string("1.10")) steps.insert(steps.end(), {Device::kRelease, Device::kSecurity});
        if (isNew) steps.push_back(Device::kSecurityNew);
        for (const int step : steps) {
            SCOPED_TRACE(step);
            const Given given = [=, text = release](Rig& rig) {
                rig.renesas.bootRelease = text;
                rig.renesas.newDialect = isNew;
                rig.renesas.faults = {BootFault::Says(step, {0x15, 0x00})};
            };
            PlayRows(mode, {BootRow("refused", Line::Usb, given, kNothing, {kBegin})});
        }
    }
}

}  // namespace

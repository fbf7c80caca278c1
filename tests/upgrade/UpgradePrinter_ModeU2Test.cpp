// Procedures U2 and U4: the printer becomes a boot device on USB, which is connected to and programmed unit
// by unit. U4 takes the printer on any port, asks for no release, and leaves the reset to the user.
#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using Device = simulator::RenesasBootDevice;

constexpr auto kEntry = simulator::Exchange::BootEntry;

Given Entry(const std::string& answer) {
    return PrinterFaults({Fault::Says(kEntry, Bytes(answer.begin(), answer.end()))});
}

TEST(UpgradeU2AndU4, Table) {
    const auto slow = [](std::uint64_t ms) { return Chip({BootFault::Late(Device::kProgrammingState, ms)}); };
    const Given empty = [](Rig& rig) { rig.package.banks = 0; };
    const Given odd48 = Chip({BootFault::Says(Device::kUnitSize, {0x37, 2, 0, 48, 0})});
    for (const auto& [mode, line] : {std::pair{"U2", Line::Usb}, std::pair{"U4", Line::Serial}}) {
        PlayRows(mode, {BootRow("eight other bytes", line, Entry("BOOT_ERR"), kWhole),
                        BootRow("late", line, PrinterFaults({Fault::Late(kEntry, 9500)}), kWhole),
                        BootRow("silent", line, PrinterFaults({Fault::Silence(kEntry)}), kNothing),
                        BootRow("never there", line, Both(NeverThere(), Times(2)), kNothing),
                        BootRow("not waited for", line, Times(0), kNothing),
                        BootRow("units that do not fit", line, odd48, kNothing),
                        BootRow("no firmware", line, empty, kNothing),
                        BootRow("slow to begin", line, slow(29950), kWhole),
                        BootRow("too slow", line, slow(31050), kNothing)});
    }
    PlayRows("U4", {BootRow("its port is kept", Line::Ethernet, {}, kNothing)});
    const BootFault reset = BootFault::Silence(Device::kReset);
    const Given failed = Chip({reset, BootFault::Silence(Device::kLock)});
    PlayRows("U2", {BootRow("failed, not reset", Line::Usb, failed, kNothing),
                    BootRow("done, not reset", Line::Usb, Chip({reset}), kWhole)});
}

TEST(UpgradeU2AndU4, AUnitIsSentTwiceAtMost) {
    for (const Bytes& answer : {Bytes{0xD0, 0x11}, Bytes{0xD0, 0x06}, Bytes{0xD0}}) {
        // The first unit is refused as well: each one has a retry of its own.
        const BootFault first = BootFault::Says(Device::kUnit, answer).Between(1, 1);
        const auto until = [&](int last) { return Chip({first, BootFault(first).Between(3, last)}); };
        PlayRows("U2", {BootRow("once", Line::Usb, until(3), kWhole, {"Bank 2 successfully sent!"}),
                        BootRow("twice", Line::Usb, until(4), kNothing, {"!Bank 2 successfully sent!"})});
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
            PlayRows(mode, {BootRow("refused", Line::Usb, given, kNothing)});
        }
    }
}

}  // namespace

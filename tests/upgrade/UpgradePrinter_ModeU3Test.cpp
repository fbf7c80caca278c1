// Procedure U3: all banks in one group that nothing answers; what follows depends on the release and the
// port.
#include "harness/Rig.h"

namespace {

const std::string kSame = "Same version: Wait then exit...";
const std::string kNotUsb = "Com or Eth port: Wait then exit...";
const std::string kAway = "Different version: Wait printer reset...";
const std::string kBack = "Different version: Printer reset...";
const std::string kFirst = "Sending bank...1/5 (20%)";
const std::string kProgram = "Sending command to program Flash...";
const Lines kError{"Communication Error! exit...", "Upgrade Error"};

Given Has(const std::string& release) {
    return Printer(&PrinterOptions::release, release);
}
Given IsCut(std::size_t after) {
    return PrinterFaults({Fault::Cut(Exchange::BankGroup, after).At(1)});
}
/// This line, and the error behind it.
Lines Broken(const std::string& line) {
    return {line, kError[0], kError[1]};
}

TEST(UpgradeU3, Table) {
    // A transfer that fails leaves the port's values changed.
    const auto left = [](const Rig& rig) { EXPECT_FALSE(rig.bSettingsBack); };
    const auto slow = Printer(&PrinterOptions::restartMs, std::uint64_t{45000});
    PlayRows("U3", {Row("another release", Line::Ethernet, kBoth, Has("1.07"), kWhole, {kNotUsb}),
                    Row("the same, on USB", Line::Usb, kBoth, Has("1.06"), kWhole, {kSame, "!" + kAway}),
                    Row("the same up to its zero", Line::Serial, kBoth, Has({"1.06\0x", 6}), kWhole, {kSame}),
                    Row("away for long", Line::Usb, kOld, slow, kWhole, {kAway, "!" + kBack}),
                    Row("waited for longer", Line::Usb, kOld, Both(slow, Times(2)), kWhole, {kAway, kBack}),
                    Row("no start command", Line::Usb, kOld, LineFaults({{"Write", LineFault::kError, 12}}),
                        kNothing, Broken("Sending command to start upgrade..."), left),
                    Row("cut in the first bank", Line::Ethernet, kBoth, IsCut(100), RigEnd{false, 0, 1},
                        Broken(kFirst), left),
                    Row("cut in the program command", Line::Ethernet, kBoth, IsCut(1287), RigEnd{false, 0, 1},
                        Broken(kProgram), left),
                    Row("not all has arrived", Line::Serial, kOld, LineFaults({{"Drain"}}),
                        RigEnd{false, kAll, 0}, Broken(kProgram), left)});
}

}  // namespace

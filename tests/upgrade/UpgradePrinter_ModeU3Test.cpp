// Procedure U3: all banks in one group that nothing answers; what follows depends on the release and the
// port.
#include "harness/Rig.h"

namespace {

const std::string kSame = "Same version: Wait then exit...";
const std::string kNotUsb = "Com or Eth port: Wait then exit...";
const std::string kAway = "Different version: Wait printer reset...";
const Lines kBroken{"Sending command to program Flash...", "Communication Error! exit...", "Upgrade Error"};

Given Has(const std::string& release) {
    return Printer(&PrinterOptions::release, release);
}
TEST(UpgradeU3, Table) {
    // A transfer that fails leaves the port's values changed.
    const auto left = [](const Rig& rig) { EXPECT_FALSE(rig.bSettingsBack); };
    const Given cut = PrinterFaults({Fault::Cut(Exchange::BankGroup, 1287).At(1)});
    const auto slow = Printer(&PrinterOptions::restartMs, std::uint64_t{45000});
    PlayRows("U3", {Row("another release", Line::Ethernet, kBoth, Has("1.07"), kWhole, {kNotUsb}),
                    Row("the same, on USB", Line::Usb, kBoth, Has("1.06"), kWhole, {kSame, "!" + kAway}),
                    Row("the same up to its zero", Line::Serial, kBoth, Has({"1.06\0x", 6}), kWhole, {kSame}),
                    Row("away for long", Line::Usb, kOld, slow, kWhole, {kAway}),
                    Row("cut in the program command", Line::Ethernet, kBoth, cut, RigEnd{false, 0, 1},
                        kBroken, left),
                    Row("not all has arrived", Line::Serial, kOld, LineFaults({{"Drain"}}),
                        RigEnd{false, kAll, 0}, kBroken, left)});
}

}  // namespace

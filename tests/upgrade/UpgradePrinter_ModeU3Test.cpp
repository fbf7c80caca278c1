// Procedure U3: all banks in one group that nothing answers; what follows depends on the release and the
// port.
#include "harness/Rig.h"

namespace {

Given Has(const std::string& release) {
    return Printer(&PrinterOptions::release, release);
}
TEST(UpgradeU3, Table) {
    // A transfer that fails leaves the port's values changed.
    const auto left = [](const Rig& rig) { EXPECT_FALSE(rig.bSettingsBack); };
    const Given cut = PrinterFaults({Fault::Cut(Exchange::BankGroup, 1287).At(1)});
    const auto slow = Printer(&PrinterOptions::restartMs, std::uint64_t{45000});
    PlayRows("U3",
             {Row("another release", Line::Ethernet, kBoth, Has("1.07"), kWhole),
              Row("the same, on USB", Line::Usb, kBoth, Has("1.06"), kWhole),
              Row("the same up to its zero", Line::Serial, kBoth, Has({"1.06\0x", 6}), kWhole),
              Row("away for long", Line::Usb, kOld, slow, kWhole),
              Row("cut in the program command", Line::Ethernet, kBoth, cut, RigEnd{false, 0, 1}, {}, left),
              Row("not all has arrived", Line::Serial, kOld, LineFaults({{"Drain"}}), RigEnd{false, kAll, 0},
                  {}, left)});
}

}  // namespace

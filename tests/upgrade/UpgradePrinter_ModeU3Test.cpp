// Procedure U3: all banks in one group that nothing answers; what follows depends on the release and the
// port.
#include "harness/Rig.h"

namespace {

const std::string kTag = "[SendBankFlashGeneric]";
const std::string kSame = kTag + "Same version: Wait then exit...";
const std::string kNotUsb = kTag + "Com or Eth port: Wait then exit...";
const std::string kAway = kTag + "Different version: Wait printer reset...";
const std::string kBack = kTag + "Different version: Printer reset...";
const std::string kStart = kTag + "Sending command to start upgrade...";
const std::string kFirst = kTag + "Sending bank...1/5 (20%)";
const std::string kLast = kTag + "Sending bank...5/5 (100%)";
const std::string kProgram = kTag + "Sending command to program Flash...";
const std::string kLost = kTag + "Communication Error! exit...";
const std::string kError = "[SendFW]Upgrade Error";

constexpr int kStartWrite = 12;  // of a run with the old form

auto Has(const std::string& release) {
    return [release](Rig& rig) { rig.printer.release = release; };
}
auto FailsWrite(int number, LineFault::How how) {
    return [=](Rig& rig) { rig.line.faults = {{"Write", how, number}}; };
}
auto IsCut(std::size_t after) {
    return [=](Rig& rig) { rig.printer.faults = {Fault::Cut(Exchange::BankGroup, after).At(1)}; };
}

TEST(UpgradeU3, Table) {
    // A transfer that fails leaves the port's values changed.
    const auto left = [](const Rig& rig) { EXPECT_FALSE(rig.bSettingsBack); };
    const auto back = [](const Rig& rig) { EXPECT_TRUE(rig.bSettingsBack); };
    PlayRows(
        "U3",
        {Row("another release", Line::Ethernet, kBoth, Has("1.07"), kWhole, {kNotUsb}, back),
         Row("the same and more", Line::Serial, kBoth, Has("1.06b"), kWhole, {kNotUsb}, back),
         Row("the same, on USB", Line::Usb, kBoth, Has("1.06"), kWhole, {kSame, "!" + kAway}, back),
         Row("the same up to its zero", Line::Serial, kBoth, Has({"1.06\0x", 6}), kWhole, {kSame}),
         Row("another, on USB", Line::Usb, kBoth, Has("1.05"), kWhole, {kAway, kBack}, back),
         Row("away for long", Line::Usb, kOld, [](Rig& rig) { rig.printer.restartMs = 45000; }, kWhole,
             {kAway, "!" + kBack}),
         Row("away for long, waited for longer", Line::Usb, kOld,
             [](Rig& rig) {
                 rig.printer.restartMs = 45000;
                 rig.timem = 2;
             },
             kWhole, {kAway, kBack}),
         Row("no start command", Line::Usb, kOld, FailsWrite(kStartWrite, LineFault::kError), Fails(0, 0),
             {kStart, kLost, kError, "!" + kFirst}, left),
         Row("half of the last bank", Line::Serial, kOld, FailsWrite(kStartWrite + 5, LineFault::kShort),
             Fails(0, 0), {kLast, kLost, kError, "!" + kProgram}, left),
         Row("half of the program command", Line::Usb, kOld, FailsWrite(kStartWrite + 6, LineFault::kShort),
             Fails(0, 0), {kProgram, kLost, kError}, left),
         Row("cut in the first bank", Line::Ethernet, kBoth, IsCut(100), Fails(0, 1), {kFirst, kLost, kError},
             left),
         Row("cut in the last bank", Line::Ethernet, kBoth, IsCut(1279), Fails(0, 1), {kLast, kLost, kError},
             left),
         Row("cut in the program command", Line::Ethernet, kBoth, IsCut(1287), Fails(0, 1),
             {kProgram, kLost, kError}, left),
         Row("not all has arrived", Line::Serial, kOld, LineFaults({{"Drain"}}), Fails(kAll, 0),
             {kProgram, kLost, kError}, left),
         Row("gone in the third bank", Line::Usb, kBoth, IsCut(700), Fails(0, 1), {kLost, kError}, left)});
}

}  // namespace

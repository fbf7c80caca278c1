// Procedure U5: a group of three banks of code, a restart, then the data banks one by one, each answered but
// the last.
#include "harness/Rig.h"

namespace {

const std::string kWaitError = "[SendBankFlashDATA]Wait Answer Error";

Given Answers(const Bytes& answer) {
    return PrinterFaults({Fault::Says(Exchange::DataBank, answer).At(1)});
}
Given Late(std::uint64_t ms, int timem = 1) {
    return Both(PrinterFaults({Fault::Late(Exchange::DataBank, ms).At(1)}), Times(timem));
}

TEST(UpgradeU5, Table) {
    const auto renamed = [](Rig& rig) {
        rig.printer.serialInCodePhase = "BOOT7";
        rig.printer.serialAfterUpgrade = "SIM0007";
    };
    const auto away = Printer(&PrinterOptions::restartMs, std::uint64_t{120000});
    PlayRows(
        "U5",
        {Row("another number on USB meanwhile", Line::Usb, kOld, renamed, kWhole),
         Row("0x95 is no answer, what follows one is not looked at", Line::Ethernet, kOld,
             Answers({0x95, 0x00, 0x55, 0xAA, 0x33}), kWhole),
         Row("an answer too late", Line::Ethernet, kOld, Late(61500), RigEnd{false, 4, 0}, {kWaitError}),
         Row("the wait is multiplied", Line::Ethernet, kOld, Late(110000, 2), kWhole, {"!" + kWaitError}),
         Row("a printer on USB that does not restart", Line::Usb, kOld, away, RigEnd{false, 3, 0})});
    for (const unsigned char answer : Bytes{0x33, 0x44, 0x66, 0x77, 0x88, 0x99})
        PlayRows("U5",
                 {Row("refused", Line::Usb, kOld, Answers({0x95, 0x00, answer, 0xAA}), RigEnd{false, 4, 0})});
}

}  // namespace

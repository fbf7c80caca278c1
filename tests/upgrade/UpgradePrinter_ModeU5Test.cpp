// Procedure U5: a group of three banks of code, a restart, then the data banks one by one, each answered but
// the last.
#include "harness/Rig.h"

namespace {

const std::string kTag = "[SendBankFlashDATA]";
const std::string kCode = "[SendBankFlashCODE]";
const std::string kError = "[SendFW]Upgrade Error";
const std::string kLost = "Communication Error! exit...";
const std::string kWaitError = kTag + "Wait Answer Error";

Given Banks(unsigned banks) {
    return [=](Rig& rig) { rig.printer.bankCount = rig.package.banks = banks; };
}
Given Answers(const Bytes& answer) {
    return PrinterFaults({Fault::Says(Exchange::DataBank, answer).At(1)});
}
Given Late(std::uint64_t ms, int timem = 1) {
    return [=](Rig& rig) {
        rig.printer.faults = {Fault::Late(Exchange::DataBank, ms).At(1)};
        rig.timem = timem;
    };
}

TEST(UpgradeU5, Table) {
    const std::string waits = kCode + "Com or Eth port: Wait then exit...";
    const std::string back = kCode + "Different version: Printer reset...";
    const std::string lastAway = kTag + "Different version: Wait printer reset...";
    const std::string lastBack = kTag + "Different version: Printer reset... Done";
    const auto renamed = [](Rig& rig) {
        rig.printer.serialInCodePhase = "BOOT7";
        rig.printer.serialAfterUpgrade = "SIM0007";
    };
    const auto atOnce = [](Rig& rig) {
        rig.timem = 0;
        rig.printer.programMs = rig.printer.restartMs = 0;
    };
    PlayRows(
        "U5",
        {Row("code alone", Line::Ethernet, kBoth, Banks(3), kWhole,
             {waits, "!" + kTag + "Waiting Answer..."}),
         Row("one data bank is the last", Line::Serial, kBoth, Banks(4), kWhole,
             {waits, kTag + "Sending bank...4/4 (100%)", kTag + "Wait than exit...",
              "!" + kTag + "Waiting Answer..."}),
         Row("another number on USB meanwhile", Line::Usb, kOld, renamed, kWhole,
             {"!" + back, kTag + "Sending bank...4/5 (80%)", kTag + "Waiting Answer...", lastAway}),
         Row("the last restart is waited for", Line::Usb, kBoth, {}, kWhole, {back, lastAway, lastBack}),
         Row("the same release goes all the same", Line::Ethernet, kOld,
             Printer(&PrinterOptions::release, std::string("1.06")), kWhole, {waits}),
         Row("0x95 is no answer, what follows one is not looked at", Line::Ethernet, kOld,
             Answers({0x95, 0x00, 0x55, 0xAA, 0x33}), kWhole, {kTag + "Read Answer len: 5"}),
         Row("an answer at the last moment", Line::Ethernet, kOld, Late(60400), kWhole, {"!" + kWaitError}),
         Row("an answer too late", Line::Ethernet, kOld, Late(61500), Fails(4, 0), {kWaitError, kError}),
         Row("the wait is multiplied", Line::Ethernet, kOld, Late(110000, 2), kWhole, {"!" + kWaitError}),
         Row("an answer as the time is up does not count", Line::Ethernet, kOld, atOnce, Fails(4, 0),
             {kTag + "Read Answer len: 1", kWaitError, kError}),
         Row("a printer that does not come back", Line::Ethernet, kOld,
             Printer(&PrinterOptions::restartMs, std::uint64_t{120000}), Fails(3, 0),
             {"[SendFW]ReOpen Error. Retry 9", "[SendFW]ReOpen Error. Num max Retry found. Throw Error",
              kTag + "Sending command to start upgrade...", kTag + kLost, kError}),
         Row("a printer on USB that does not", Line::Usb, kOld,
             Printer(&PrinterOptions::restartMs, std::uint64_t{120000}), Fails(3, 0),
             {kCode + "Different version: Wait printer reset...", "!" + back, kTag + kLost, kError}),
         Row("cut in the code", Line::Ethernet, kBoth,
             PrinterFaults({Fault::Cut(Exchange::BankGroup, 300).At(1)}), Fails(0, 0),
             {kCode + kLost, kError}),
         Row("cut in a data bank", Line::Ethernet, kOld,
             PrinterFaults({Fault::Cut(Exchange::DataBank, 9).At(1)}), Fails(3, 0), {kTag + kLost, kError})});
    const std::pair<unsigned char, const char*> refusals[] = {
        {0x33, "0x33) : ID Module Error"},   {0x44, "0x44) : Module Error"},
        {0x66, "0x66) : Ram Error"},         {0x77, "0x77) : Program Flash Error"},
        {0x88, "0x88) : Clear Flash Error"}, {0x99, "0x99) : Generic Error"}};
    for (const auto& [answer, text] : refusals)
        PlayRows("U5", {Row(text, Line::Usb, kOld, Answers({0x95, 0x00, answer, 0x33}), Fails(3, 0),
                            {kTag + "Read Answer len: 4", kTag + "Answer Error(" + text, kError})});
}

}  // namespace

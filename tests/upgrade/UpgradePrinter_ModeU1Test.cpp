// Procedure U1: the banks in one group, tried four times. A serial or USB printer answers the group, unless
// its settings say otherwise; one on Ethernet is judged by the release that it reports afterwards.
#include "harness/Rig.h"

namespace {

const std::string kDone = "Upgrade Return Status: 1";

std::string Try(int number) {
    return "Error on sending banks. This is the " + std::to_string(number) + "/3 try.";
}
Fault Answers(Bytes answer, int occurrence) {
    return Fault::Says(Exchange::BankGroup, std::move(answer)).At(occurrence);
}
Fault Late(std::uint64_t ms) {
    return Fault::Late(Exchange::BankGroup, ms).At(1);
}
Given Setting(const char* text) {
    return Printer(&PrinterOptions::configuration, std::string(text));
}

TEST(UpgradeU1, AnsweredGroups) {
    const Given threeTries = Both(PrinterFaults({Answers({0x99}, 1), Answers({0x77}, 2), Answers({0x88}, 3)}),
                                  LineFaults({{"ReOpen", LineFault::kError, 2, 10}}));
    const Given fourTries = PrinterFaults({Answers({0x33, 0x33}, 1), Answers({0x99}, 2),
                                           Fault::Silence(Exchange::BankGroup).At(3), Answers({0x77}, 4)});
    PlayRows("U1",
             {Row("taken at the fourth try, and the port stays away", Line::Serial, kOld, threeTries, kWhole,
                  {Try(3), "Answer: NO_ERROR_COM", "!" + Try(4)}),
              Row("four tries at most; a silent failure keeps the text of the one before", Line::Usb, kBoth,
                  fourTries, RigEnd{false, 0, 1}, {Try(4), "!" + kDone}),
              Row("not all has arrived: it is not sent again", Line::Serial, kOld, LineFaults({{"Drain"}}),
                  RigEnd{false, kAll, 0}, {Try(1), "!" + Try(2)}),
              Row("the start of the first group is not sent", Line::Serial, kOld,
                  LineFaults({{"Write", LineFault::kError, 17}}), kWhole, {Try(1)}),
              Row("an answer too late", Line::Serial, kOld, PrinterFaults({Late(108600)}), kWhole, {Try(1)}),
              Row("the time is multiplied", Line::Usb, kOld, Both(Times(2), PrinterFaults({Late(200000)})),
                  kWhole, {"!" + Try(1)})});
    for (const unsigned char answer : Bytes{0x66, 0x55, 0x00})
        PlayRows("U1", {Row("refused for good", Line::Serial, kOld, PrinterFaults({Answers({answer}, 1)}),
                            kNothing, {"!" + Try(1)})});
}

TEST(UpgradeU1, SettingOfAUsbPrinter) {
    const auto release = Printer(&PrinterOptions::release, std::string("1.06"));
    PlayRows("U1", {Row("no answer, the same release", Line::Usb, kOld, Both(Setting("0"), release), kWhole),
                    Row("the first piece that is not empty", Line::Usb, kBoth, Setting(";;0;1"), kWhole)});
}

TEST(UpgradeU1, EthernetIsJudgedByTheRelease) {
    const auto is = [](const char* release) {
        return Printer(&PrinterOptions::release, std::string(release));
    };
    const auto becomes = Printer(&PrinterOptions::releaseAfter, std::string("1.04"));
    const Given silent = PrinterFaults({Fault::Silence(Exchange::Release).At(4)});
    PlayRows("U1", {Row("the same before", Line::Ethernet, kBoth, is("1.06"), kWhole),
                    Row("at last the right one", Line::Ethernet, kOld, silent, kWhole),
                    Row("another one after each try", Line::Ethernet, kOld, becomes, RigEnd{false, kAll, 0},
                        {Try(4)})});
}

}  // namespace

// Procedure U1: the banks in one group, tried four times. A serial or USB printer answers the group, unless
// its settings say otherwise; one on Ethernet is judged by the release that it reports afterwards.
#include "harness/Rig.h"

namespace {

const std::string kFailed = "Upgrade Return Status: 0";
const std::string kDone = "Upgrade Return Status: 1";
const std::string kAnswered = "Answer: NO_ERROR_COM";
const std::string kSomeProblem =
    "Some serious problem occurred during the upgrade process. Please repeat operation.";
const std::string kRepeat = "You have problem during the upgrade procedure.  Please repeat the upgrade.";
const std::string kService =
    "You have a serious problem during upgrade phase. Please send your printer to Quorva Technical Service.";

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
                  {"Programming answer: 0x99", "Answer: ERROR_CECKSUM", kFailed, kRepeat, Try(1),
                   "Answer: ERROR_BANK_NOT_PROGRAMMED", kFailed, kService, Try(2),
                   "Answer: ERROR_BANK_NOT_DELETED", kFailed, kService, Try(3), "ReOpen Error. Retry 9",
                   "ReOpen Error. Num max Retry found. Throw Error", kAnswered, kDone, "!" + Try(4)}),
              Row("four tries at most; a silent failure keeps the text of the one before", Line::Usb, kBoth,
                  fourTries, RigEnd{false, 0, 1},
                  {kSomeProblem, Try(1), kRepeat, Try(2), kRepeat, Try(3), kService, Try(4), "!" + kDone}),
              Row("not all has arrived: it is not sent again", Line::Serial, kOld, LineFaults({{"Drain"}}),
                  RigEnd{false, kAll, 0}, {kSomeProblem, Try(1), "!" + Try(2), "!" + kDone}),
              Row("an answer too late", Line::Serial, kOld, PrinterFaults({Late(108600)}), kWhole, {Try(1)}),
              Row("the time is multiplied", Line::Usb, kOld, Both(Times(2), PrinterFaults({Late(200000)})),
                  kWhole, {kAnswered, "!" + Try(1)})});
    const std::pair<unsigned char, const char*> ends[] = {
        {0x66, "ERROR_BANK_DAMAGED"}, {0x55, "ERROR_SEND_SIGN"}, {0x00, "ERROR_DEFAULT_CASE"}};
    for (const auto& [answer, text] : ends)
        PlayRows("U1", {Row(text, Line::Serial, kOld, PrinterFaults({Answers({answer}, 1)}), kNothing,
                            {std::string("Answer: ") + text, kFailed, "!" + Try(1)})});
}

TEST(UpgradeU1, SettingOfAUsbPrinter) {
    const std::string line = "iUSB_PRG_ANSWER:";
    const std::string away = "Different version: Wait printer reset...";
    const auto release = Printer(&PrinterOptions::release, std::string("1.06"));
    PlayRows("U1", {Row("no answer, the same release", Line::Usb, kOld, Both(Setting("0"), release), kWhole,
                        {line + "0", "Same version: Wait then exit...", kDone, "!" + away}),
                    Row("the first piece that is not empty", Line::Usb, kBoth, Setting(";;0;1"), kWhole,
                        {line + "0", away, "Different version: Printer reset..."})});
}

TEST(UpgradeU1, EthernetIsJudgedByTheRelease) {
    const std::string right = "Upgrade succesfully, version correct. Force NO_ERROR_COM";
    PlayRows("U1", {Row("the same before", Line::Ethernet, kBoth,
                        Printer(&PrinterOptions::release, std::string("1.06")), kWhole,
                        {"Waiting before closing port..", "Same version. Force NO_ERROR_COM", kDone}),
                    Row("at last the right one", Line::Ethernet, kOld,
                        PrinterFaults({Fault::Silence(Exchange::Release).At(4)}), kWhole,
                        {"Read FW Release Error", right, kDone}),
                    Row("another one after each try", Line::Ethernet, kOld,
                        Printer(&PrinterOptions::releaseAfter, std::string("1.04")), RigEnd{false, kAll, 0},
                        {"New FW Release :1.04", "Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED", kFailed,
                         kService, Try(1), kFailed, Try(4)})});
}

}  // namespace

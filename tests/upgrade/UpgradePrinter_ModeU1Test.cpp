// Procedure U1: the banks in one group, tried four times. A serial or USB printer answers the group, unless
// its settings say otherwise; one on Ethernet is judged by the release that it reports afterwards.
#include "harness/Rig.h"

namespace {

const std::string kTag = "[SendBankFlashBanksNew]";
const std::string kFailed = kTag + "Upgrade Return Status: 0";
const std::string kDone = kTag + "Upgrade Return Status: 1";
const std::string kSomeProblem =
    "[SendFW]Some serious problem occurred during the upgrade process. Please repeat operation.";
const std::string kRepeat =
    "[SendFW]You have problem during the upgrade procedure.  Please repeat the upgrade.";
const std::string kService =
    "[SendFW]You have a serious problem during upgrade phase. Please send your printer to Quorva Technical "
    "Service.";
const std::string kNoRelease = kTag + "Read FW Release Error";
const std::string kNotProgrammed = kTag + "Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED";

std::string Try(int number) {
    return "[SendFW]Error on sending banks. This is the " + std::to_string(number) + "/3 try.";
}
std::string Block(const char* what, int number) {
    return kTag + "Sending flash block " + what + "..." + std::to_string(number) + "/5";
}
Fault Answers(Bytes answer, int occurrence) {
    return Fault::Says(Exchange::BankGroup, std::move(answer)).At(occurrence);
}
Fault Late(std::uint64_t ms) {
    return Fault::Late(Exchange::BankGroup, ms).At(1);
}
Given Timem(int timem) {
    return [=](Rig& rig) { rig.timem = timem; };
}
Given Setting(const char* text) {
    return Printer(&PrinterOptions::configuration, std::string(text));
}
/// The inquiries after a group on Ethernet: the 4th of the run and each second one from there.
Given Releases(const std::vector<std::string>& answers) {
    std::vector<Fault> faults;
    for (std::size_t i = 0; i < answers.size(); ++i)
        faults.push_back(Fault::Says(Exchange::Release, Bytes(answers[i].begin(), answers[i].end()))
                             .At(4 + 2 * static_cast<int>(i)));
    for (Fault& fault : faults)
        if (fault.answers[0].empty()) fault.answers.clear();
    return PrinterFaults(faults);
}

TEST(UpgradeU1, AnsweredGroups) {
    const auto back = [](const Rig& rig) { EXPECT_TRUE(rig.bSettingsBack); };
    PlayRows(
        "U1",
        {Row("taken at the fourth try, and the port stays away", Line::Serial, kOld,
             Both(PrinterFaults({Answers({0x99}, 1), Answers({0x77}, 2), Answers({0x88}, 3)}),
                  LineFaults({{"ReOpen", LineFault::kError, 2, 10}})),
             kWhole,
             {kTag + "Programming answer: 0x99", kTag + "Answer: ERROR_CECKSUM", kFailed, kRepeat, Try(1),
              kTag + "Answer: ERROR_BANK_NOT_PROGRAMMED", kFailed, kService, Try(2),
              kTag + "Answer: ERROR_BANK_NOT_DELETED", kFailed, kService, Try(3),
              kTag + "Programming answer: 0xaa", kTag + "ReOpen Error. Retry 9",
              kTag + "ReOpen Error. Num max Retry found. Throw Error", kTag + "Answer: NO_ERROR_COM", kDone,
              "!" + Try(4)},
             back),
         Row("four tries at most; a silent failure keeps the text of the one before", Line::Usb, kBoth,
             PrinterFaults({Answers({0x33, 0x33}, 1), Answers({0x99}, 2),
                            Fault::Silence(Exchange::BankGroup).At(3), Answers({0x77}, 4)}),
             Fails(0, 1),
             {kSomeProblem, Try(1), kRepeat, Try(2), kRepeat, Try(3), kService, Try(4), "!" + kDone}, back),
         Row("damaged", Line::Serial, kBoth, PrinterFaults({Answers({0x66}, 1)}), Fails(0, 1),
             {kTag + "Answer: ERROR_BANK_DAMAGED", kFailed, "!" + Try(1)}),
         Row("signature", Line::Serial, kOld, PrinterFaults({Answers({0x55}, 1)}), Fails(0, 0),
             {kTag + "Answer: ERROR_SEND_SIGN", kFailed, "!" + Try(1)}),
         Row("unknown answer", Line::Serial, kOld, PrinterFaults({Answers({0x00}, 1)}), Fails(0, 0),
             {kTag + "Programming answer: 0x00", kTag + "Answer: ERROR_DEFAULT_CASE", kFailed, "!" + Try(1)}),
         Row("no start command", Line::Serial, kOld, LineFaults({{"Write", LineFault::kError, 12}}),
             Fails(0, 0), {kTag + "ERROR_COMMAND_TO_SEND_BANK", "!" + Try(1), "!" + Block("start", 1)}, back),
         Row("half of the second block", Line::Serial, kOld, LineFaults({{"Write", LineFault::kShort, 14}}),
             kWhole, {Block("end  ", 2), kSomeProblem, Try(1)}, back),
         Row("half of the program command", Line::Serial, kOld,
             LineFaults({{"Write", LineFault::kShort, 18}}), kWhole,
             {Block("end  ", 5), kSomeProblem, Try(1)}, back),
         Row("an answer as the time is up", Line::Serial, kOld, PrinterFaults({Late(107900)}), kWhole,
             {kTag + "Answer: NO_ERROR_COM", "!" + Try(1)}),
         Row("an answer too late", Line::Serial, kOld, PrinterFaults({Late(108600)}), kWhole, {Try(1)}),
         Row("the time is multiplied", Line::Usb, kOld, Both(Timem(2), PrinterFaults({Late(200000)})), kWhole,
             {kTag + "Answer: NO_ERROR_COM", "!" + Try(1)}),
         Row("one read when there is no time", Line::Serial, kOld, Timem(0), kWhole, {kDone, "!" + Try(1)}),
         Row("one read is too short", Line::Serial, kOld, Both(Timem(0), PrinterFaults({Late(1000)})), kWhole,
             {Try(1)})});
}

TEST(UpgradeU1, SettingOfAUsbPrinter) {
    const std::string line = "[StartUpgrade_PSW1]iUSB_PRG_ANSWER:";
    const std::string away = kTag + "Different version: Wait printer reset...";
    const std::string same = kTag + "Same version: Wait then exit...";
    const std::string answered = kTag + "Answer: NO_ERROR_COM";
    const auto release = Printer(&PrinterOptions::release, std::string("1.06"));
    const auto stays = Printer(&PrinterOptions::restartMs, std::uint64_t{60000});
    const auto Takes = [](std::uint64_t ms) { return [=](const Rig& rig) { EXPECT_EQ(rig.namedMs, ms); }; };
    PlayRows("U1", {Row("no answer", Line::Usb, kBoth, Setting("0;7"), kWhole,
                        {away, kTag + "Different version: Printer reset...", kDone, "!" + answered}),
                    Row("no answer, and it stays away", Line::Usb, kOld, Both(Setting("0"), stays), kWhole,
                        {away, kDone}, Takes(30000 + 3000)),
                    Row("no answer, the same release", Line::Usb, kOld, Both(Setting("0"), release), kWhole,
                        {line + "0", same, kDone, "!" + away}, Takes(6000 + 3000)),
                    Row("the first piece that is not empty", Line::Usb, kOld, Setting(";;0;1"), kWhole,
                        {line + "0", away}),
                    Row("another number", Line::Usb, kOld, Setting("2;0"), kWhole, {line + "2", answered}),
                    Row("no number", Line::Usb, kOld, Setting("x;0"), kWhole, {answered, "!" + line + "0"}),
                    Row("it speaks of USB alone", Line::Serial, kOld, Setting("0"), kWhole,
                        {line + "0", answered})});
}

TEST(UpgradeU1, EthernetIsJudgedByTheRelease) {
    const std::string right = kTag + "Upgrade succesfully, version correct. Force NO_ERROR_COM";
    PlayRows(
        "U1",
        {Row("the same before", Line::Ethernet, kBoth, Printer(&PrinterOptions::release, std::string("1.06")),
             kWhole,
             {kTag + "Waiting before closing port..", kTag + "Same version. Force NO_ERROR_COM", kDone}),
         Row("at last the right one", Line::Ethernet, kOld, Releases({"1.06 ", "106", ""}), kWhole,
             {kNoRelease, kNoRelease, kNoRelease, kTag + "New FW Release :1.06", right, kDone}),
         Row("another one after each try", Line::Ethernet, kOld,
             Printer(&PrinterOptions::releaseAfter, std::string("1.04")), Fails(kAll, 0),
             {kTag + "New FW Release :1.04", kNotProgrammed, kFailed, kService, Try(1), kFailed, Try(4)}),
         Row("nine silences are a failed try", Line::Ethernet, kOld, Releases(Lines(9)), kWhole,
             {kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease,
              kNoRelease, kNotProgrammed, kFailed, kService, Try(1), right, kDone}),
         Row("eight are not", Line::Ethernet, kOld, Releases(Lines(8)), kWhole, {right, kDone, "!" + Try(1)}),
         Row("no handshake afterwards", Line::Ethernet, kOld,
             PrinterFaults({Fault::Silence(Exchange::Status).Between(2, Fault::kAlways)}), Fails(kAll, 0),
             {kTag + "Handshake Communication Error", kSomeProblem, Try(1), "!" + kFailed})});
}

}  // namespace

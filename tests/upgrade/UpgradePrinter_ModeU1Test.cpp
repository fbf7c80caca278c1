// Procedure U1: the banks in one group, tried four times. A serial or USB printer answers the group, unless
// its settings say otherwise; one on Ethernet is judged by the release that it reports afterwards.
#include "harness/Rig.h"

namespace {

using simulator::Bytes;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PrinterOptions;

constexpr int kAll = RigRow::kAll;
constexpr auto kOld = RigRow::kOld;
constexpr auto kBoth = RigRow::kBoth;

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
        {
            {"taken at the fourth try, and the port stays away",
             Line::Serial,
             kOld,
             Both(PrinterFaults({Answers({0x99}, 1), Answers({0x77}, 2), Answers({0x88}, 3)}),
                  LineFaults({{"ReOpen", LineFault::kError, 2, 10}})),
             true,
             kAll,
             0,
             {kTag + "Programming answer: 0x99", kTag + "Answer: ERROR_CECKSUM", kFailed, kRepeat, Try(1),
              kTag + "Answer: ERROR_BANK_NOT_PROGRAMMED", kFailed, kService, Try(2),
              kTag + "Answer: ERROR_BANK_NOT_DELETED", kFailed, kService, Try(3),
              kTag + "Programming answer: 0xaa", kTag + "ReOpen Error. Retry 9",
              kTag + "ReOpen Error. Num max Retry found. Throw Error", kTag + "Answer: NO_ERROR_COM", kDone,
              "!" + Try(4)},
             back},
            {"four tries at most; a silent failure keeps the text of the one before",
             Line::Usb,
             kBoth,
             PrinterFaults({Answers({0x33, 0x33}, 1), Answers({0x99}, 2),
                            Fault::Silence(Exchange::BankGroup).At(3), Answers({0x77}, 4)}),
             false,
             0,
             1,
             {kSomeProblem, Try(1), kRepeat, Try(2), kRepeat, Try(3), kService, Try(4), "!" + kDone},
             back},
            {"damaged",
             Line::Serial,
             kBoth,
             PrinterFaults({Answers({0x66}, 1)}),
             false,
             0,
             1,
             {kTag + "Answer: ERROR_BANK_DAMAGED", kFailed, "!" + Try(1)}},
            {"signature",
             Line::Serial,
             kOld,
             PrinterFaults({Answers({0x55}, 1)}),
             false,
             0,
             0,
             {kTag + "Answer: ERROR_SEND_SIGN", kFailed, "!" + Try(1)}},
            {"unknown answer",
             Line::Serial,
             kOld,
             PrinterFaults({Answers({0x00}, 1)}),
             false,
             0,
             0,
             {kTag + "Programming answer: 0x00", kTag + "Answer: ERROR_DEFAULT_CASE", kFailed, "!" + Try(1)}},
            {"no start command",
             Line::Serial,
             kOld,
             LineFaults({{"Write", LineFault::kError, 12}}),
             false,
             0,
             0,
             {kTag + "ERROR_COMMAND_TO_SEND_BANK", "!" + Try(1), "!" + Block("start", 1)},
             back},
            {"half of the second block",
             Line::Serial,
             kOld,
             LineFaults({{"Write", LineFault::kShort, 14}}),
             true,
             kAll,
             0,
             {Block("end  ", 2), kSomeProblem, Try(1)},
             back},
            {"half of the program command",
             Line::Serial,
             kOld,
             LineFaults({{"Write", LineFault::kShort, 18}}),
             true,
             kAll,
             0,
             {Block("end  ", 5), kSomeProblem, Try(1)},
             back},
            {"an answer as the time is up",
             Line::Serial,
             kOld,
             PrinterFaults({Late(107900)}),
             true,
             kAll,
             0,
             {kTag + "Answer: NO_ERROR_COM", "!" + Try(1)}},
            {"an answer too late",
             Line::Serial,
             kOld,
             PrinterFaults({Late(108600)}),
             true,
             kAll,
             0,
             {Try(1)}},
            {"the time is multiplied",
             Line::Usb,
             kOld,
             Both(Timem(2), PrinterFaults({Late(200000)})),
             true,
             kAll,
             0,
             {kTag + "Answer: NO_ERROR_COM", "!" + Try(1)}},
            {"one read when there is no time",
             Line::Serial,
             kOld,
             Timem(0),
             true,
             kAll,
             0,
             {kDone, "!" + Try(1)}},
            {"one read is too short",
             Line::Serial,
             kOld,
             Both(Timem(0), PrinterFaults({Late(1000)})),
             true,
             kAll,
             0,
             {Try(1)}},
        });
}

TEST(UpgradeU1, SettingOfAUsbPrinter) {
    const std::string line = "[StartUpgrade_PSW1]iUSB_PRG_ANSWER:";
    const std::string away = kTag + "Different version: Wait printer reset...";
    const std::string same = kTag + "Same version: Wait then exit...";
    const std::string answered = kTag + "Answer: NO_ERROR_COM";
    const auto release = Printer(&PrinterOptions::release, std::string("1.06"));
    const auto stays = Printer(&PrinterOptions::restartMs, std::uint64_t{60000});
    const auto Takes = [](std::uint64_t ms) { return [=](const Rig& rig) { EXPECT_EQ(rig.namedMs, ms); }; };
    PlayRows("U1",
             {
                 {"no answer",
                  Line::Usb,
                  kBoth,
                  Setting("0;7"),
                  true,
                  kAll,
                  kAll,
                  {away, kTag + "Different version: Printer reset...", kDone, "!" + answered}},
                 {"no answer, and it stays away",
                  Line::Usb,
                  kOld,
                  Both(Setting("0"), stays),
                  true,
                  kAll,
                  0,
                  {away, kDone},
                  Takes(30000 + 3000)},
                 {"no answer, the same release",
                  Line::Usb,
                  kOld,
                  Both(Setting("0"), release),
                  true,
                  kAll,
                  0,
                  {line + "0", same, kDone, "!" + away},
                  Takes(6000 + 3000)},
                 {"the first piece that is not empty",
                  Line::Usb,
                  kOld,
                  Setting(";;0;1"),
                  true,
                  kAll,
                  0,
                  {line + "0", away}},
                 {"another number", Line::Usb, kOld, Setting("2;0"), true, kAll, 0, {line + "2", answered}},
                 {"no number", Line::Usb, kOld, Setting("x;0"), true, kAll, 0, {answered, "!" + line + "0"}},
                 {"it speaks of USB alone",
                  Line::Serial,
                  kOld,
                  Setting("0"),
                  true,
                  kAll,
                  0,
                  {line + "0", answered}},
             });
}

TEST(UpgradeU1, EthernetIsJudgedByTheRelease) {
    const std::string right = kTag + "Upgrade succesfully, version correct. Force NO_ERROR_COM";
    PlayRows(
        "U1",
        {
            {"the same before",
             Line::Ethernet,
             kBoth,
             Printer(&PrinterOptions::release, std::string("1.06")),
             true,
             kAll,
             kAll,
             {kTag + "Waiting before closing port..", kTag + "Same version. Force NO_ERROR_COM", kDone}},
            {"at last the right one",
             Line::Ethernet,
             kOld,
             Releases({"1.06 ", "106", ""}),
             true,
             kAll,
             0,
             {kNoRelease, kNoRelease, kNoRelease, kTag + "New FW Release :1.06", right, kDone}},
            {"another one after each try",
             Line::Ethernet,
             kOld,
             Printer(&PrinterOptions::releaseAfter, std::string("1.04")),
             false,
             kAll,
             0,
             {kTag + "New FW Release :1.04", kNotProgrammed, kFailed, kService, Try(1), kFailed, Try(4)}},
            {"nine silences are a failed try",
             Line::Ethernet,
             kOld,
             Releases(Lines(9)),
             true,
             kAll,
             0,
             {kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease, kNoRelease,
              kNoRelease, kNotProgrammed, kFailed, kService, Try(1), right, kDone}},
            {"eight are not",
             Line::Ethernet,
             kOld,
             Releases(Lines(8)),
             true,
             kAll,
             0,
             {right, kDone, "!" + Try(1)}},
            {"no handshake afterwards",
             Line::Ethernet,
             kOld,
             PrinterFaults({Fault::Silence(Exchange::Status).Between(2, Fault::kAlways)}),
             false,
             kAll,
             0,
             {kTag + "Handshake Communication Error", kSomeProblem, Try(1), "!" + kFailed}},
        });
}

}  // namespace

// Procedures U1, U3 and U5 on every line, with packages of both forms and everything that may be chosen.
#include "endtoend/Scenario.h"

using endtoend::Scenario;
using simulator::Line;
using simulator::PrinterOptions;
using Lines = Scenario::Lines;

namespace {

/// A printer: its procedure and line, the banks of its firmware, and the settings that it reports.
struct Setup {
    const char* procedure;
    Line line;
    unsigned banks;
    std::size_t bankSize;  // 1000: not a multiple of the packets that banks go out in
    const char* configuration = "";
};

const Setup kSetups[] = {{"U1", Line::Serial, 4, 1000, "0;"}, {"U1", Line::Ethernet, 4, 1000},
                         {"U1", Line::Usb, 4, 1000, "1;"},    {"U1", Line::Usb, 4, 1000, "0;"},
                         {"U3", Line::Serial, 8, 4096},       {"U3", Line::Ethernet, 8, 4096},
                         {"U3", Line::Usb, 8, 4096},          {"U5", Line::Serial, 5, 1000},
                         {"U5", Line::Ethernet, 4, 1000},     {"U5", Line::Usb, 5, 1000}};

/// What is brought, and the words that choose of it.
struct Choice {
    const char* release;
    bool newForm;
    unsigned char key;
    char components;
    char multiplier;

    bool Same() const { return std::string(release) == "105"; }
    bool Firmware() const { return components != '2'; }
    bool Modules() const { return newForm && components != '1'; }
    std::string Tag() const { return newForm ? "[StartUpgrade_PSW2]" : "[StartUpgrade_PSW1]"; }
};

const Choice kChoices[] = {
    {"106", true, 0x37, '3', '1'},  {"105", true, 0x38, '3', '2'},  {"106", true, 0xFF, '2', '0'},
    {"105", true, 0x00, '1', '0'},  {"106", true, 0x37, '3', '0'},  {"106", false, 0xFE, '3', '2'},
    {"105", false, 0x37, '1', '1'}, {"106", false, 0x01, '3', '0'}, {"106", false, 0x37, '2', '1'}};

/// Each line of what one operation logs.
Lines Tagged(const char* tag, Lines lines) {
    for (std::string& line : lines) line.insert(0, tag);
    return lines;
}

Lines operator+(Lines some, const Lines& more) {
    some.insert(some.end(), more.begin(), more.end());
    return some;
}

/// A group of banks, judged by the answer, by the release that is there afterwards, or by nothing.
Lines U1Lines(const Setup& setup, const Choice& choice) {
    Lines proof{"Programming answer: 0xaa", "Answer: NO_ERROR_COM"};
    if (setup.line == Line::Ethernet)
        proof = Lines{"Waiting before closing port.."} +
                (choice.Same() ? Lines{"Same version. Force NO_ERROR_COM"}
                               : Lines{"New FW Release :1.06",
                                       "Upgrade succesfully, version correct. Force NO_ERROR_COM"});
    else if (setup.line == Line::Usb && *setup.configuration == '0')
        proof = choice.Same() ? Lines{"Same version: Wait then exit..."}
                              : Lines{"Different version: Wait printer reset..."};
    return Lines{"[SendFW]Sending bank...1"} +
           Tagged("[SendBankFlashBanksNew]",
                  Lines{"Sending flash block start...1/4", "Sending flash block end  ...4/4"} + proof +
                      Lines{"Upgrade Return Status: 1"});
}

/// How a group of banks ends that is not answered. Without waits the printer is not there again.
Lines ResetLines(const Setup& setup, const Choice& choice) {
    if (setup.line != Line::Usb) return {"Com or Eth port: Wait then exit..."};
    if (choice.multiplier == '0') return {"Different version: Wait printer reset..."};
    return {"Different version: Wait printer reset...", "Different version: Printer reset..."};
}

Lines U3Lines(const Setup& setup, const Choice& choice) {
    return Tagged("[SendBankFlashGeneric]",
                  Lines{"Sending bank...1/8 (12%)", "Sending bank...8/8 (100%)"} +
                      (choice.Same() ? Lines{"Same version: Wait then exit..."} : ResetLines(setup, choice)));
}

/// A code group of three banks and the data banks, whose answers are waited for but for the last one.
Lines U5Lines(const Setup& setup, const Choice& choice, unsigned banks) {
    Lines data;
    for (unsigned bank = 4; bank <= banks; ++bank) {
        data.push_back("Sending bank..." + std::to_string(bank) + "/" + std::to_string(banks) + " (" +
                       std::to_string(bank * 100 / banks) + "%)");
        if (bank < banks) data.emplace_back("Waiting Answer...");
    }
    if (banks > 3)
        data.emplace_back(setup.line == Line::Usb ? "Different version: Printer reset... Done"
                                                  : "Wait than exit...");
    return Tagged("[SendBankFlashCODE]", Lines{"Sending bank...1/3 (33%)", "Sending bank...3/3 (100%)"} +
                                             ResetLines(setup, choice)) +
           Tagged("[SendBankFlashDATA]", data);
}

Lines ModuleLines(const Lines& kinds) {
    Lines lines;
    for (const std::string& kind : kinds)
        lines = lines + Tagged("[SendAllModules]", {"Send " + kind + "...", "Programming OK"});
    return lines;
}

/// Everything in its order; U5's modules all follow the firmware.
Lines ExpectedLines(const Setup& setup, const Choice& choice, unsigned banks) {
    const std::string procedure = setup.procedure;
    const std::string tag = choice.Tag();
    const Lines early{"Fonts", "Flash Disk"};
    Lines lines{"[PrnCom_UpgradePrinter]Begin"};
    lines.push_back(std::string("[OpenCommunicationPort]") + (setup.line == Line::Serial ? "COM Port"
                                                              : setup.line == Line::Ethernet
                                                                  ? "ETH Port"
                                                                  : "USB PRN Port"));
    lines = lines + Tagged("[PrnCom_UpgradePrinter]", {"ProtocollDataAvailable OK", "GetUpgradeInfo OK"});
    if (procedure == "U1" && *setup.configuration != '\0')
        lines.push_back(tag + "iUSB_PRG_ANSWER:" + *setup.configuration);
    lines.push_back(tag + (choice.newForm ? "START Upgrade PSW2" : "START Upgrade PSW1"));
    if (choice.newForm && !choice.Modules() && procedure != "U5")
        lines.push_back(tag + "Upgrade Before Modules not enabled in command line arguments ");
    if (choice.Modules() && procedure != "U5") lines = lines + ModuleLines(early);
    if (choice.Firmware()) {
        lines.push_back(tag + "Send Fw...");
        lines = lines + (procedure == "U1"   ? U1Lines(setup, choice)
                         : procedure == "U3" ? U3Lines(setup, choice)
                                             : U5Lines(setup, choice, banks));
        lines.push_back(tag + (choice.newForm || procedure == "U1" ? "Send FW:1" : "Send FW:{0}"));
    } else {
        lines.push_back(tag + "Upgrade FW not enabled in command line arguments ");
    }
    if (choice.Modules() && procedure == "U5") lines = lines + ModuleLines(early);
    if (choice.Modules()) lines = lines + ModuleLines({"Logos"});
    lines.emplace_back(choice.Firmware() || choice.Modules() ? "[PrnCom_UpgradePrinter]End"
                                                             : "[PrnCom_UpgradePrinter]Upgrade Error!");
    return lines;
}

Scenario Upgrade(const Setup& setup, const Choice& choice) {
    const std::string configuration = setup.configuration;
    // Without waits no data bank of U5 succeeds, and no answer on a serial line that takes its time.
    const bool impatient = choice.multiplier == '0';
    const unsigned banks = impatient && std::string(setup.procedure) == "U5" ? 3 : setup.banks;
    Scenario scenario(setup.procedure, setup.line,
                      (configuration.empty() ? "" : "Setting" + configuration.substr(0, 1)) +
                          (choice.newForm ? "NewForm" : "OldForm") + choice.release + "Components" +
                          choice.components + "Multiplier" + choice.multiplier);
    scenario.Banks(banks, setup.bankSize)
        .NewForm(choice.newForm)
        .Release(choice.release, choice.key)
        .With(&PrinterOptions::configuration, configuration)
        .Words({"-c", {choice.components}, "-m", {choice.multiplier}});
    // Nothing is silent here: no answer is lost on a machine that is busy.
    scenario.Starts({endtoend::kRate, 4 * endtoend::kFloorMs, {}});
    // A printer that is back at once, but takes what follows its answer before it goes.
    if (impatient)
        scenario.With(&PrinterOptions::programMs, 0U)
            .With(&PrinterOptions::restartMs, 0U)
            .With(&PrinterOptions::leaveMs, 60000U);
    const Lines lines = ExpectedLines(setup, choice, banks);
    const std::size_t modules = choice.Modules() ? 3 : 0;
    const unsigned held = choice.Firmware() ? banks : 0;
    if (choice.Firmware() || choice.Modules())
        scenario.Logs(lines).Holds(held, modules, choice.Firmware() ? 1 : 0);
    else
        scenario.Fails(lines);
    if (setup.line != Line::Ethernet) scenario.Times("[HandshakeCommunication]Read GSI OK", 0);
    const bool twice = std::string(setup.procedure) == "U5" && held > 3;
    return scenario.Restarts(held == 0 ? 0 : twice ? 2 : 1);
}

std::vector<Scenario> EveryUpgrade() {
    std::vector<Scenario> all;
    for (const Setup& setup : kSetups)
        for (const Choice& choice : kChoices) {
            // Opened again without a wait, a serial line discards the code group of U5.
            const bool discarded = setup.line == Line::Serial && std::string(setup.procedure) == "U5" &&
                                   choice.multiplier == '0' && choice.Firmware();
            if (!discarded) all.push_back(Upgrade(setup, choice));
        }
    return all;
}

class Upgrades : public testing::TestWithParam<Scenario> {};

TEST_P(Upgrades, BringWhatWasChosen) {
    GetParam().Check();
}

INSTANTIATE_TEST_SUITE_P(Every, Upgrades, testing::ValuesIn(EveryUpgrade()), endtoend::NameOf);

}  // namespace

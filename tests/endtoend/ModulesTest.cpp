// Module files: taken, refused, not to be sent, on every line.
#include "endtoend/Scenario.h"

using endtoend::Scenario;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PrinterOptions;
using Lines = Scenario::Lines;
using Scenarios = std::vector<Scenario>;

namespace {

std::string Write(const std::string& line) {
    return "[PrnCom_WriteModule]" + line;
}

Scenario Module(Line line, const std::string& what) {
    return Scenario("U3", line, what).Sends({});
}

/// Whatever the answer, the run ends with success; its line alone tells.
Scenarios EveryAnswer() {
    const std::pair<unsigned char, std::string> answers[] = {
        {0x33, "Answer Error(0x33) : ID Module Error"},
        {0x44, "Answer Error(0x44) : Module Error"},
        {0x66, "Answer Error(0x66) : Ram Error"},
        {0x77, "Answer Error(0x77) : Program Flash Error"},
        {0x88, "Answer Error(0x88) : Clear Flash Error"},
        {0x95, "Answer Error(0x95) : Checksum Error"},
        {0xAA, ""}};
    Scenarios all;
    for (const auto& [answer, own] : answers) {
        all.push_back(Module(Line::Ethernet, "Answer" + std::to_string(answer))
                          .Faults({Fault::Says(Exchange::Module, {0x00, 0x12, answer, 0xAA})})
                          .Logs({Write("Begin"), "[SendModuleToDevice]Waiting Answer...",
                                 "[SendModuleToDevice]Read Answer len: 4", Write("End")}));
        for (const auto& [other, line] : answers)
            if (!line.empty()) all.back().Times("[SendModuleToDevice]" + line, other == answer ? 1 : 0);
    }
    return all;
}

/// Both encoding modes arrive descrambled, whether the printer lists the module or not.
Scenarios EncodingModes() {
    Scenarios all;
    for (const Line line : {Line::Serial, Line::Ethernet, Line::Usb})
        for (const int mode : {0, 1}) {
            simulator::ModuleSample sample;
            sample.encodingMode = mode;
            sample.code = "FNT-77";
            const Lines modules{"DSK-1", mode == 0 ? "FNT-77" : "FNT-7"};
            all.push_back(
                Module(line, "Mode" + std::to_string(mode))
                    .Sends(sample)
                    .With(&PrinterOptions::modules, modules)
                    .Logs({Write(mode == 0 ? "Module supported by this printer"
                                           : "Module not supported by this printer,  proceed anyway!!!"),
                           "[SendModuleToDevice]Waiting Answer...", "[SendModuleToDevice]Read Answer len: 1",
                           Write("End")}));
        }
    all.push_back(Module(Line::Ethernet, "WithoutWaits").Words({"-m", "0"}).Logs({Write("End")}));
    return all;
}

Scenarios NotTaken() {
    return {
        Module(Line::Ethernet, "NotChosen")
            .Words({"-c", "1"})
            .Logs({Write("Upgrade Modules not enabled in command line arguments ")})
            .Holds(0, 0, 0)
            .Asked(Exchange::Module, 0),
        Module(Line::Ethernet, "NotOffered")
            .With(&PrinterOptions::dataAvailable, PrinterOptions::kOffersUpgrade)
            .Fails({Write("Upgrade module not supported!")}),
        Module(Line::Ethernet, "NoList")
            .Faults({Fault::Silence(Exchange::ModulesList)})
            .Fails({Write("Get Modules List Error")}),
        Module(Line::Ethernet, "Cut")
            .Faults({Fault::Cut(Exchange::Module, 5000), Fault::Silence(Exchange::Module)})
            .Logs({"[SendModuleToDevice]Wait Answer Error"})
            .Holds(0, 0, 0)
            .IsLost(),
    };
}

class Modules : public testing::TestWithParam<Scenario> {};

TEST_P(Modules, EndAsTheyShould) {
    GetParam().Check();
}

INSTANTIATE_TEST_SUITE_P(EveryAnswer, Modules, testing::ValuesIn(EveryAnswer()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(EncodingModes, Modules, testing::ValuesIn(EncodingModes()), endtoend::NameOf);
INSTANTIATE_TEST_SUITE_P(NotTaken, Modules, testing::ValuesIn(NotTaken()), endtoend::NameOf);

}  // namespace

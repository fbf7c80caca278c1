// What the program asks a printer before it sends anything, and each way that this fails.
#include "harness/Rig.h"

namespace {

Given Silent(Exchange exchange) {
    return PrinterFaults({Fault::Silence(exchange)});
}
Given Says(Exchange exchange, const std::string& answer) {
    return PrinterFaults({Fault::Says(exchange, {answer.begin(), answer.end()})});
}
Given Refuses(Exchange exchange) {
    return PrinterFaults({Fault::Refusal(exchange, 40)});
}
template <class Member>
Given IsFor(Member simulator::PackageSample::*member, Member value) {
    return [=](Rig& rig) { rig.package.*member = value; };
}

TEST(PrinterComm, EveryFailureHasItsLineItsCodeAndLeavesThePortClosed) {
    const Given module = [](Rig& rig) { rig.module = simulator::ModuleSample(); };
    const std::pair<const char*, Given> both[] = {
        {"Open Error", LineFaults({{"Open", LineFault::kError}})},
        {"Get Prot. release Error", Silent(Exchange::ProtocolVersion)},
        {"Return is a Error Answer 40", Refuses(Exchange::ProtocolVersion)},
        {"Extract SetupItemProtocollVersion Error", Says(Exchange::ProtocolVersion, "\x02<C40><255>\x03")},
        {"NO Get ProtocollDataAvailable Setup", Silent(Exchange::DataAvailable)},
        {"Extract ProtocollDataAvailable Error", Refuses(Exchange::DataAvailable)}};
    const std::pair<const char*, Given> ofUpgrade[] = {
        {"This PSW isn't for this software", IsFor(&simulator::PackageSample::identified, false)},
        {"Upgrade printer not supported!", Printer(&PrinterOptions::dataAvailable, 0xDFU)},
        {"Get Upgrade Info Error", Silent(Exchange::UpgradeInfo)},
        {"Return is a Error Answer 40", Refuses(Exchange::UpgradeInfo)},
        {"Extract UpgradeDataInfo Error", Printer(&PrinterOptions::mode, std::string("U7"))},
        {"Family Compare Error (5,12)", Printer(&PrinterOptions::family, 5)},
        {"Model Compare Error (3,9)", IsFor(&simulator::PackageSample::model, 9)},
        {"Customization Compare Error (1,8)", IsFor(&simulator::PackageSample::customization, 8)}};
    const std::pair<const char*, Given> ofModule[] = {
        {"Upgrade module not supported!", Printer(&PrinterOptions::dataAvailable, 0xFBU)},
        {"Get Modules List Error", Silent(Exchange::ModulesList)},
        {"Extract ModuleItemPrnModuleList Error", Says(Exchange::ModulesList, "\x02<C1><1.00>\x03")}};
    const auto play = [](const char* line, const Given& given) {
        PlayRows("U3", {Row(line, Line::Ethernet, kOld, given, kNothing, {line})});
    };
    for (const auto& [line, given] : both) {
        play(line, given);
        play(line, Both(module, given));
    }
    for (const auto& [line, given] : ofUpgrade) play(line, given);
    for (const auto& [line, given] : ofModule) play(line, Both(module, given));
}

}  // namespace

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
/// The lines of one tag, joined.
std::string LogOf(const Rig& rig, const std::string& tag) {
    Lines lines;
    for (const std::string& line : rig.log)
        if (line.rfind("[" + tag + "]", 0) == 0) lines.push_back(line.substr(tag.size() + 2));
    return Joined(lines);
}

TEST(PrinterComm, EveryFailureHasItsLineItsCodeAndLeavesThePortClosed) {
    const std::string data = "ProtocollDataAvailable OK|";
    const std::string info = data + "GetUpgradeInfo OK|";
    const struct {
        const char* operations;
        Given given;
        std::string log;  // behind "Begin"
        int code;
    } rows[] = {
        {"U", [](Rig& rig) { rig.package.identified = false; }, "This PSW isn't for this software", 22},
        {"UM", LineFaults({{"Open", LineFault::kError}}), "Open Error", 6},
        {"UM", Silent(Exchange::ProtocolVersion), "Get Prot. release Error", 7},
        {"UM", Refuses(Exchange::ProtocolVersion), "Return is a Error Answer 40", 40},
        {"UM", Says(Exchange::ProtocolVersion, "\x02<C40><255>\x03"),
         "Extract SetupItemProtocollVersion Error", 2},
        {"UM", Silent(Exchange::DataAvailable), "NO Get ProtocollDataAvailable Setup", 2},
        {"U", Printer(&PrinterOptions::dataAvailable, 0xDFU), data + "Upgrade printer not supported!", 23},
        {"U", Refuses(Exchange::UpgradeInfo), data + "Return is a Error Answer 40", 40},
        {"U", Printer(&PrinterOptions::mode, std::string("U7")), data + "Extract UpgradeDataInfo Error", 2},
        {"U", Printer(&PrinterOptions::family, 5), info + "Family Compare Error (5,12)", 2},
        {"M", Printer(&PrinterOptions::dataAvailable, 0xFBU), data + "Upgrade module not supported!", 14},
        {"M", Says(Exchange::ModulesList, "\x02<C1><1.00>\x03"),
         data + "Extract ModuleItemPrnModuleList Error", 2},
    };
    for (const auto& row : rows) {
        for (const char operation : std::string(row.operations)) {
            SCOPED_TRACE(operation + (" " + row.log));
            Rig rig("U3", Line::Usb, false);
            const bool module = operation == 'M';
            if (module) rig.module = simulator::ModuleSample();
            row.given(rig);
            EXPECT_FALSE(rig.Run());
            EXPECT_EQ(LogOf(rig, module ? "PrnCom_WriteModule" : "PrnCom_UpgradePrinter"),
                      "Begin|" + row.log);
            EXPECT_EQ(rig.errorCode, row.code);
            EXPECT_TRUE(rig.bClosed);
            EXPECT_TRUE(rig.model->FlashImage().empty() && rig.model->Modules().empty());
        }
    }
}

}  // namespace

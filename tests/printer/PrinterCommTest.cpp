// What the program asks a printer before it sends anything, and each way that this fails.
#include "printer/PrinterComm.h"

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
Given Is(int family, int model, int customization) {
    return [=](Rig& rig) {
        rig.printer.family = family;
        rig.printer.model = model;
        rig.printer.customization = customization;
    };
}
/// An upgrade, a module, the setup header, or the connection check, by its letter; its tag.
std::string Choose(Rig& rig, char operation) {
    if (operation == 'U') return "PrnCom_UpgradePrinter";
    if (operation == 'M') {
        rig.module = simulator::ModuleSample();
        return "PrnCom_WriteModule";
    }
    const bool test = operation == 'T';
    rig.operation = [test](PrinterComm& comm, CComPort* port, CommPortSettings* settings) {
        return test ? comm.Test(port, settings) : comm.PrnCom_ReadSetupData(port, settings);
    };
    return test ? "Test" : "PrnCom_ReadSetupData";
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
        bool leftOpen = false;
    } rows[] = {
        {"U", [](Rig& rig) { rig.package.identified = false; }, "This PSW isn't for this software", 22},
        {"UMST", LineFaults({{"Open", LineFault::kError}}), "Open Error", 6},
        {"UMST", Silent(Exchange::ProtocolVersion), "Get Prot. release Error", 7},
        {"UM", Refuses(Exchange::ProtocolVersion), "Return is a Error Answer 40", 40},
        {"UM", Says(Exchange::ProtocolVersion, "\x02<C40><255>\x03"),
         "Extract SetupItemProtocollVersion Error", 2},
        {"UM", Silent(Exchange::DataAvailable), "NO Get ProtocollDataAvailable Setup", 2},
        {"U", Printer(&PrinterOptions::dataAvailable, 0xDFU), data + "Upgrade printer not supported!", 23},
        {"U", Refuses(Exchange::UpgradeInfo), data + "Return is a Error Answer 40", 40},
        {"U", Printer(&PrinterOptions::mode, std::string("U7")), data + "Extract UpgradeDataInfo Error", 2},
        {"U", Is(5, 9, 9), info + "Family Compare Error (5,12)", 2},
        {"U", PrinterFaults({Fault::Silence(Exchange::Release)}), info + "Upgrade Error!", 2},
        {"M", Printer(&PrinterOptions::dataAvailable, 0xFBU), data + "Upgrade module not supported!", 14},
        {"M", Silent(Exchange::ModulesList), data + "Get Modules List Error", 7},
        {"M", Says(Exchange::ModulesList, "\x02<C1><1.00>\x03"),
         data + "Extract ModuleItemPrnModuleList Error", 2},
        {"S", Silent(Exchange::Status), "Communication Layer: Handshake Error", 0, true},
        {"S", Silent(Exchange::SetupHeader), "Get Cmd_CommandGetHeaderSetup Error", 7},
        {"T", PrinterFaults({Fault::Silence(Exchange::ProtocolVersion).At(2)}), "Get Prot. release Error", 7},
    };
    for (const auto& row : rows) {
        for (const char operation : std::string(row.operations)) {
            SCOPED_TRACE(operation + (" " + row.log));
            Rig rig("U3", Line::Usb, false);
            const std::string tag = Choose(rig, operation);
            row.given(rig);
            EXPECT_FALSE(rig.Run());
            EXPECT_EQ(LogOf(rig, tag), (operation == 'S' || operation == 'T' ? "" : "Begin|") + row.log);
            EXPECT_EQ(rig.errorCode, row.code);
            EXPECT_NE(rig.bClosed, row.leftOpen);
            EXPECT_TRUE(rig.model->FlashImage().empty() && rig.model->Modules().empty());
        }
    }
}

TEST(PrinterComm, OpensThePortThatTheSettingsName) {
    const struct {
        Line line;
        const char *usb, *named, *log;
        bool opens;
    } rows[] = {
        {Line::Serial, "", "/dev/ttyS7|9600|1", "COM Port", true},  // RTS/CTS although none was chosen
        {Line::Ethernet, "", "10.0.0.5|9100", "ETH Port|ETH Port Name: {10.0.0.5}:{9100}", true},
        {Line::Usb, "1234|0205|ABC1", "0205|1", "USB PRN Port", true},
        {Line::Usb, "1234|0205|A|B", "0205|B", "USB PRN Port", false},
        {Line::Usb, "1234|0205", "|", "USB PRN Port", false},  // no second bar: no product
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.named);
        Rig rig("U3", row.line, false);
        Choose(rig, 'T');
        rig.usbName = row.usb;
        EXPECT_EQ(rig.Run(), row.opens);
        EXPECT_EQ(rig.named, row.named);
        EXPECT_EQ(LogOf(rig, "OpenCommunicationPort"),
                  std::string(row.log) + (row.opens ? "" : "|Open Port Error|Error: the reason"));
    }
}

}  // namespace

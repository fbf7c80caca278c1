#include "printer/PrinterComm.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/ScriptedPort.h"
#include "package/PSWHeaderUpgrade.h"
#include "protocol/Commands.h"

namespace {

CommPortSettings Ethernet() {
    CommPortSettings settings;
    settings.type = COMMPORT_ETHERNET;
    std::snprintf(settings.szEthAddress, sizeof settings.szEthAddress, "10.0.0.5");
    settings.iEthPort = 9100;
    return settings;
}

Bytes Frame(const std::string& fields) {
    return BytesOf("\x02" + fields + "\x03");
}

/// A question by its letter, and the answer that lets the exchange go on.
struct Question {
    Bytes request;
    Bytes answer;
};

const std::map<char, Question> kQuestions{
    {'S', {BytesOf(Commands::Cmd_CommandSetESCPOSforSV), {}}},
    {'C', {BytesOf(Commands::Cmd_CommandCAN), {}}},
    {'V', {BytesOf(Commands::Cmd_CommandGetProtVer), Frame("<C1><1.00>")}},
    {'D', {BytesOf(Commands::Cmd_CommandDataAvailable), Frame("<C40><255>")}},
    {'I', {BytesOf(Commands::Cmd_CommandUpgradeInfo), Frame("<C112><U3><><12;3;1>")}},
    {'M', {BytesOf(Commands::Cmd_CommandModulesList), Frame(std::string("<C64><2>DSK\0FNT-1\0", 18))}},
    {'H', {BytesOf(Commands::Cmd_CommandGetHeaderSetup), {}}},
};

/// Plays words such as "S V- D!": what is asked, and behind the letter how the printer answers: nothing as it
/// should, - not at all, ! refuses, ~ not framed, else with those fields.
/// "open-", "hand", "hand-", "reopen", "reopen-" and "close" are calls, which fail with a minus.
void Play(ScriptedPort& port, const std::string& script) {
    std::istringstream words(script);
    for (std::string word; words >> word;) {
        const bool good = word.back() != '-';
        if (word.rfind("open", 0) == 0) {
            port.OnOpen(good);
        } else if (word.rfind("hand", 0) == 0) {
            port.OnHandshake(good);
        } else if (word.rfind("reopen", 0) == 0) {
            port.OnReOpen(good);
        } else if (word == "close") {
            port.OnClose();
        } else {
            const Question& question = kQuestions.at(word[0]);
            const std::string how = word.substr(1);
            port.Expect(question.request);
            if (how == "-") {
                port.Silence(3);
            } else if (how == "!") {
                port.Answer(Frame("<C1>\x15<ERR40>"));
            } else if (how == "~") {
                port.Answer(Bytes{0x15, 0x03});
            } else if (!how.empty()) {
                port.Answer(Frame(how));
            } else if (!question.answer.empty()) {
                port.Answer(question.answer);
            }
        }
    }
}

/// Runs an operation by its letter: an upgrade, one with an anonymous package, a module, the setup header,
/// the connection check. The package has no firmware: nothing is sent.
bool RunOperation(char letter, PrinterComm& printer, CComPort* port) {
    CommPortSettings settings = Ethernet();
    PSWFile package;
    ModuleData module;
    if (letter == 'T') return printer.Test(port, &settings);
    if (letter == 'S') return printer.PrnCom_ReadSetupData(port, &settings);
    if (letter == 'M') return printer.PrnCom_WriteModule(port, &module, &settings, nullptr);
    if (letter == 'U') {
        auto* identity = new PSWHeaderUpgrade;  // the package owns it
        identity->iIDFamily = 12;
        identity->iIDModel = 3;
        identity->iIDCustomization = 1;
        package.Add(identity);
    }
    return printer.PrnCom_UpgradePrinter(port, &package, &settings, &package.pswComponents);
}

TEST(PrinterComm, EveryFailureHasItsLineItsCodeAndLeavesThePortAsItShould) {
    const std::string data = "ProtocollDataAvailable OK|";
    const std::string info = data + "GetUpgradeInfo OK|";
    const struct {
        const char* operations;
        std::string script, log;  // the log behind "Begin"
        int code;
    } rows[] = {
        {"A", "", "This PSW isn't for this software", 22},
        {"UMST", "open-", "Open Error", 6},
        {"UMT", "S V- close", "Get Prot. release Error", 7},
        {"UM", "S V! close", "Return is a Error Answer 40", 40},
        {"UM", "S V~ close", "Return is a Error Answer 13", 13},
        {"UM", "S V<C40><255> close", "Extract SetupItemProtocollVersion Error", 2},
        {"UM", "S V D- close", "NO Get ProtocollDataAvailable Setup", 2},
        {"UM", "S V D! close", "Extract ProtocollDataAvailable Error", 2},
        {"U", "S V D<C40><223> close", data + "Upgrade printer not supported!", 23},
        {"U", "S V D I- close", data + "Get Upgrade Info Error", 23},
        {"U", "S V D I! close", data + "Return is a Error Answer 40", 40},
        {"U", "S V D I<C112><U7><><12;3;1> close", data + "Extract UpgradeDataInfo Error", 2},
        {"U", "S V D I<C112><U3><><5;9;9> close", info + "Family Compare Error (5,12)", 2},
        {"U", "S V D I<C112><U3><><12;4;9> close", info + "Model Compare Error (4,3)", 2},
        {"U", "S V D I<C112><U3><><0;0;2> close", info + "Customization Compare Error (2,1)", 2},
        {"U", "S V D I close close", info + "Upgrade Error!", 2},  // the engine closes it as well
        {"M", "S V D<C40><251> close", data + "Upgrade module not supported!", 14},
        {"M", "S V D M- close", data + "Get Modules List Error", 7},
        {"M", "S V D M! close", data + "Return is a Error Answer 40", 40},
        {"M", "S V D M<C1><1.00> close", data + "Extract ModuleItemPrnModuleList Error", 2},
        {"S", "hand-", "Communication Layer: Handshake Error", 0},
        {"S", "hand C V- close", "Get Prot. release Error", 7},
        {"S", "hand C V reopen- C H- close", "Get Cmd_CommandGetHeaderSetup Error", 7},
        {"T", "S V reopen- S V- close", "Get Prot. release Error", 7},
    };
    for (const auto& row : rows) {
        for (const char letter : std::string(row.operations)) {
            SCOPED_TRACE(letter + (" " + row.script));
            VirtualClock clock;
            ScriptedPort port(&clock);
            Play(port, row.script);
            PrinterComm printer(3, 1);
            LogCapture log;
            EXPECT_FALSE(RunOperation(letter, printer, &port));
            EXPECT_EQ(Joined(log.Take(letter == 'S'   ? "PrnCom_ReadSetupData"
                                      : letter == 'T' ? "Test"
                                      : letter == 'M' ? "PrnCom_WriteModule"
                                                      : "PrnCom_UpgradePrinter")),
                      (letter == 'S' || letter == 'T' ? "" : "Begin|") + row.log);
            EXPECT_EQ(printer.iErrorCode, row.code);
            EXPECT_EQ(port.Calls("Close") != 0, row.script.find("close") != std::string::npos);
        }
    }
}

TEST(PrinterComm, OpensThePortThatTheSettingsName) {
    const std::string failed = "|Open Port Error|Error: the reason";
    const struct {
        COMMPORTTYPE type;
        const char* usb;
        const char* named;
        std::string log;
    } rows[] = {
        {COMMPORT_SERIAL, "", "/dev/ttyS7:9600:1", "COM Port"},  // RTS/CTS although none was chosen
        {COMMPORT_ETHERNET, "", "10.0.0.5:9100", "ETH Port|ETH Port Name: {10.0.0.5}:{9100}"},
        {COMMPORT_USB, "1234|0205|ABC1", "0205|1", "USB PRN Port"},
        {COMMPORT_USB_TOO, "1234|0205|A|B", "0205|B", "USB PRN Port"},
        {COMMPORT_USB, "||x", "|x", "USB PRN Port"},
        {COMMPORT_USB, "1234|0205|", "0205|", "USB PRN Port"},
        {COMMPORT_USB, "1234|0205", "|", "USB PRN Port"},  // no second bar: no product
        {COMMPORT_USB, "1234", "|", "USB PRN Port"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.log + row.usb);
        CommPortSettings settings = Ethernet();
        settings.type = row.type;
        std::snprintf(settings.szSerDevice, sizeof settings.szSerDevice, "/dev/ttyS7");
        settings.iBaudrate = 9600;
        std::snprintf(settings.szUsbDevice, sizeof settings.szUsbDevice, "%s", row.usb);
        LogCapture log;
        // Not named, named but not opened, opened.
        for (const int steps : {0, 1, 2}) {
            ScriptedPort port(nullptr, row.type);
            std::snprintf(port.szLastError, sizeof port.szLastError, "the reason");
            port.OnInit(steps > 0);
            if (steps > 0) port.OnOpen(steps > 1);
            EXPECT_EQ(PrinterComm(3, 1).OpenCommunicationPort(&port, &settings), steps > 1);
            EXPECT_EQ(port.named, row.named);
            EXPECT_EQ(port.uiTimeoutRX, steps > 1 && row.type == COMMPORT_SERIAL ? 1000U : 500U);
            EXPECT_EQ(Joined(log.Take("OpenCommunicationPort")), row.log + (steps > 1 ? "" : failed));
        }
    }
    CommPortSettings none;
    LogCapture log;
    ScriptedPort port;
    EXPECT_FALSE(PrinterComm(3, 1).OpenCommunicationPort(&port, &none));
    EXPECT_EQ(log.Take("OpenCommunicationPort"), Lines{"Port Invalid"});
}

TEST(PrinterComm, TheConnectionCheckAsksTwice) {
    ScriptedPort port;
    PrinterComm printer(3, 1);
    Play(port, "S V reopen S V close");
    EXPECT_TRUE(RunOperation('T', printer, &port));
}

TEST(PrinterComm, PrintsTheSetupHeaderByteByByte) {
    for (const auto& [answer, printed] : std::map<std::string, std::string>{
             {{"A\0B\x03", 4}, "A\nB\x03"}, {{"1234567\0abc\0\x03", 13}, "1234567\n\nabc\n\x03"}}) {
        ScriptedPort port;
        PrinterComm printer(3, 1);
        Play(port, "hand C V reopen C H");
        port.Answer(answer);
        testing::internal::CaptureStdout();
        EXPECT_TRUE(RunOperation('S', printer, &port));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
        EXPECT_EQ(port.Calls("Close"), 0);
    }
}

TEST(PrinterComm, AModuleIsSentWhateverTheListSays) {
    CommPortSettings settings = Ethernet();
    const std::string known = "Module supported by this printer|";
    const struct {
        const char* code;
        int length, components;
        std::string log;
    } rows[] = {{"FNT-1", 2048000, 3, known},
                {"FNT-1", 2048001, 2, known + "Add Timeout : 40000|"},
                {"FNT", 10, 3, "Module not supported by this printer,  proceed anyway!!!|"},
                {"DSK", 4096000, 1,
                 known + "Add Timeout : 80000|Upgrade Modules not enabled in command line arguments |"}};
    for (const auto& row : rows) {
        LogCapture log;
        ScriptedPort port;
        Play(port, row.components == 1 ? "S V D M C" : "S V D M C hand- close");
        ModuleData module;
        std::snprintf(module.strCode, sizeof module.strCode, "%s", row.code);
        module.iModuleLength = row.length;
        EXPECT_TRUE(PrinterComm(row.components, 1).PrnCom_WriteModule(&port, &module, &settings, nullptr));
        EXPECT_EQ(Joined(log.Take("PrnCom_WriteModule")),
                  "Begin|ProtocollDataAvailable OK|ModuleItemPrnModuleList OK|" + row.log + "End");
    }
}

}  // namespace

#include "printer/PrinterComm.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/ScriptedPort.h"
#include "package/PSWHeaderUpgrade.h"
#include "protocol/Commands.h"

namespace {

using Lines = std::vector<std::string>;

constexpr int kSilentReads = 3;  // of one answer that never comes

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
const Bytes kVersion100 = Frame("<C1><1.00>");
const Bytes kOffersAll = Frame("<C40><255>");

struct OpenCase {
    COMMPORTTYPE type;
    const char* named;
    Lines log;
};

TEST(PrinterComm, OpensThePortThatTheSettingsName) {
    CommPortSettings settings = Ethernet();
    std::snprintf(settings.szSerDevice, sizeof settings.szSerDevice, "/dev/ttyS7");
    settings.iBaudrate = 9600;
    settings.iFlowControl = 0;
    std::snprintf(settings.szUsbDevice, sizeof settings.szUsbDevice, "1234|0205|ABC1");
    const OpenCase cases[] = {
        {COMMPORT_SERIAL, "/dev/ttyS7:9600:1", {"COM Port"}},  // RTS/CTS although none was chosen
        {COMMPORT_ETHERNET, "10.0.0.5:9100", {"ETH Port", "ETH Port Name: {10.0.0.5}:{9100}"}},
        {COMMPORT_USB, "0205|1", {"USB PRN Port"}},
        {COMMPORT_USB_TOO, "0205|1", {"USB PRN Port"}},
    };
    for (const OpenCase& c : cases) {
        SCOPED_TRACE(c.type);
        settings.type = c.type;
        LogCapture log;
        ScriptedPort port(nullptr, c.type);
        port.uiTimeoutRX = 1000;
        EXPECT_TRUE(PrinterComm(3, 1).OpenCommunicationPort(&port, &settings));
        EXPECT_EQ(port.named, c.named);
        EXPECT_EQ(port.uiTimeoutRX, c.type == COMMPORT_SERIAL ? 2000U : 1000U);
        EXPECT_EQ(log.Take("OpenCommunicationPort"), c.log);
    }
}

TEST(PrinterComm, SaysWhyAPortDidNotOpen) {
    CommPortSettings settings = Ethernet();
    const Lines failed{"ETH Port", "ETH Port Name: {10.0.0.5}:{9100}", "Open Port Error",
                       "Error: the reason"};
    for (const bool named : {false, true}) {
        LogCapture log;
        ScriptedPort port;
        std::snprintf(port.szLastError, sizeof port.szLastError, "the reason");
        port.OnInit(named);
        if (named) port.OnOpen(false);
        EXPECT_FALSE(PrinterComm(3, 1).OpenCommunicationPort(&port, &settings));
        EXPECT_EQ(log.Take("OpenCommunicationPort"), failed);
    }
    settings.type = COMMPORT_NONE;
    LogCapture log;
    ScriptedPort port;
    EXPECT_FALSE(PrinterComm(3, 1).OpenCommunicationPort(&port, &settings));
    EXPECT_EQ(log.Take("OpenCommunicationPort"), Lines{"Port Invalid"});
}

TEST(PrinterComm, UsbNamesAreSplitAtTheFirstTwoBars) {
    struct Case {
        std::string name, vid, pid, serial;
    };
    const Case cases[] = {{"1234|0205|ABC1", "1234", "0205", "ABC1"},
                          {"1234|0205|A|B", "1234", "0205", "A|B"},
                          {"1234|0205|", "1234", "0205", ""},
                          {"1234|0205", "1234", "", ""},
                          {"1234|", "1234", "", ""},
                          {"1234", "", "", ""},
                          {"||x", "", "", "x"},
                          {"", "", "", ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        char vid[512] = "v";
        char pid[512] = "p";
        char serial[512] = "s";
        PrinterComm::ExtractUsbParamsFromName(c.name.c_str(), vid, pid, serial);
        EXPECT_EQ(vid, c.vid);
        EXPECT_EQ(pid, c.pid);
        EXPECT_EQ(serial, c.serial);
    }
}

/// The start of every exchange.
ScriptedPort& AskVersion(ScriptedPort& port) {
    return port.Expect(Commands::Cmd_CommandSetESCPOSforSV).Expect(Commands::Cmd_CommandGetProtVer);
}

TEST(PrinterComm, TheConnectionCheckAsksTwice) {
    CommPortSettings settings = Ethernet();
    for (const int answers : {0, 1, 2}) {
        SCOPED_TRACE(answers);
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        for (int round = 0; round < 2 && round <= answers; ++round) {
            if (round == 1) port.OnReOpen();
            AskVersion(port);
            if (round < answers)
                port.Answer(kVersion100);
            else
                port.Silence(kSilentReads);
        }
        PrinterComm printer(3, 1);
        EXPECT_EQ(printer.Test(&port, &settings), answers == 2);
        EXPECT_EQ(printer.iErrorCode, answers == 2 ? 0 : 7);
        EXPECT_EQ(log.Take("Test"), answers == 2 ? Lines{} : Lines{"Get Prot. release Error"});
        EXPECT_EQ(port.Calls("Close"), 1);
    }
}

TEST(PrinterComm, PrintsTheSetupHeaderByteByByte) {
    CommPortSettings settings = Ethernet();
    struct Case {
        Bytes answer;
        const char* printed;
    };
    const Case cases[] = {{BytesOf(std::string("A\0B", 3)) + Bytes{0x03}, "A\nB\x03"},
                          {BytesOf(std::string("1234567\0abc\0", 12)) + Bytes{0x03}, "1234567\n\nabc\n\x03"}};
    for (const Case& c : cases) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        port.OnHandshake()
            .Expect(Commands::Cmd_CommandCAN)
            .Expect(Commands::Cmd_CommandGetProtVer)
            .Answer(kVersion100)
            .OnReOpen()
            .Expect(Commands::Cmd_CommandCAN)
            .Expect(Commands::Cmd_CommandGetHeaderSetup)
            .Answer(c.answer);
        testing::internal::CaptureStdout();
        EXPECT_TRUE(PrinterComm(3, 1).PrnCom_ReadSetupData(&port, &settings));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed);
        EXPECT_EQ(port.Calls("Close"), 0);
    }
}

struct FailureCase {
    const char* name;
    std::function<void(ScriptedPort&)> script;
    Lines log;
    int code;
    int closes;
};

TEST(PrinterComm, SetupHeaderFailures) {
    const auto asked = [](ScriptedPort& port) -> ScriptedPort& {
        return port.OnHandshake().Expect(Commands::Cmd_CommandCAN).Expect(Commands::Cmd_CommandGetProtVer);
    };
    const FailureCase cases[] = {
        {"port", [](ScriptedPort& port) { port.OnOpen(false); }, {"Open Error"}, 6, 0},
        {"handshake",
         [](ScriptedPort& port) { port.OnHandshake(false); },
         {"Communication Layer: Handshake Error"},
         0,
         0},
        {"version",
         [&](ScriptedPort& port) { asked(port).Silence(kSilentReads); },
         {"Get Prot. release Error"},
         7,
         1},
        {"header",
         [&](ScriptedPort& port) {
             asked(port)
                 .Answer(kVersion100)
                 .OnReOpen(false)
                 .Expect(Commands::Cmd_CommandCAN)
                 .Expect(Commands::Cmd_CommandGetHeaderSetup)
                 .Silence(kSilentReads);
         },
         {"Get Cmd_CommandGetHeaderSetup Error"},
         7,
         1}};
    CommPortSettings settings = Ethernet();
    for (const FailureCase& c : cases) {
        SCOPED_TRACE(c.name);
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        c.script(port);
        PrinterComm printer(3, 1);
        EXPECT_FALSE(printer.PrnCom_ReadSetupData(&port, &settings));
        EXPECT_EQ(log.Take("PrnCom_ReadSetupData"), c.log);
        EXPECT_EQ(printer.iErrorCode, c.code);
        EXPECT_EQ(port.Calls("Close"), c.closes);
    }
}

/// One question of a longer exchange and the bytes that answer it; no bytes for silence.
struct Step {
    std::array<unsigned char, 3> request;
    Bytes answer;
};

void Play(ScriptedPort& port, const std::vector<Step>& steps) {
    port.Expect(Commands::Cmd_CommandSetESCPOSforSV);
    for (const Step& step : steps) {
        port.Expect(step.request);
        if (step.answer.empty())
            port.Silence(kSilentReads);
        else
            port.Answer(step.answer);
    }
}

struct ExchangeCase {
    const char* name;
    std::vector<Step> steps;
    Lines log;
    int code;
};

const Step kAskVersion{Commands::Cmd_CommandGetProtVer, kVersion100};
const Step kAskData{Commands::Cmd_CommandDataAvailable, kOffersAll};
constexpr auto kAskInfo = Commands::Cmd_CommandUpgradeInfo;
constexpr auto kAskModules = Commands::Cmd_CommandModulesList;
const Bytes kRefusal = Frame("<C1>\x15<ERR40>");

/// Questions that upgrade and module download ask alike, with each way in which they end the exchange.
std::vector<ExchangeCase> CommonFailures() {
    return {{"no version", {{Commands::Cmd_CommandGetProtVer, {}}}, {"Begin", "Get Prot. release Error"}, 7},
            {"version refused",
             {{Commands::Cmd_CommandGetProtVer, kRefusal}},
             {"Begin", "Return is a Error Answer 40"},
             40},
            {"version of another kind",
             {{Commands::Cmd_CommandGetProtVer, kOffersAll}},
             {"Begin", "Extract SetupItemProtocollVersion Error"},
             2},
            {"version not framed",
             {{Commands::Cmd_CommandGetProtVer, Bytes{0x15, 0x03}}},
             {"Begin", "Return is a Error Answer 13"},
             13},
            {"no data",
             {kAskVersion, {Commands::Cmd_CommandDataAvailable, {}}},
             {"Begin", "NO Get ProtocollDataAvailable Setup"},
             2},
            {"data refused",
             {kAskVersion, {Commands::Cmd_CommandDataAvailable, kRefusal}},
             {"Begin", "Extract ProtocollDataAvailable Error"},
             2}};
}

TEST(PrinterComm, UpgradeFailuresLeaveTheirCode) {
    const auto info = [](const std::string& text) { return Step{kAskInfo, Frame("<C112>" + text)}; };
    const Lines began{"Begin", "ProtocollDataAvailable OK"};
    const auto after = [&](Lines more) {
        more.insert(more.begin(), began.begin(), began.end());
        return more;
    };
    std::vector<ExchangeCase> cases = CommonFailures();
    cases.insert(cases.end(),
                 {{"not offered",
                   {kAskVersion, {Commands::Cmd_CommandDataAvailable, Frame("<C40><223>")}},
                   after({"Upgrade printer not supported!"}),
                   23},
                  {"no info", {kAskVersion, kAskData, {kAskInfo, {}}}, after({"Get Upgrade Info Error"}), 23},
                  {"info refused",
                   {kAskVersion, kAskData, {kAskInfo, kRefusal}},
                   after({"Return is a Error Answer 40"}),
                   40},
                  {"info of no mode",
                   {kAskVersion, kAskData, info("<U7><><12;3;1>")},
                   after({"Extract UpgradeDataInfo Error"}),
                   2},
                  {"family",
                   {kAskVersion, kAskData, info("<U3><><5;9;9>")},
                   after({"GetUpgradeInfo OK", "Family Compare Error (5,12)"}),
                   2},
                  {"model",
                   {kAskVersion, kAskData, info("<U3><><12;4;9>")},
                   after({"GetUpgradeInfo OK", "Model Compare Error (4,3)"}),
                   2},
                  {"customization",
                   {kAskVersion, kAskData, info("<U3><><0;0;2>")},
                   after({"GetUpgradeInfo OK", "Customization Compare Error (2,1)"}),
                   2},
                  {"engine",  // a package without firmware, of the old form: nothing to send
                   {kAskVersion, kAskData, info("<U3><><12;3;1>")},
                   after({"GetUpgradeInfo OK", "Upgrade Error!"}),
                   2}});

    CommPortSettings settings = Ethernet();
    for (const ExchangeCase& c : cases) {
        SCOPED_TRACE(c.name);
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        Play(port, c.steps);
        PSWFile package;
        auto* identity = new PSWHeaderUpgrade;  // the package owns it
        identity->iIDFamily = 12;
        identity->iIDModel = 3;
        identity->iIDCustomization = 1;
        package.Add(identity);
        PrinterComm printer(3, 1);
        EXPECT_FALSE(printer.PrnCom_UpgradePrinter(&port, &package, &settings, &package.pswComponents));
        EXPECT_EQ(log.Take("PrnCom_UpgradePrinter"), c.log);
        EXPECT_EQ(printer.iErrorCode, c.code);
        EXPECT_GE(port.Calls("Close"), 1);
    }
}

TEST(PrinterComm, AnUpgradeNeedsIdentityAndPort) {
    CommPortSettings settings = Ethernet();
    PSWFile package;
    LogCapture log;
    ScriptedPort port;
    PrinterComm printer(3, 1);
    EXPECT_FALSE(printer.PrnCom_UpgradePrinter(&port, &package, &settings, &package.pswComponents));
    EXPECT_EQ(printer.iErrorCode, 22);
    EXPECT_EQ(port.Calls("Init"), 0);
    package.Add(new PSWHeaderUpgrade);
    port.OnOpen(false);
    EXPECT_FALSE(printer.PrnCom_UpgradePrinter(&port, &package, &settings, &package.pswComponents));
    EXPECT_EQ(printer.iErrorCode, 6);
    EXPECT_EQ(log.Take("PrnCom_UpgradePrinter"),
              (Lines{"Begin", "This PSW isn't for this software", "Begin", "Open Error"}));
}

TEST(PrinterComm, ModuleFailuresLeaveTheirCode) {
    std::vector<ExchangeCase> cases = CommonFailures();
    cases.insert(cases.end(),
                 {{"not offered",
                   {kAskVersion, {Commands::Cmd_CommandDataAvailable, Frame("<C40><251>")}},
                   {"Begin", "ProtocollDataAvailable OK", "Upgrade module not supported!"},
                   14},
                  {"no list",
                   {kAskVersion, kAskData, {kAskModules, {}}},
                   {"Begin", "ProtocollDataAvailable OK", "Get Modules List Error"},
                   7},
                  {"list refused",
                   {kAskVersion, kAskData, {kAskModules, kRefusal}},
                   {"Begin", "ProtocollDataAvailable OK", "Return is a Error Answer 40"},
                   40},
                  {"list of another kind",
                   {kAskVersion, kAskData, {kAskModules, kVersion100}},
                   {"Begin", "ProtocollDataAvailable OK", "Extract ModuleItemPrnModuleList Error"},
                   2}});
    CommPortSettings settings = Ethernet();
    for (const ExchangeCase& c : cases) {
        SCOPED_TRACE(c.name);
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        Play(port, c.steps);
        ModuleData module;
        PrinterComm printer(3, 1);
        EXPECT_FALSE(printer.PrnCom_WriteModule(&port, &module, &settings, nullptr));
        EXPECT_EQ(log.Take("PrnCom_WriteModule"), c.log);
        EXPECT_EQ(printer.iErrorCode, c.code);
        EXPECT_EQ(port.Calls("Close"), 1);
    }
}

TEST(PrinterComm, AModuleIsSentWhateverTheListSays) {
    CommPortSettings settings = Ethernet();
    struct Case {
        const char* code;
        int length, components;
        Lines log;
    };
    const char* const known = "Module supported by this printer";
    const char* const unknown = "Module not supported by this printer,  proceed anyway!!!";
    const Case cases[] = {
        {"FNT-1", 2048000, 3, {known}},
        {"FNT-1", 2048001, 2, {known, "Add Timeout : 40000"}},
        {"FNT", 10, 3, {unknown}},
        {"DSK",
         4096000,
         1,
         {known, "Add Timeout : 80000", "Upgrade Modules not enabled in command line arguments "}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.code + std::to_string(c.length));
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        Play(port, {kAskVersion, kAskData, {kAskModules, Frame(std::string("<C64><2>DSK\0FNT-1\0", 19))}});
        port.Expect(Commands::Cmd_CommandCAN);
        const bool sends = (c.components & 2) != 0;
        if (sends) port.OnHandshake(false);
        ModuleData module;
        std::snprintf(module.strCode, sizeof module.strCode, "%s", c.code);
        module.iModuleLength = c.length;
        PrinterComm printer(c.components, 1);
        EXPECT_TRUE(printer.PrnCom_WriteModule(&port, &module, &settings, nullptr));
        Lines expected{"Begin", "ProtocollDataAvailable OK", "ModuleItemPrnModuleList OK"};
        expected.insert(expected.end(), c.log.begin(), c.log.end());
        expected.push_back("End");
        EXPECT_EQ(log.Take("PrnCom_WriteModule"), expected);
        EXPECT_EQ(port.Calls("Close"), sends ? 1 : 0);  // a failed handshake closes it
    }
}

}  // namespace

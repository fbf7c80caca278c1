#include "printer/PrinterComm.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "package/PSWHeaderUpgrade.h"
#include "port/UsbDevices.h"
#include "protocol/Commands.h"
#include "protocol/ModuleItemPrnModuleList.h"
#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/ProtocollFields.h"
#include "protocol/UpgradeDataInfo.h"
#include "support/Log.h"
#include "support/Owned.h"
#include "upgrade/UpgradePrinter.h"

namespace {

// Codes that `iErrorCode` takes besides the printer's own.
constexpr int kErrorNotAccepted = 2;
constexpr int kErrorPortNotOpened = 6;
constexpr int kErrorNoAnswer = 7;
constexpr int kErrorModulesNotSupported = 14;
constexpr int kErrorWrongPackage = 22;
constexpr int kErrorUpgradeNotSupported = 23;

constexpr int kModulesEnabled = 2;
constexpr int kSerialReadTimeoutFactor = 2;
constexpr int kFlowControlHardware = 1;
constexpr int kSetupHeaderStart = 8;
constexpr std::size_t kUsbNameSize = 512;

/// One answer of the printer as it came; no bytes when none came.
struct Answer {
    OwnedBytes bytes;
    int length = 0;

    explicit operator bool() const { return bytes != nullptr; }
};

Answer ReadAnswer(CComPort& port) {
    Answer answer;
    answer.bytes.reset(port.ReadProtocollData(&answer.length));
    return answer;
}

}  // namespace

/// A question to the printer: what is asked, which record has to come, and what each failure says and leaves.
struct PrinterQuery {
    const unsigned char (&request)[3];
    OBJTYPE expected;
    bool checkAnswer;     ///< an error answer ends the exchange with the printer's own code
    bool cleanOnSilence;  ///< pending input is discarded before the port is closed
    const char* silence;
    int silenceCode;
    const char* wrongRecord;
    const char* success;  ///< null: nothing is logged
};

namespace {

constexpr PrinterQuery kProtocolVersion{Commands::Cmd_CommandGetProtVer,
                                        OBJTYPE_PROTOCOLL_VERSION,
                                        true,
                                        false,
                                        "Get Prot. release Error",
                                        kErrorNoAnswer,
                                        "Extract SetupItemProtocollVersion Error",
                                        nullptr};

constexpr PrinterQuery DataAvailable(bool cleanOnSilence) {
    return {Commands::Cmd_CommandDataAvailable,
            OBJTYPE_DATA_AVAILABLE,
            false,
            cleanOnSilence,
            "NO Get ProtocollDataAvailable Setup",
            kErrorNotAccepted,
            "Extract ProtocollDataAvailable Error",
            "ProtocollDataAvailable OK"};
}

constexpr PrinterQuery kUpgradeInfo{Commands::Cmd_CommandUpgradeInfo,
                                    OBJTYPE_UPGRADE_INFO,
                                    true,
                                    false,
                                    "Get Upgrade Info Error",
                                    kErrorUpgradeNotSupported,
                                    "Extract UpgradeDataInfo Error",
                                    "GetUpgradeInfo OK"};

constexpr PrinterQuery kModulesList{Commands::Cmd_CommandModulesList,
                                    OBJTYPE_MODULE_LIST,
                                    true,
                                    false,
                                    "Get Modules List Error",
                                    kErrorNoAnswer,
                                    "Extract ModuleItemPrnModuleList Error",
                                    "ModuleItemPrnModuleList OK"};

/// Compares what the printer says of itself with what the package was made for; a printer's 0 accepts
/// anything.
bool MadeForPrinter(const char* tag, const UpgradeDataInfo& printer, const PSWHeaderUpgrade& package) {
    struct Identity {
        const char* name;
        int printer;
        int package;
    };
    const Identity identities[] = {{"Family", printer.iFamilyID, package.iIDFamily},
                                   {"Model", printer.iModelID, package.iIDModel},
                                   {"Customization", printer.iCustomizationID, package.iIDCustomization}};
    for (const Identity& identity : identities) {
        if (identity.printer == 0 || identity.printer == identity.package) continue;
        Log::WriteLogP(tag, "%s Compare Error (%d,%d)", identity.name, identity.printer, identity.package);
        return false;
    }
    return true;
}

/// Prints the answer's texts: each zero byte ends a line, and the texts begin behind the frame's first bytes.
void PrintSetupHeader(const Answer& answer) {
    for (int i = 0; i < answer.length; ++i) {
        const unsigned char byte = answer.bytes.get()[i];
        if (i == kSetupHeaderStart) std::putchar('\n');
        std::putchar(byte != 0 ? byte : '\n');
    }
}

}  // namespace

PrinterComm::PrinterComm(int components, int timeMultiplier)
    : iTimeMul(timeMultiplier), iUpgComponents(components) {}

bool PrinterComm::Fail(int code) {
    iErrorCode = code;
    return false;
}

bool PrinterComm::CloseAndFail(CComPort& port, int code) {
    port.Close();
    return Fail(code);
}

void PrinterComm::ExtractUsbParamsFromName(const char* name, char* vid, char* pid, char* serial) {
    ::ExtractUsbParamsFromName(name, vid, pid, serial, kUsbNameSize);
}

bool PrinterComm::OpenCommunicationPort(CComPort* port, CommPortSettings* settings) {
    const char* const tag = "OpenCommunicationPort";
    bool open = false;
    switch (settings->type) {
        case COMMPORT_SERIAL:
            Log::WriteLog(tag, "COM Port");
            // kept: the line always runs with RTS/CTS, whatever flow control was chosen.
            open =
                port->Init(settings->szSerDevice, settings->iBaudrate, kFlowControlHardware) && port->Open();
            if (open) port->SetTimeoutRX(kSerialReadTimeoutFactor * port->GetTimeoutRX());
            break;
        case COMMPORT_ETHERNET:
            Log::WriteLog(tag, "ETH Port");
            Log::WriteLogP(tag, "ETH Port Name: {%s}:{%d}", settings->szEthAddress, settings->iEthPort);
            open = port->Init(settings->szEthAddress, settings->iEthPort) && port->Open();
            break;
        case COMMPORT_USB:
        case COMMPORT_USB_TOO: {
            Log::WriteLog(tag, "USB PRN Port");
            // kept: the vendor part is not used, and of the serial number only its last character.
            char vid[kUsbNameSize];
            char pid[kUsbNameSize];
            char serial[kUsbNameSize];
            ExtractUsbParamsFromName(settings->szUsbDevice, vid, pid, serial);
            const std::size_t length = std::strlen(serial);
            open = port->Init(pid, serial + (length == 0 ? 0 : length - 1)) && port->Open();
            break;
        }
        default:
            Log::WriteLog(tag, "Port Invalid");
            return false;
    }
    if (!open) {
        Log::WriteLog(tag, "Open Port Error");
        Log::WriteLogP(tag, "Error: %s", port->szLastError);
    }
    return open;
}

bool PrinterComm::Test(CComPort* port, CommPortSettings* settings) {
    const char* const tag = "Test";
    if (!OpenCommunicationPort(port, settings)) {
        Log::WriteLog(tag, "Open Error");
        return Fail(kErrorPortNotOpened);
    }
    for (int round = 0; round < 2; ++round) {
        if (round != 0) port->ReOpen();
        port->SendCommand(Commands::Cmd_CommandSetESCPOSforSV);
        port->SendCommand(Commands::Cmd_CommandGetProtVer);
        if (!ReadAnswer(*port)) {
            Log::WriteLog(tag, "Get Prot. release Error");
            return CloseAndFail(*port, kErrorNoAnswer);
        }
    }
    port->Close();
    return true;
}

bool PrinterComm::PrnCom_ReadSetupData(CComPort* port, CommPortSettings* settings) {
    const char* const tag = "PrnCom_ReadSetupData";
    if (!OpenCommunicationPort(port, settings)) {
        Log::WriteLog(tag, "Open Error");
        return Fail(kErrorPortNotOpened);
    }
    if (!port->HandshakeCommunication()) {
        Log::WriteLog(tag, "Communication Layer: Handshake Error");
        return false;
    }
    port->SendCommand(Commands::Cmd_CommandCAN);
    port->SendCommand(Commands::Cmd_CommandGetProtVer);
    if (!ReadAnswer(*port)) {
        Log::WriteLog(tag, "Get Prot. release Error");
        return CloseAndFail(*port, kErrorNoAnswer);
    }
    port->ReOpen();
    port->SendCommand(Commands::Cmd_CommandCAN);
    port->SendCommand(Commands::Cmd_CommandGetHeaderSetup);
    const Answer header = ReadAnswer(*port);
    if (!header) {
        Log::WriteLog(tag, "Get Cmd_CommandGetHeaderSetup Error");
        return CloseAndFail(*port, kErrorNoAnswer);
    }
    PrintSetupHeader(header);
    return true;
}

/// Asks one question. Gives the record that came; an empty one, with the port closed and `iErrorCode` set,
/// when nothing came, the printer answered with an error, or the answer holds another record.
ProtocolRecord PrinterComm::Ask(CComPort& port, const char* tag, const PrinterQuery& query) {
    port.SendCommand(query.request);
    const Answer answer = ReadAnswer(port);
    if (!answer) {
        if (query.cleanOnSilence) port.CleanRX();
        Log::WriteLog(tag, query.silence);
        CloseAndFail(port, query.silenceCode);
        return {};
    }
    ProtocollFields fields;
    fields.CreateFields(answer.bytes.get(), answer.length);
    PrinterSetError error;
    if (query.checkAnswer && fields.CheckAnswer(&error) != 0) {
        Log::WriteLogP(tag, "Return is a Error Answer %d", error.iErrorCode);
        CloseAndFail(port, error.iErrorCode);
        return {};
    }
    ProtocolRecord record = ProtocolRecord::Decode(fields);
    if (!record || record.type() != query.expected) {
        Log::WriteLog(tag, query.wrongRecord);
        CloseAndFail(port, kErrorNotAccepted);
        return {};
    }
    if (query.success != nullptr) Log::WriteLog(tag, query.success);
    return record;
}

bool PrinterComm::PrnCom_UpgradePrinter(CComPort* port, PSWFile* package, CommPortSettings* settings,
                                        PSWComponents* components) {
    const char* const tag = "PrnCom_UpgradePrinter";
    Log::WriteLog(tag, "Begin");
    const std::unique_ptr<std::vector<PSWHeader*>> identities(package->GetHeaders(HTYPE_UPGRADE));
    const auto* madeFor =
        identities->empty() ? nullptr : dynamic_cast<const PSWHeaderUpgrade*>(identities->front());
    if (madeFor == nullptr) {
        Log::WriteLog(tag, "This PSW isn't for this software");
        return Fail(kErrorWrongPackage);
    }
    if (!OpenCommunicationPort(port, settings)) {
        Log::WriteLog(tag, "Open Error");
        return Fail(kErrorPortNotOpened);
    }

    port->SendCommand(Commands::Cmd_CommandSetESCPOSforSV);
    if (!Ask(*port, tag, kProtocolVersion)) return false;
    const ProtocolRecord available = Ask(*port, tag, DataAvailable(true));
    if (!available) return false;
    if (!available.As<ProtocollDataAvailable>()->UpgradePrinterAvailable(true, true)) {
        Log::WriteLog(tag, "Upgrade printer not supported!");
        return CloseAndFail(*port, kErrorUpgradeNotSupported);
    }
    const ProtocolRecord info = Ask(*port, tag, kUpgradeInfo);
    if (!info) return false;
    auto& printer = *info.As<UpgradeDataInfo>();
    if (!MadeForPrinter(tag, printer, *madeFor)) return CloseAndFail(*port, kErrorNotAccepted);

    const std::unique_ptr<UpgradePrinter> engine(
        UpgradePrinter::GetUpgradeClass(printer.iUpgradeMode, iUpgComponents, iTimeMul));
    if (engine == nullptr) {
        Log::WriteLogP(tag, "Upgrade Mode %d Not Supported!", static_cast<int>(printer.iUpgradeMode));
        return CloseAndFail(*port, kErrorNotAccepted);
    }
    const bool done =
        package->iPswType != 0
            ? engine->StartUpgrade_PSW2(printer, *port, *package, *settings, nullptr, nullptr, *components)
            : engine->StartUpgrade_PSW1(printer, *port, *package, *settings, nullptr, nullptr, *components);
    if (!done) {
        Log::WriteLog(tag, "Upgrade Error!");
        return CloseAndFail(*port, kErrorNotAccepted);
    }
    Log::WriteLog(tag, "End");
    port->Close();
    return true;
}

bool PrinterComm::PrnCom_WriteModule(CComPort* port, ModuleData* module, CommPortSettings* settings,
                                     void* ctx) {
    const char* const tag = "PrnCom_WriteModule";
    constexpr int kLongModule = 2048000;
    constexpr int kExtraTimeStep = 1024000;
    constexpr int kExtraTimeMs = 20000;
    Log::WriteLog(tag, "Begin");
    if (!OpenCommunicationPort(port, settings)) {
        Log::WriteLog(tag, "Open Error");
        return Fail(kErrorPortNotOpened);
    }
    port->SendCommand(Commands::Cmd_CommandSetESCPOSforSV);
    if (!Ask(*port, tag, kProtocolVersion)) return false;
    const ProtocolRecord available = Ask(*port, tag, DataAvailable(false));
    if (!available) return false;
    if (!available.As<ProtocollDataAvailable>()->UpgradeModulesAvailable(true, true)) {
        Log::WriteLog(tag, "Upgrade module not supported!");
        return CloseAndFail(*port, kErrorModulesNotSupported);
    }
    const ProtocolRecord modules = Ask(*port, tag, kModulesList);
    if (!modules) return false;

    const auto& listed = modules.As<ModuleItemPrnModuleList>()->GetTextLines();
    const bool supported =
        std::find(listed.begin(), listed.end(), std::string(module->strCode)) != listed.end();
    Log::WriteLog(tag, supported ? "Module supported by this printer"
                                 : "Module not supported by this printer,  proceed anyway!!!");
    port->SendCommand(Commands::Cmd_CommandCAN);
    // Said, but applied to no wait (kept).
    if (module->iModuleLength > kLongModule)
        Log::WriteLogP(tag, "Add Timeout : %d", module->iModuleLength / kExtraTimeStep * kExtraTimeMs);

    if ((iUpgComponents & kModulesEnabled) == 0) {
        Log::WriteLog(tag, "Upgrade Modules not enabled in command line arguments ");
    } else {
        UpgradePrinter sender(iUpgComponents, iTimeMul);
        const auto kind = static_cast<ModulesAvailable::ModuleType>(module->GetModuleID());
        sender.SendModuleToDevice(*port, kind, module->pModuleBuffer.get(), module->iModuleLength, true, ctx);
    }
    Log::WriteLog(tag, "End");
    return true;
}

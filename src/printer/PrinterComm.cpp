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
#include "support/Listener.h"
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
        return Log::FailP(tag, "%s Compare Error (%d,%d)", identity.name, identity.printer, identity.package);
    }
    return true;
}

/// Prints the answer's texts: each zero byte ends a line, and the texts begin behind the frame's first bytes.
void PrintSetupHeader(const Answer& answer) {
    Listener::Tell(Listener::Event::kOutput, 0);
    for (int i = 0; i < answer.length; ++i) {
        const unsigned char byte = answer.bytes.get()[i];
        if (i == kSetupHeaderStart) std::putchar('\n');
        std::putchar(byte != 0 ? byte : '\n');
    }
}

}  // namespace

PrinterComm::PrinterComm(int components, int timeMultiplier)
    : iTimeMul(timeMultiplier), iUpgComponents(components) {}

bool PrinterComm::Fail(int code, const char* tag, const char* line) {
    iErrorCode = code;
    return Log::Fail(tag, line);
}

bool PrinterComm::CloseAndFail(CComPort& port, int code) {
    port.Close();
    iErrorCode = code;
    return false;
}

bool PrinterComm::CloseAndFail(CComPort& port, int code, const char* tag, const char* line) {
    Log::WriteLog(tag, line);
    return CloseAndFail(port, code);
}

bool PrinterComm::OpenOrFail(CComPort* port, CommPortSettings* settings, const char* tag) {
    return OpenCommunicationPort(port, settings) || Fail(kErrorPortNotOpened, tag, "Open Error");
}

void PrinterComm::ExtractUsbParamsFromName(const char* name, char* vid, char* pid, char* serial) {
    ::ExtractUsbParamsFromName(name, vid, pid, serial, kUsbNameSize);
}

bool PrinterComm::OpenCommunicationPort(CComPort* port, CommPortSettings* settings) {
    static constexpr char kTag[] = "OpenCommunicationPort";
    bool open = false;
    switch (settings->type) {
        case COMMPORT_SERIAL:
            Log::WriteLog(kTag, "COM Port");
            // kept: the line always runs with RTS/CTS, whatever flow control was chosen.
            open =
                port->Init(settings->szSerDevice, settings->iBaudrate, kFlowControlHardware) && port->Open();
            if (open) port->SetTimeoutRX(kSerialReadTimeoutFactor * port->GetTimeoutRX());
            break;
        case COMMPORT_ETHERNET:
            Log::WriteLog(kTag, "ETH Port");
            Log::WriteLogP(kTag, "ETH Port Name: {%s}:{%d}", settings->szEthAddress, settings->iEthPort);
            open = port->Init(settings->szEthAddress, settings->iEthPort) && port->Open();
            break;
        case COMMPORT_USB:
        case COMMPORT_USB_TOO: {
            Log::WriteLog(kTag, "USB PRN Port");
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
            return Log::Fail(kTag, "Port Invalid");
    }
    if (!open) {
        Log::WriteLog(kTag, "Open Port Error");
        Log::WriteLogP(kTag, "Error: %s", port->szLastError);
    }
    return open;
}

bool PrinterComm::Test(CComPort* port, CommPortSettings* settings) {
    static constexpr char kTag[] = "Test";
    if (!OpenOrFail(port, settings, kTag)) return false;
    for (int round = 0; round < 2; ++round) {
        if (round != 0) port->ReOpen();
        port->SendCommand(Commands::Cmd_CommandSetESCPOSforSV);
        port->SendCommand(Commands::Cmd_CommandGetProtVer);
        if (!ReadAnswer(*port)) return CloseAndFail(*port, kErrorNoAnswer, kTag, "Get Prot. release Error");
    }
    port->Close();
    return true;
}

bool PrinterComm::PrnCom_ReadSetupData(CComPort* port, CommPortSettings* settings) {
    static constexpr char kTag[] = "PrnCom_ReadSetupData";
    if (!OpenOrFail(port, settings, kTag)) return false;
    if (!port->HandshakeCommunication()) return Log::Fail(kTag, "Communication Layer: Handshake Error");
    port->SendCommand(Commands::Cmd_CommandCAN);
    port->SendCommand(Commands::Cmd_CommandGetProtVer);
    if (!ReadAnswer(*port)) return CloseAndFail(*port, kErrorNoAnswer, kTag, "Get Prot. release Error");
    port->ReOpen();
    port->SendCommand(Commands::Cmd_CommandCAN);
    port->SendCommand(Commands::Cmd_CommandGetHeaderSetup);
    const Answer header = ReadAnswer(*port);
    if (!header) return CloseAndFail(*port, kErrorNoAnswer, kTag, "Get Cmd_CommandGetHeaderSetup Error");
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
        CloseAndFail(port, query.silenceCode, tag, query.silence);
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
        CloseAndFail(port, kErrorNotAccepted, tag, query.wrongRecord);
        return {};
    }
    if (query.success != nullptr) Log::WriteLog(tag, query.success);
    return record;
}

/// What every upgrade and module download begins with: the protocol version and what data the printer takes.
ProtocolRecord PrinterComm::AskWhatItTakes(CComPort& port, const char* tag, bool cleanOnSilence) {
    port.SendCommand(Commands::Cmd_CommandSetESCPOSforSV);
    if (!Ask(port, tag, kProtocolVersion)) return {};
    return Ask(port, tag, DataAvailable(cleanOnSilence));
}

bool PrinterComm::PrnCom_UpgradePrinter(CComPort* port, PSWFile* package, CommPortSettings* settings,
                                        PSWComponents* components) {
    static constexpr char kTag[] = "PrnCom_UpgradePrinter";
    Log::WriteLog(kTag, "Begin");
    const std::unique_ptr<std::vector<PSWHeader*>> identities(package->GetHeaders(HTYPE_UPGRADE));
    const auto* madeFor =
        identities->empty() ? nullptr : dynamic_cast<const PSWHeaderUpgrade*>(identities->front());
    if (madeFor == nullptr) return Fail(kErrorWrongPackage, kTag, "This PSW isn't for this software");
    if (!OpenOrFail(port, settings, kTag)) return false;

    const ProtocolRecord available = AskWhatItTakes(*port, kTag, true);
    if (!available) return false;
    if (!available.As<ProtocollDataAvailable>()->UpgradePrinterAvailable(true, true))
        return CloseAndFail(*port, kErrorUpgradeNotSupported, kTag, "Upgrade printer not supported!");
    const ProtocolRecord info = Ask(*port, kTag, kUpgradeInfo);
    if (!info) return false;
    auto& printer = *info.As<UpgradeDataInfo>();
    if (!MadeForPrinter(kTag, printer, *madeFor)) return CloseAndFail(*port, kErrorNotAccepted);

    const std::unique_ptr<UpgradePrinter> engine(
        UpgradePrinter::GetUpgradeClass(printer.iUpgradeMode, iUpgComponents, iTimeMul));
    if (engine == nullptr) {
        Log::WriteLogP(kTag, "Upgrade Mode %d Not Supported!", static_cast<int>(printer.iUpgradeMode));
        return CloseAndFail(*port, kErrorNotAccepted);
    }
    Listener::Tell(Listener::Event::kProcedure, printer.iUpgradeMode);
    const bool done =
        package->iPswType != 0
            ? engine->StartUpgrade_PSW2(printer, *port, *package, *settings, nullptr, nullptr, *components)
            : engine->StartUpgrade_PSW1(printer, *port, *package, *settings, nullptr, nullptr, *components);
    if (!done) return CloseAndFail(*port, kErrorNotAccepted, kTag, "Upgrade Error!");
    Log::WriteLog(kTag, "End");
    port->Close();
    return true;
}

bool PrinterComm::PrnCom_WriteModule(CComPort* port, ModuleData* module, CommPortSettings* settings,
                                     void* /*ctx*/) {
    static constexpr char kTag[] = "PrnCom_WriteModule";
    constexpr int kLongModule = 2048000;
    constexpr int kExtraTimeStep = 1024000;
    constexpr int kExtraTimeMs = 20000;
    Log::WriteLog(kTag, "Begin");
    if (!OpenOrFail(port, settings, kTag)) return false;
    const ProtocolRecord available = AskWhatItTakes(*port, kTag, false);
    if (!available) return false;
    if (!available.As<ProtocollDataAvailable>()->UpgradeModulesAvailable(true, true))
        return CloseAndFail(*port, kErrorModulesNotSupported, kTag, "Upgrade module not supported!");
    const ProtocolRecord modules = Ask(*port, kTag, kModulesList);
    if (!modules) return false;

    const auto& listed = modules.As<ModuleItemPrnModuleList>()->GetTextLines();
    const bool supported =
        std::find(listed.begin(), listed.end(), std::string(module->strCode)) != listed.end();
    Log::WriteLog(kTag, supported ? "Module supported by this printer"
                                  : "Module not supported by this printer,  proceed anyway!!!");
    port->SendCommand(Commands::Cmd_CommandCAN);
    // kept: said, but applied to no wait
    if (module->iModuleLength > kLongModule)
        Log::WriteLogP(kTag, "Add Timeout : %d", module->iModuleLength / kExtraTimeStep * kExtraTimeMs);

    if ((iUpgComponents & kModulesEnabled) == 0) {
        Log::WriteLog(kTag, "Upgrade Modules not enabled in command line arguments ");
    } else {
        UpgradePrinter sender(iUpgComponents, iTimeMul);
        const auto kind = static_cast<ModulesAvailable::ModuleType>(module->GetModuleID());
        sender.SendModuleToDevice(*port, kind, module->pModuleBuffer.get(), module->iModuleLength, true,
                                  nullptr);
    }
    Log::WriteLog(kTag, "End");
    return true;
}

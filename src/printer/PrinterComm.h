#pragma once

#include "package/ModuleData.h"
#include "package/PSWComponents.h"
#include "package/PSWFile.h"
#include "port/ComPort.h"
#include "port/CommPortSettings.h"

struct PrinterQuery;
class ProtocolRecord;

/// The printer as the front end acts on it: reads its setup header, upgrades its firmware, downloads a
/// module. Each operation names and opens the port itself; port, package, module and settings stay the
/// caller's. An operation that fails returns false, logs why and, where a code exists for it, leaves that in
/// `iErrorCode`.
class PrinterComm {
 public:
    /// `components`: 1 firmware, 2 modules, 3 everything. `timeMultiplier`: multiplies the waits of the
    /// engines.
    PrinterComm(int components, int timeMultiplier);

    /// Names and opens the port described by `settings` on a port of the matching kind.
    bool OpenCommunicationPort(CComPort* port, CommPortSettings* settings);

    /// Splits "vendor|product|serial" into three texts; the parts that are missing stay empty. Each output is
    /// a buffer of 512 characters; longer parts are cut.
    static void ExtractUsbParamsFromName(const char* name, char* vid, char* pid, char* serial);

    /// Connection check: asks for the protocol version twice, with the port opened anew between.
    bool Test(CComPort* port, CommPortSettings* settings);

    /// Prints the printer's setup header on standard output. The port is left open.
    bool PrnCom_ReadSetupData(CComPort* port, CommPortSettings* settings);

    /// Brings the package into the printer, if it was made for it. The port is closed on every way out once
    /// open.
    bool PrnCom_UpgradePrinter(CComPort* port, PSWFile* package, CommPortSettings* settings,
                               PSWComponents* components);

    /// Sends one module. True as well when the printer refused it: only the log tells (kept: required).
    bool PrnCom_WriteModule(CComPort* port, ModuleData* module, CommPortSettings* settings, void* ctx);

    int iErrorCode = 0;  ///< code of the last failure; the printer's own where it answered with one
    int iTimeMul;
    int iUpgComponents;

 private:
    ProtocolRecord Ask(CComPort& port, const char* tag, const PrinterQuery& query);
    ProtocolRecord AskWhatItTakes(CComPort& port, const char* tag, bool cleanOnSilence);
    bool OpenOrFail(CComPort* port, CommPortSettings* settings, const char* tag);
    bool Fail(int code, const char* tag, const char* line);
    bool CloseAndFail(CComPort& port, int code);
    bool CloseAndFail(CComPort& port, int code, const char* tag, const char* line);
};

#include "upgrade/UpgradeEngine.h"

#include "package/PSWComponents.h"
#include "package/PSWFile.h"
#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"

namespace {

constexpr char kPsw1[] = "StartUpgrade_PSW1";
constexpr char kPsw2[] = "StartUpgrade_PSW2";

}  // namespace

/// What the driver handed over for this upgrade.
struct UpgradeEngine::Run {
    UpgradeDataInfo& info;
    CComPort& port;
    PSWFile& package;
    CommPortSettings& settings;
    void* ctx1;
    void* ctx2;
    PSWComponents& components;
};

void UpgradeEngine::LogPrinterSettings(const UpgradeDataInfo& info, const char* tag) const {
    static_cast<void>(info);
    static_cast<void>(tag);
}

bool UpgradeEngine::TakesPort(const CComPort& port, const char* tag) const {
    const bool onUsb = port.GetPortType() == COMMPORT_USB || port.GetPortType() == COMMPORT_USB_TOO;
    if (Flow().notOnUsbLine == nullptr || onUsb) return true;
    Log::WriteLog(tag, Flow().notOnUsbLine);
    return false;
}

bool UpgradeEngine::StartUpgrade_PSW1(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                      CommPortSettings& settings, void* ctx1, void* ctx2,
                                      PSWComponents& components) {
    static_cast<void>(components);
    LogPrinterSettings(info, kPsw1);
    Log::WriteLog(kPsw1, "START Upgrade PSW1");
    if (!SendsFirmware()) {
        Log::WriteLog(kPsw1, "Upgrade FW not enabled in command line arguments ");
        return false;
    }
    Log::WriteLog(kPsw1, "Send Fw...");
    const bool sent = SendFW(info, port, package, settings, ctx1, ctx2);
    if (Flow().numberInPsw1Result) {
        Log::WriteLogP(kPsw1, "Send FW:%d", sent ? 1 : 0);
    } else {
        Log::WriteLog(kPsw1, "Send FW:{0}");  // kept: the text carries no number
    }
    return sent;
}

bool UpgradeEngine::StartUpgrade_PSW2(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                      CommPortSettings& settings, void* ctx1, void* ctx2,
                                      PSWComponents& components) {
    const Run run{info, port, package, settings, ctx1, ctx2, components};
    LogPrinterSettings(info, kPsw2);
    Log::WriteLog(kPsw2, "START Upgrade PSW2");
    Prepare(run);
    if (!TakesPort(port, kPsw2)) return false;
    if (Flow().modulesBefore && !SendModulesBefore(run)) return false;
    if (Flow().reopen == UpgradeFlow::Reopen::kAlways ||
        (Flow().reopen == UpgradeFlow::Reopen::kWhenSendingFirmware && SendsFirmware())) {
        port.ReOpen();
    }
    return SendFirmware(run) && SendModulesAfter(run);
}

void UpgradeEngine::Prepare(const Run& run) const {
    using Preparation = UpgradeFlow::Preparation;
    const Preparation preparation = Flow().preparation;
    if (preparation == Preparation::kBackupThenConvert) run.port.BackupPortInfo();
    if (preparation != Preparation::kNone) run.components.ConvertModulesBeforeToAfter();
    if (preparation == Preparation::kConvertThenBackup) run.port.BackupPortInfo();
}

bool UpgradeEngine::SendModulesBefore(const Run& run) {
    if (!SendsModules()) {
        Log::WriteLog(kPsw2, "Upgrade Before Modules not enabled in command line arguments ");
        return true;
    }
    if (SendAllModules(run.port, run.package, run.components, run.ctx2, Flow().moduleTimeoutMs, true,
                       false)) {
        return true;
    }
    Log::WriteLog(kPsw2, "SendAllModules Failed...");
    return false;
}

bool UpgradeEngine::SendFirmware(const Run& run) {
    if (!SendsFirmware()) {
        Log::WriteLog(kPsw2, "Upgrade FW not enabled in command line arguments ");
        return true;
    }
    if (!run.components.HasComponent(PSWComponent::kFirmware)) {
        Log::WriteLog(kPsw2, "Skip Fw...");
        return true;
    }
    Log::WriteLog(kPsw2, "Send Fw...");
    const bool sent = SendFW(run.info, run.port, run.package, run.settings, run.ctx1, run.ctx2);
    Log::WriteLogP(kPsw2, "Send FW:%d", sent ? 1 : 0);
    return FinishFirmware(run, sent);
}

bool UpgradeEngine::FinishFirmware(const Run& run, bool sent) {
    using AfterFirmware = UpgradeFlow::AfterFirmware;
    const bool waitOnly = Flow().afterFirmware == AfterFirmware::kWaitOnly;
    if (!sent) {
        Log::WriteLog(kPsw2, waitOnly ? "FW Upgrade error" : "Programming SW NOT OK!");
        return false;
    }
    if (waitOnly) {
        SleepMs(Flow().moduleTimeoutMs, iTimem);
        return true;
    }
    Log::WriteLog(kPsw2, "Programming OK!");
    SleepSeconds(8, iTimem);
    if (run.components.HasAfterModules()) {
        Log::WriteLog(kPsw2, "Wait before starting modules upgrade!");
        const bool scaled = Flow().afterFirmware == AfterFirmware::kSettleThenScaledWait;
        SleepMs(Flow().moduleTimeoutMs, scaled ? iTimem : 1);
    }
    return true;
}

bool UpgradeEngine::SendModulesAfter(const Run& run) {
    if (!SendsModules()) {
        Log::WriteLog(kPsw2, "Upgrade After Modules not enabled in command line arguments ");
        return true;
    }
    if (Flow().restore == UpgradeFlow::Restore::kRestorePortInfo) run.port.RestoreportInfo();
    if (Flow().restore == UpgradeFlow::Restore::kReOpen) run.port.ReOpen();
    if (SendAllModules(run.port, run.package, run.components, run.ctx2, Flow().moduleTimeoutMs, false,
                       true)) {
        return true;
    }
    Log::WriteLog(kPsw2, "SendAllModules Failed...");
    return false;
}

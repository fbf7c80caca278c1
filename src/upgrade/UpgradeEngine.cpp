#include "upgrade/UpgradeEngine.h"

#include "package/PSWComponents.h"
#include "package/PSWFile.h"
#include "package/PSWHeaderBin.h"
#include "package/PSWHeaderModule.h"
#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"

FirmwareImage FirmwareImage::Of(PSWFile& package) {
    if (package.iPswType != 0) {
        PSWHeaderModule* module = package.GetHeaderModuleSoftware();
        if (module == nullptr) return {};
        return {module->iNumBank, module->uiBankDim, module->pData.get(), module->uiDataSize};
    }
    PSWHeaderBin* bin = package.GetHeaderBin();
    if (bin == nullptr) return {};
    return {bin->iNumBanks, bin->uiBinSize, bin->pData.get(), bin->uiBinLength};
}

bool FirmwareImage::HoldsItsBanks() const {
    if (banks <= 0 || bankSize == 0 || data == nullptr) return false;
    return bankSize <= length / static_cast<std::uint64_t>(banks);
}

std::vector<unsigned char*> FirmwareImage::Banks(int first, int count) const {
    std::vector<unsigned char*> list;
    for (int i = first; i < first + count; ++i) list.push_back(Bank(i));
    return list;
}

/// One upgrade with a package of the new form: what the driver handed over, and the name of the log lines.
struct UpgradeEngine::Run {
    UpgradeDataInfo& info;
    CComPort& port;
    PSWFile& package;
    CommPortSettings& settings;
    PSWComponents& components;
    const char* tag;
};

UpgradeEngine::UpgradeEngine(int mode, int upgComponents, int timem)
    : UpgradePrinter(upgComponents, timem), flow_(UpgradeFlow::Of(mode)) {
    iUpgradeMode = flow_.number;
}

bool UpgradeEngine::StartUpgrade_PSW1(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                      CommPortSettings& settings, void* /*ctx1*/, void* /*ctx2*/,
                                      PSWComponents& /*components*/) {
    static constexpr char kTag[] = "StartUpgrade_PSW1";
    LogPrinterSettings(info, kTag);
    Log::WriteLog(kTag, "START Upgrade PSW1");
    if (!SendsFirmware()) return Log::Fail(kTag, "Upgrade FW not enabled in command line arguments ");
    Log::WriteLog(kTag, "Send Fw...");
    const bool sent = SendFW(info, port, package, settings, nullptr, nullptr);
    if (flow_.numberInPsw1Result) {
        Log::WriteLogP(kTag, "Send FW:%d", sent ? 1 : 0);
    } else {
        Log::WriteLog(kTag, "Send FW:{0}");  // kept: the text carries no number
    }
    return sent;
}

bool UpgradeEngine::StartUpgrade_PSW2(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                      CommPortSettings& settings, void* /*ctx1*/, void* /*ctx2*/,
                                      PSWComponents& components) {
    static constexpr char kTag[] = "StartUpgrade_PSW2";
    const Run run{info, port, package, settings, components, kTag};
    LogPrinterSettings(info, kTag);
    Log::WriteLog(kTag, "START Upgrade PSW2");
    Prepare(run);
    if (!TakesPort(port, kTag)) return false;
    if (!SendModulesBefore(run)) return false;
    ReOpenOnce(run);
    if (!SendFirmware(run)) return false;
    return SendModulesAfter(run);
}

void UpgradeEngine::Prepare(const Run& run) const {
    if (flow_.preparation == UpgradeFlow::kBackupThenConvert) run.port.BackupPortInfo();
    if (flow_.preparation != UpgradeFlow::kUnprepared) run.components.ConvertModulesBeforeToAfter();
    if (flow_.preparation == UpgradeFlow::kConvertThenBackup) run.port.BackupPortInfo();
}

bool UpgradeEngine::TakesPort(const CComPort& port, const char* tag) const {
    const bool onUsb = port.GetPortType() == COMMPORT_USB || port.GetPortType() == COMMPORT_USB_TOO;
    return flow_.notOnUsbLine == nullptr || onUsb || Log::Fail(tag, flow_.notOnUsbLine);
}

bool UpgradeEngine::SendModulesBefore(const Run& run) {
    if (!flow_.modulesBefore) return true;
    if (!SendsModules()) {
        Log::WriteLog(run.tag, "Upgrade Before Modules not enabled in command line arguments ");
        return true;
    }
    return SendAllModules(run.port, run.package, run.components, nullptr, flow_.moduleTimeoutMs, true,
                          false) ||
           Log::Fail(run.tag, "SendAllModules Failed...");
}

void UpgradeEngine::ReOpenOnce(const Run& run) const {
    const bool forFirmware = flow_.reopen == UpgradeFlow::kReopenForFirmware && SendsFirmware();
    if (forFirmware || flow_.reopen == UpgradeFlow::kReopenAlways) run.port.ReOpen();
}

bool UpgradeEngine::SendFirmware(const Run& run) {
    if (!SendsFirmware()) {
        Log::WriteLog(run.tag, "Upgrade FW not enabled in command line arguments ");
        return true;
    }
    if (!run.components.HasComponent(PSWComponent::kFirmware)) {
        Log::WriteLog(run.tag, "Skip Fw...");
        return true;
    }
    Log::WriteLog(run.tag, "Send Fw...");
    const bool sent = SendFW(run.info, run.port, run.package, run.settings, nullptr, nullptr);
    Log::WriteLogP(run.tag, "Send FW:%d", sent ? 1 : 0);
    return FinishFirmware(run, sent);
}

bool UpgradeEngine::ReachPrinter(CComPort& port, const char* tag) const {
    const Reopening& loop = flow_.mustReopen ? kReopenOrFail : kReopenBeforeFirmware;
    return ReOpenUntilBack(port, loop, tag) &&
           (port.HandshakeCommunication() || Log::Fail(tag, flow_.handshakeLine));
}

bool UpgradeEngine::FinishFirmware(const Run& run, bool sent) {
    const bool waitOnly = flow_.afterFirmware == UpgradeFlow::kWaitOnly;
    if (!sent) return Log::Fail(run.tag, waitOnly ? "FW Upgrade error" : "Programming SW NOT OK!");
    if (waitOnly) {
        Sleep({flow_.moduleTimeoutMs, iTimem});
        return true;
    }
    Log::WriteLog(run.tag, "Programming OK!");
    Sleep({8000, iTimem});
    if (run.components.HasAfterModules()) {
        Log::WriteLog(run.tag, "Wait before starting modules upgrade!");
        const bool scaled = flow_.afterFirmware == UpgradeFlow::kSettleScaled;
        Sleep({flow_.moduleTimeoutMs, scaled ? iTimem : 1});
    }
    return true;
}

bool UpgradeEngine::SendModulesAfter(const Run& run) {
    if (!SendsModules()) {
        Log::WriteLog(run.tag, "Upgrade After Modules not enabled in command line arguments ");
        return true;
    }
    if (flow_.restore == UpgradeFlow::kRestorePortInfo) run.port.RestoreportInfo();
    if (flow_.restore == UpgradeFlow::kReOpen) run.port.ReOpen();
    return SendAllModules(run.port, run.package, run.components, nullptr, flow_.moduleTimeoutMs, false,
                          true) ||
           Log::Fail(run.tag, "SendAllModules Failed...");
}

#include "upgrade/UpgradePrinter_ModeU4.h"

#include "support/Log.h"

UpgradePrinter_ModeU4::UpgradePrinter_ModeU4(int upgComponents, int timem)
    : RenesasBoot(upgComponents, timem, false, true) {
    iUpgradeMode = 2;  // kept: the number of U2, on purpose; nothing reads it
}

const UpgradeFlow& UpgradePrinter_ModeU4::Flow() const {
    static constexpr UpgradeFlow kFlow{10000,
                                       UpgradeFlow::Preparation::kBackupThenConvert,
                                       nullptr,
                                       true,
                                       UpgradeFlow::Reopen::kAlways,
                                       UpgradeFlow::AfterFirmware::kSettleThenScaledWait,
                                       UpgradeFlow::Restore::kRestorePortInfo,
                                       false};
    return kFlow;
}

bool UpgradePrinter_ModeU4::SendResetCommandUSB(CComPort& port) {
    static_cast<void>(port);
    Log::WriteLog("SendResetCommandUSB", "Upgrade Error. Please, restart the printer and retry");
    return true;
}

bool UpgradePrinter_ModeU4::SendResetCommandUSBForSuccess(CComPort& port) {
    static_cast<void>(port);
    Log::WriteLog("SendResetCommandUSBForSuccess", "Upgrade firmware. Please, restart the printer");
    return true;
}

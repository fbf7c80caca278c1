#include "upgrade/UpgradePrinter_ModeU2.h"

#include "port/ComPort.h"
#include "protocol/Commands.h"
#include "support/Log.h"
#include "upgrade/RenesasExchange.h"

UpgradePrinter_ModeU2::UpgradePrinter_ModeU2(int upgComponents, int timem)
    : RenesasBoot(upgComponents, timem, true, false) {
    iUpgradeMode = 2;
}

const UpgradeFlow& UpgradePrinter_ModeU2::Flow() const {
    static constexpr UpgradeFlow kFlow{20000,
                                       UpgradeFlow::Preparation::kConvertThenBackup,
                                       "Upgrade U2 just support USB port error \\n",
                                       false,
                                       UpgradeFlow::Reopen::kNever,
                                       UpgradeFlow::AfterFirmware::kSettleThenFixedWait,
                                       UpgradeFlow::Restore::kRestorePortInfo,
                                       false};
    return kFlow;
}

bool UpgradePrinter_ModeU2::SendResetCommandUSB(CComPort& port) {
    static constexpr const char* kTag = "SendResetCommandUSB";
    constexpr unsigned char kResetDone = 0x52;
    Log::WriteLog(kTag, "Sending Reset command");
    port.CleanRX();
    port.SendCommand(Commands::Cmd_Reset);
    if (RenesasLink::ReadOnce(port) == std::vector{kResetDone}) {
        Log::WriteLog(kTag, "OK!");
        return true;
    }
    Log::WriteLog(kTag, "ERROR: wrong response! exit...");
    port.Close();
    return false;
}

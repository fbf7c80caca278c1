#include "upgrade/UpgradePrinter_ModeU4.h"

#include "support/Log.h"

bool UpgradePrinter_ModeU4::SendResetCommandUSB(CComPort& /*port*/) {
    Log::WriteLog("SendResetCommandUSB", "Upgrade Error. Please, restart the printer and retry");
    return true;
}

bool UpgradePrinter_ModeU4::SendResetCommandUSBForSuccess(CComPort& /*port*/) {
    Log::WriteLog("SendResetCommandUSBForSuccess", "Upgrade firmware. Please, restart the printer");
    return true;
}

#include "upgrade/UpgradePrinter_ModeU2.h"

#include "port/ComPort.h"
#include "protocol/Commands.h"
#include "support/Log.h"
#include "upgrade/RenesasLink.h"

bool UpgradePrinter_ModeU2::SendResetCommandUSB(CComPort& port) {
    static constexpr char kTag[] = "SendResetCommandUSB";
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

#pragma once

#include "upgrade/RenesasBoot.h"

/// Engine U4: a Renesas chip rewritten in its boot mode over USB, whatever port the printer itself is on. The
/// boot loader is neither asked for its release nor reset: the user restarts the printer.
class UpgradePrinter_ModeU4 final : public RenesasBoot {
 public:
    UpgradePrinter_ModeU4(int upgComponents, int timem) : RenesasBoot(4, upgComponents, timem, false, true) {}

    /// Only tells the user to restart the printer and retry; true.
    bool SendResetCommandUSB(CComPort& port) override;
    /// Only tells the user to restart the printer; true.
    bool SendResetCommandUSBForSuccess(CComPort& port);

 protected:
    bool ResetAfterSuccess(CComPort& port) override { return SendResetCommandUSBForSuccess(port); }
};

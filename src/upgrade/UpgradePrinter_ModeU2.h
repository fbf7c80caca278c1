#pragma once

#include "upgrade/RenesasBoot.h"

/// Engine U2: a Renesas chip rewritten in its boot mode, for printers on USB only. The boot loader is asked
/// for its release and, from 1.00 on, secured; it is told to reset after success and after failure.
class UpgradePrinter_ModeU2 final : public RenesasBoot {
 public:
    UpgradePrinter_ModeU2(int upgComponents, int timem) : RenesasBoot(2, upgComponents, timem, true, false) {}

    /// Sends the reset command; true when the boot loader confirms it. The port is closed when it does not.
    bool SendResetCommandUSB(CComPort& port) override;

 protected:
    bool ResetAfterSuccess(CComPort& port) override { return SendResetCommandUSB(port); }
};

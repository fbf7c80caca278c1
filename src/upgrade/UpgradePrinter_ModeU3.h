#pragma once

#include "upgrade/UpgradeEngine.h"

/// Engine U3: every bank in a write of its own, in very large packets, over the printer's own port. No answer
/// is read: success is that everything arrived; the printer then resets.
class UpgradePrinter_ModeU3 final : public UpgradeEngine {
 public:
    UpgradePrinter_ModeU3(int upgComponents, int timem) : UpgradeEngine(3, upgComponents, timem) {}

    bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                void* ctx1, void* ctx2) override;

    /// Sends the banks between start and program command and waits for the reset. False when a write fails;
    /// the port's packet size and write time-out then stay as the transfer set them.
    bool SendBankFlashGeneric(CComPort& port, const std::vector<unsigned char*>& banks, int bankSize,
                              unsigned long sum, unsigned long xorSum, bool sameVersion, void* ctx2);
};

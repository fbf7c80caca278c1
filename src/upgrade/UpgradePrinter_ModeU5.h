#pragma once

#include "upgrade/UpgradeEngine.h"

/// Engine U5: the first three banks as one group, after which the printer resets, then every further bank
/// alone, each but the last confirmed by an answer byte.
class UpgradePrinter_ModeU5 final : public UpgradeEngine {
 public:
    UpgradePrinter_ModeU5(int upgComponents, int timem) : UpgradeEngine(5, upgComponents, timem) {}

    bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                void* ctx1, void* ctx2) override;

    /// Sends the code group and waits for the reset. False when a write fails.
    bool SendBankFlashCODE(CComPort& port, const std::vector<unsigned char*>& banks, int bankSize,
                           unsigned long sum, unsigned long xorSum, bool sameVersion, void* ctx2);
    /// Sends the bank `bankIndex` of `bankCount` and, unless it is the last, waits for its answer: 1
    /// accepted, 0 failed.
    int SendBankFlashDATA(CComPort& port, unsigned char* bank, int bankSize, unsigned long sum,
                          unsigned long xorSum, bool sameVersion, void* ctx2, int bankIndex, int bankCount,
                          bool isLast);

 private:
    bool SendCodePhase(CComPort& port, const FirmwareImage& image, bool sameVersion);
    bool SendDataPhase(CComPort& port, const FirmwareImage& image, bool sameVersion);
    bool WaitForBankAnswer(CComPort& port, const char* tag) const;
};

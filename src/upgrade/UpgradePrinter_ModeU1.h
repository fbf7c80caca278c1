#pragma once

#include <string>

#include "upgrade/UpgradeEngine.h"

/// Engine U1: all banks in one group over the printer's own port, judged by one answer byte, by the release
/// that the printer reports afterwards (Ethernet), or not at all (USB printers that send no answer). A group
/// is sent up to four times, but not again when it did not arrive; the reason of the last failure is in
/// szErrorMessage.
class UpgradePrinter_ModeU1 final : public UpgradeEngine {
 public:
    UpgradePrinter_ModeU1(int upgComponents, int timem) : UpgradeEngine(1, upgComponents, timem) {}

    bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                void* ctx1, void* ctx2) override;
    /// `iUSB_PRG_ANSWER`: 0 when a USB printer sends no answer byte after a bank group.
    bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                void* ctx1, void* ctx2, int iUSB_PRG_ANSWER);

    /// Sends one group of banks and judges the printer's answer. `err` gets the bank error code, or is left
    /// as it was when the printer stayed silent.
    bool SendBankFlashBanksNew(CComPort& port, unsigned char* group, int bankDim, int bankCount,
                               unsigned long sum, unsigned long xorSum, int firstBank, int& err,
                               const char* releaseText, bool sameVersion, int iUSB_PRG_ANSWER, void* ctx2);

 protected:
    void LogPrinterSettings(const UpgradeDataInfo& info, const char* tag) const override;

 private:
    bool SendGroupWithRetries(CComPort& port, const FirmwareImage& image, const std::string& release,
                              bool sameVersion, int iUSB_PRG_ANSWER, const char* tag);
    void ReportFailedTry(int err, int retries, const char* tag);
    bool WaitWithoutAnswer(CComPort& port, bool sameVersion, const char* tag) const;
    bool JudgeByRelease(CComPort& port, const char* releaseText, bool sameVersion, int& err,
                        const char* tag) const;
    bool JudgeByAnswer(CComPort& port, int& err, const char* tag) const;

    bool stuck_ = false;  ///< the last group was taken by the port and did not arrive
};

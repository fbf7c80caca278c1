#include "upgrade/UpgradePrinter_ModeU5.h"

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "upgrade/BankTransfer.h"
#include "upgrade/ModuleAnswer.h"

namespace {

constexpr int kCodeBanks = 3;
constexpr int kAnswerReadTimeoutMs = 5000;
constexpr int kAnswerLimitMs = 60000;

}  // namespace

bool UpgradePrinter_ModeU5::SendFW(UpgradeDataInfo& /*info*/, CComPort& port, PSWFile& package,
                                   CommPortSettings& /*settings*/, void* /*ctx1*/, void* /*ctx2*/) {
    static constexpr char kTag[] = "SendFW";
    FirmwareImage image;
    std::string release;
    bool sameVersion = false;
    if (!BankTransfer::TakeFirmware(port, package, kCodeBanks, image, kTag) || !ReachPrinter(port, kTag) ||
        !BankTransfer::CompareRelease(port, package, release, sameVersion, kTag)) {
        return false;
    }
    if (!SendCodePhase(port, image, sameVersion)) return Log::Fail(kTag, "Upgrade Error");
    Sleep({1000, iTimem});
    port.Close();
    ReOpenUntilBack(port, kReopenAfterBanks, kTag);
    if (!SendDataPhase(port, image, sameVersion)) return Log::Fail(kTag, "Upgrade Error");
    Sleep({1000, iTimem});
    port.Close();
    return true;
}

bool UpgradePrinter_ModeU5::SendCodePhase(CComPort& port, const FirmwareImage& image, bool sameVersion) {
    const std::vector<unsigned char*> banks = image.Banks(0, kCodeBanks);
    unsigned long sum = 0;
    unsigned long xorSum = 0;
    GetCheckSumKeldUsb(banks, image.BankSize(), sum, xorSum);
    return SendBankFlashCODE(port, banks, image.BankSize(), sum, xorSum, sameVersion, nullptr);
}

bool UpgradePrinter_ModeU5::SendDataPhase(CComPort& port, const FirmwareImage& image, bool sameVersion) {
    for (int i = kCodeBanks; i < image.banks; ++i) {
        unsigned long sum = 0;
        unsigned long xorSum = 0;
        GetCheckSumKeldUsb(image.Banks(i, 1), image.BankSize(), sum, xorSum);
        if (SendBankFlashDATA(port, image.Bank(i), image.BankSize(), sum, xorSum, sameVersion, nullptr, i,
                              image.banks, i == image.banks - 1) <= 0) {
            return false;
        }
    }
    return true;
}

// kept: the printer resets and is waited for whatever its release
bool UpgradePrinter_ModeU5::SendBankFlashCODE(CComPort& port, const std::vector<unsigned char*>& banks,
                                              int bankSize, unsigned long sum, unsigned long xorSum,
                                              bool /*sameVersion*/, void* /*ctx2*/) {
    static constexpr char kTag[] = "SendBankFlashCODE";
    port.SaveLocationCurrentDevice();
    const BankTransfer::Group group{banks, bankSize, 0, static_cast<int>(banks.size()), sum, xorSum};
    if (!BankTransfer::SendGroup(port, group, kTag)) return false;
    if (port.GetPortType() != COMMPORT_USB) {
        Log::WriteLog(kTag, "Com or Eth port: Wait then exit...");
        Sleep({30000, iTimem});
        return true;
    }
    BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset...", kTag);
    Sleep({2000, iTimem});
    port.RestoreAddrNumFrmLocatio();
    return true;
}

int UpgradePrinter_ModeU5::SendBankFlashDATA(CComPort& port, unsigned char* bank, int bankSize,
                                             unsigned long sum, unsigned long xorSum, bool /*sameVersion*/,
                                             void* /*ctx2*/, int bankIndex, int bankCount, bool isLast) {
    static constexpr char kTag[] = "SendBankFlashDATA";
    const std::vector<unsigned char*> banks{bank};
    const BankTransfer::Group group{banks, bankSize, bankIndex, bankCount, sum, xorSum};
    if (!BankTransfer::SendGroup(port, group, kTag)) return 0;
    Sleep({1000, iTimem});
    if (!isLast) return WaitForBankAnswer(port, kTag) ? 1 : 0;
    if (port.GetPortType() == COMMPORT_USB) {
        BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset... Done", kTag);
    } else {
        Log::WriteLog(kTag, "Wait than exit...");
    }
    return 1;
}

bool UpgradePrinter_ModeU5::WaitForBankAnswer(CComPort& port, const char* tag) const {
    const int readTimeout = port.GetTimeoutRX();
    port.SetTimeoutRX(kAnswerReadTimeoutMs);
    Log::WriteLog(tag, "Waiting Answer...");
    const int answer = ModuleAnswer::Await(port, {kAnswerLimitMs, iTimem}, ModuleAnswer::kOfDataBank, tag);
    port.SetTimeoutRX(readTimeout);
    return ModuleAnswer::Judge(answer, tag);
}

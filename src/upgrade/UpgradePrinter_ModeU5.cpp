#include "upgrade/UpgradePrinter_ModeU5.h"

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Deadline.h"
#include "support/Log.h"
#include "upgrade/AnswerReads.h"
#include "upgrade/BankTransfer.h"
#include "upgrade/ModuleAnswer.h"

namespace {

constexpr int kCodeBanks = 3;
constexpr int kAnswerReadTimeoutMs = 5000;
constexpr std::int64_t kAnswerLimitMs = 60000;
constexpr char kSendFw[] = "SendFW";
constexpr char kData[] = "SendBankFlashDATA";

constexpr UpgradeFlow MakeFlow() {
    UpgradeFlow flow;
    flow.preparation = UpgradeFlow::Preparation::kConvertThenBackup;
    flow.restore = UpgradeFlow::Restore::kRestorePortInfo;
    return flow;
}

constexpr UpgradeFlow kFlow = MakeFlow();
constexpr BankTransfer::Opening kOpening{kReopenBeforeFirmware, false, "Handshake Communication Error.",
                                         kCodeBanks};

}  // namespace

UpgradePrinter_ModeU5::UpgradePrinter_ModeU5(int upgComponents, int timem)
    : UpgradeEngine(upgComponents, timem) {
    iUpgradeMode = 5;
}

const UpgradeFlow& UpgradePrinter_ModeU5::Flow() const {
    return kFlow;
}

bool UpgradePrinter_ModeU5::SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                   CommPortSettings& settings, void* ctx1, void* ctx2) {
    static_cast<void>(info);
    static_cast<void>(settings);
    static_cast<void>(ctx1);
    FirmwareImage image;
    if (!BankTransfer::ReachPrinter(port, package, kOpening, iTimem, image, kSendFw)) return false;
    std::string release;
    bool sameVersion = false;
    if (!BankTransfer::CompareRelease(port, package, release, sameVersion, kSendFw)) return false;
    if (!SendCodePhase(port, image, sameVersion, ctx2) || !SendDataPhase(port, image, sameVersion, ctx2)) {
        Log::WriteLog(kSendFw, "Upgrade Error");
        return false;
    }
    SleepSeconds(1, iTimem);
    port.Close();
    return true;
}

bool UpgradePrinter_ModeU5::SendCodePhase(CComPort& port, const FirmwareImage& image, bool sameVersion,
                                          void* ctx2) {
    const std::vector<unsigned char*> banks = image.Banks(0, kCodeBanks);
    const int bankSize = static_cast<int>(image.bankSize);
    unsigned long sum = 0;
    unsigned long xorSum = 0;
    GetCheckSumKeldUsb(banks, bankSize, sum, xorSum);
    return SendBankFlashCODE(port, banks, bankSize, sum, xorSum, sameVersion, ctx2);
}

bool UpgradePrinter_ModeU5::SendDataPhase(CComPort& port, const FirmwareImage& image, bool sameVersion,
                                          void* ctx2) {
    SleepSeconds(1, iTimem);
    port.Close();
    kReopenAfterBanks.Run(port, iTimem, kSendFw);
    const int bankSize = static_cast<int>(image.bankSize);
    for (int i = kCodeBanks; i < image.banks; ++i) {
        unsigned long sum = 0;
        unsigned long xorSum = 0;
        GetCheckSumKeldUsb(image.Banks(i, 1), bankSize, sum, xorSum);
        if (SendBankFlashDATA(port, image.Bank(i), bankSize, sum, xorSum, sameVersion, ctx2, i, image.banks,
                              i == image.banks - 1) <= 0) {
            return false;
        }
    }
    return true;
}

bool UpgradePrinter_ModeU5::SendBankFlashCODE(CComPort& port, const std::vector<unsigned char*>& banks,
                                              int bankSize, unsigned long sum, unsigned long xorSum,
                                              bool sameVersion, void* ctx2) {
    static_cast<void>(sameVersion);  // kept: the printer resets and is waited for whatever its release
    static_cast<void>(ctx2);
    constexpr char kTag[] = "SendBankFlashCODE";
    port.SaveLocationCurrentDevice();
    const BankTransfer::Group group{banks, bankSize, 0, static_cast<int>(banks.size()), sum, xorSum};
    if (!BankTransfer::SendGroup(port, group, kTag)) return false;
    if (port.GetPortType() != COMMPORT_USB) {
        Log::WriteLog(kTag, "Com or Eth port: Wait then exit...");
        SleepSeconds(30, iTimem);
        return true;
    }
    BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset...", kTag);
    SleepSeconds(2, iTimem);
    port.RestoreAddrNumFrmLocatio();
    return true;
}

int UpgradePrinter_ModeU5::SendBankFlashDATA(CComPort& port, unsigned char* bank, int bankSize,
                                             unsigned long sum, unsigned long xorSum, bool sameVersion,
                                             void* ctx2, int bankIndex, int bankCount, bool isLast) {
    static_cast<void>(sameVersion);
    static_cast<void>(ctx2);
    const std::vector<unsigned char*> banks{bank};
    const BankTransfer::Group group{banks, bankSize, bankIndex, bankCount, sum, xorSum};
    if (!BankTransfer::SendGroup(port, group, kData)) return 0;
    SleepSeconds(1, iTimem);
    if (!isLast) return WaitForBankAnswer(port);
    if (port.GetPortType() == COMMPORT_USB) {
        BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset... Done", kData);
    } else {
        Log::WriteLog(kData, "Wait than exit...");
    }
    return 1;
}

int UpgradePrinter_ModeU5::WaitForBankAnswer(CComPort& port) {
    const int readTimeout = port.GetTimeoutRX();
    port.SetTimeoutRX(kAnswerReadTimeoutMs);
    Log::WriteLog(kData, "Waiting Answer...");
    AnswerReads reads(port, Deadline(kAnswerLimitMs, iTimem));
    int answer = -1;
    bool expired = false;
    while (answer < 0 && !expired) {
        answer = ModuleAnswer::ReadOnce(reads, ModuleAnswer::kOfDataBank, kData);
        expired = reads.Expired();
    }
    port.SetTimeoutRX(readTimeout);
    if (answer < 0 || expired) {  // kept: an answer that comes as the time is up does not count
        Log::WriteLog(kData, "Wait Answer Error");
        return 0;
    }
    if (answer == ModuleAnswer::kProgrammed) return 1;
    ModuleAnswer::LogError(static_cast<unsigned char>(answer), kData);
    return 0;
}

#include "upgrade/UpgradePrinter_ModeU3.h"

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "upgrade/BankTransfer.h"

namespace {

constexpr UpgradeFlow MakeFlow() {
    UpgradeFlow flow;
    flow.moduleTimeoutMs = 20000;
    flow.afterFirmware = UpgradeFlow::AfterFirmware::kSettleThenFixedWait;
    return flow;
}

constexpr UpgradeFlow kFlow = MakeFlow();
constexpr BankTransfer::Opening kOpening{kReopenBeforeFirmware, false, "Handshake Communication Error", 1};

}  // namespace

UpgradePrinter_ModeU3::UpgradePrinter_ModeU3(int upgComponents, int timem)
    : UpgradeEngine(upgComponents, timem) {
    iUpgradeMode = 3;
}

const UpgradeFlow& UpgradePrinter_ModeU3::Flow() const {
    return kFlow;
}

bool UpgradePrinter_ModeU3::SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                   CommPortSettings& settings, void* ctx1, void* ctx2) {
    static_cast<void>(info);
    static_cast<void>(settings);
    static_cast<void>(ctx1);
    constexpr char kTag[] = "SendFW";
    FirmwareImage image;
    if (!BankTransfer::ReachPrinter(port, package, kOpening, iTimem, image, kTag)) return false;
    std::string release;
    bool sameVersion = false;
    if (!BankTransfer::CompareRelease(port, package, release, sameVersion, kTag)) return false;

    const std::vector<unsigned char*> banks = image.Banks(0, image.banks);
    unsigned long sum = 0;
    unsigned long xorSum = 0;
    const int bankSize = static_cast<int>(image.bankSize);
    GetCheckSumKeldUsb(banks, bankSize, sum, xorSum);
    if (SendBankFlashGeneric(port, banks, bankSize, sum, xorSum, sameVersion, ctx2)) return true;
    Log::WriteLog(kTag, "Upgrade Error");
    return false;
}

bool UpgradePrinter_ModeU3::SendBankFlashGeneric(CComPort& port, const std::vector<unsigned char*>& banks,
                                                 int bankSize, unsigned long sum, unsigned long xorSum,
                                                 bool sameVersion, void* ctx2) {
    static_cast<void>(ctx2);
    constexpr char kTag[] = "SendBankFlashGeneric";
    const BankTransfer::Group group{banks, bankSize, 0, static_cast<int>(banks.size()), sum, xorSum};
    if (!BankTransfer::SendGroup(port, group, kTag)) return false;
    if (sameVersion) {
        Log::WriteLog(kTag, "Same version: Wait then exit...");  // kept: there is no wait
    } else if (port.GetPortType() == COMMPORT_USB) {
        BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset...", kTag);
    } else {
        Log::WriteLog(kTag, "Com or Eth port: Wait then exit...");
        SleepSeconds(12, iTimem);
    }
    return true;
}

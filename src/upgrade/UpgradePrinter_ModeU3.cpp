#include "upgrade/UpgradePrinter_ModeU3.h"

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "upgrade/BankTransfer.h"

bool UpgradePrinter_ModeU3::SendFW(UpgradeDataInfo& /*info*/, CComPort& port, PSWFile& package,
                                   CommPortSettings& /*settings*/, void* /*ctx1*/, void* /*ctx2*/) {
    static constexpr char kTag[] = "SendFW";
    FirmwareImage image;
    std::string release;
    bool sameVersion = false;
    if (!BankTransfer::TakeFirmware(port, package, 1, image, kTag) || !ReachPrinter(port, kTag) ||
        !BankTransfer::CompareRelease(port, package, release, sameVersion, kTag)) {
        return false;
    }
    const std::vector<unsigned char*> banks = image.Banks(0, image.banks);
    unsigned long sum = 0;
    unsigned long xorSum = 0;
    GetCheckSumKeldUsb(banks, image.BankSize(), sum, xorSum);
    return SendBankFlashGeneric(port, banks, image.BankSize(), sum, xorSum, sameVersion, nullptr) ||
           Log::Fail(kTag, "Upgrade Error");
}

bool UpgradePrinter_ModeU3::SendBankFlashGeneric(CComPort& port, const std::vector<unsigned char*>& banks,
                                                 int bankSize, unsigned long sum, unsigned long xorSum,
                                                 bool sameVersion, void* /*ctx2*/) {
    static constexpr char kTag[] = "SendBankFlashGeneric";
    const BankTransfer::Group group{banks, bankSize, 0, static_cast<int>(banks.size()), sum, xorSum};
    if (!BankTransfer::SendGroup(port, group, kTag)) return false;
    if (sameVersion) {
        Log::WriteLog(kTag, "Same version: Wait then exit...");  // kept: there is no wait
    } else if (port.GetPortType() == COMMPORT_USB) {
        BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset...", kTag);
    } else {
        Log::WriteLog(kTag, "Com or Eth port: Wait then exit...");
        Sleep({12000, iTimem});
    }
    return true;
}

#include "upgrade/UpgradePrinter_ModeU1.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "port/ComPort.h"
#include "port/PortSettingsGuard.h"
#include "support/Clock.h"
#include "support/Deadline.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "upgrade/AnswerReads.h"
#include "upgrade/BankTransfer.h"
#include "upgrade/PrinterRelease.h"

namespace {

constexpr char kSendFw[] = "SendFW";
constexpr char kSend[] = "SendBankFlashBanksNew";

constexpr int kMostRetries = 3;
constexpr unsigned int kBankWriteTimeoutMs = 2500;
constexpr unsigned int kBankPacket = 48;
constexpr std::int64_t kAnswerLimitMs = 110000;
constexpr int kMostSilentInquiries = 8;

// Bank error codes. 107 and 108 are fatal too, though nothing here produces them.
constexpr int kNoError = 0;
constexpr int kUnknownAnswer = 5;
constexpr int kChecksum = 100;
constexpr int kBankNotDeleted = 101;
constexpr int kBankNotProgrammed = 102;
constexpr int kBankDamaged = 110;
constexpr int kStartNotSent = 111;
constexpr int kBlockNotSent = 112;
constexpr int kSign = 114;
constexpr int kFatal[] = {kBankDamaged, 107, 108, kStartNotSent, kSign, kUnknownAnswer};

struct AnswerRow {
    unsigned char answer;
    int error;
    const char* line;
};

constexpr AnswerRow kAnswers[] = {
    {0xAA, kNoError, "Answer: NO_ERROR_COM"},
    {0x99, kChecksum, "Answer: ERROR_CECKSUM"},
    {0x88, kBankNotDeleted, "Answer: ERROR_BANK_NOT_DELETED"},
    {0x77, kBankNotProgrammed, "Answer: ERROR_BANK_NOT_PROGRAMMED"},
    {0x66, kBankDamaged, "Answer: ERROR_BANK_DAMAGED"},
    {0x55, kSign, "Answer: ERROR_SEND_SIGN"},
};
constexpr AnswerRow kAnyOtherAnswer{0, kUnknownAnswer, "Answer: ERROR_DEFAULT_CASE"};

constexpr UpgradeFlow MakeFlow() {
    UpgradeFlow flow;
    flow.reopen = UpgradeFlow::Reopen::kWhenSendingFirmware;
    flow.afterFirmware = UpgradeFlow::AfterFirmware::kWaitOnly;
    flow.restore = UpgradeFlow::Restore::kReOpen;
    flow.numberInPsw1Result = true;
    return flow;
}

constexpr UpgradeFlow kFlow = MakeFlow();
constexpr BankTransfer::Opening kOpening{kReopenOrFail, true, "Handshake Communication Error", 1};

const AnswerRow& MeaningOf(unsigned char answer) {
    for (const AnswerRow& row : kAnswers) {
        if (row.answer == answer) return row;
    }
    return kAnyOtherAnswer;
}

bool IsFatal(int error) {
    for (const int fatal : kFatal) {
        if (fatal == error) return true;
    }
    return false;
}

const char* TextForUser(int error) {
    switch (error) {
        case kChecksum:
            return "You have problem during the upgrade procedure.  Please repeat the upgrade.";
        case kBankNotDeleted:
        case kBankNotProgrammed:
            return "You have a serious problem during upgrade phase. "
                   "Please send your printer to Quorva Technical Service.";
        case kSign:  // kept, although a refused sign ends the run before anybody asks for its text
            return "Firmware sign not correct. Upgrade operation aborted!";
        default:
            return "Some serious problem occurred during the upgrade process. Please repeat operation.";
    }
}

/// The printer's setting: whether a USB printer answers. False when the printer names none.
bool FindAnswerSetting(const UpgradeDataInfo& info, int& setting) {
    std::string text = info.strConfigurationSettings;
    std::vector<char*> parts;
    GenericFunctions::splitModify(text.data(), ";", parts);
    return !parts.empty() && GenericFunctions::ParseCheckInt(parts.front(), &setting);
}

/// Logs the outcome of a group and hands it on.
bool Finish(bool result) {
    Log::WriteLogP(kSend, "Upgrade Return Status: %d", result ? 1 : 0);
    return result;
}

bool WriteBanks(CComPort& port, unsigned char* group, int bankDim, int bankCount) {
    for (int j = 0; j < bankCount; ++j) {
        const PortSettingsGuard guard(port);
        port.uiTimeoutTX = kBankWriteTimeoutMs;
        port.uiWPacketSize = kBankPacket;
        Log::WriteLogP(kSend, "Sending flash block start...%d/%d", j + 1, bankCount);
        const bool written = BankTransfer::WriteWhole(port, group + std::int64_t{j} * bankDim,
                                                      static_cast<std::size_t>(bankDim));
        Log::WriteLogP(kSend, "Sending flash block end  ...%d/%d", j + 1, bankCount);
        if (!written) return false;
    }
    return true;
}

bool NotProgrammed(int& err) {
    Log::WriteLog(kSend, "Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED");
    err = kBankNotProgrammed;
    return false;
}

bool IsNewRelease(const char* release, const char* releaseText, int& err) {
    Log::WriteLogP(kSend, "New FW Release :%s", release);
    if (std::strcmp(release, releaseText) != 0) return NotProgrammed(err);
    err = kNoError;
    Log::WriteLog(kSend, "Upgrade succesfully, version correct. Force NO_ERROR_COM");
    return true;
}

}  // namespace

UpgradePrinter_ModeU1::UpgradePrinter_ModeU1(int upgComponents, int timem)
    : UpgradeEngine(upgComponents, timem) {
    iUpgradeMode = 1;
}

const UpgradeFlow& UpgradePrinter_ModeU1::Flow() const {
    return kFlow;
}

void UpgradePrinter_ModeU1::LogPrinterSettings(const UpgradeDataInfo& info, const char* tag) const {
    int setting = 1;
    if (FindAnswerSetting(info, setting)) Log::WriteLogP(tag, "iUSB_PRG_ANSWER:%d", setting);
}

bool UpgradePrinter_ModeU1::SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                   CommPortSettings& settings, void* ctx1, void* ctx2) {
    int setting = 1;
    if (!FindAnswerSetting(info, setting)) setting = 1;
    return SendFW(info, port, package, settings, ctx1, ctx2, setting);
}

bool UpgradePrinter_ModeU1::SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                   CommPortSettings& settings, void* ctx1, void* ctx2, int iUSB_PRG_ANSWER) {
    static_cast<void>(info);
    static_cast<void>(settings);
    static_cast<void>(ctx1);
    FirmwareImage image;
    if (!BankTransfer::ReachPrinter(port, package, kOpening, iTimem, image, kSendFw)) return false;
    szErrorMessage[0] = '\0';
    std::string release;
    bool sameVersion = false;
    if (!BankTransfer::CompareRelease(port, package, release, sameVersion, kSendFw)) return false;
    return SendGroupWithRetries(port, image, release, sameVersion, iUSB_PRG_ANSWER, ctx2);
}

bool UpgradePrinter_ModeU1::SendGroupWithRetries(CComPort& port, const FirmwareImage& image,
                                                 const std::string& release, bool sameVersion,
                                                 int iUSB_PRG_ANSWER, void* ctx2) {
    const int count = static_cast<unsigned char>(image.banks);  // kept: a group counts its banks in one byte
    const int bankDim = static_cast<int>(image.bankSize);
    unsigned long sum = 0;
    unsigned long xorSum = 0;
    GetCheckSumVarda18h(image.data, static_cast<long>(count) * bankDim, sum, xorSum);
    int err = kNoError;
    for (int retries = 0; retries <= kMostRetries;) {
        Log::WriteLogP(kSendFw, "Sending bank...%d", 1);
        if (SendBankFlashBanksNew(port, image.data, bankDim, count, sum, xorSum, 0, err, release.c_str(),
                                  sameVersion, iUSB_PRG_ANSWER, ctx2)) {
            szErrorMessage[0] = '\0';
            SleepSeconds(3, iTimem);
            return true;
        }
        const bool broke = port.ConnectionBroke();
        if (IsFatal(err)) return false;
        ReportFailedTry(err, ++retries);
        // What was begun over one connection is not sent over another: the printer may have half of it.
        if (broke) return false;
        SleepSeconds(1, iTimem);
    }
    return false;
}

void UpgradePrinter_ModeU1::ReportFailedTry(int err, int retries) {
    std::snprintf(szErrorMessage, sizeof szErrorMessage, "%s", TextForUser(err));
    Log::WriteLog(kSendFw, szErrorMessage);
    std::snprintf(szErrorMessage, sizeof szErrorMessage, "Error on sending banks. This is the %d/%d try.",
                  retries, kMostRetries);
    Log::WriteLog(kSendFw, szErrorMessage);
}

bool UpgradePrinter_ModeU1::SendBankFlashBanksNew(CComPort& port, unsigned char* group, int bankDim,
                                                  int bankCount, unsigned long sum, unsigned long xorSum,
                                                  int firstBank, int& err, const char* releaseText,
                                                  bool sameVersion, int iUSB_PRG_ANSWER, void* ctx2) {
    static_cast<void>(ctx2);
    const int lastBank = firstBank + bankCount - 1;
    BankTransfer::StartCommand start = BankTransfer::MakeStart(firstBank, lastBank);
    if (!BankTransfer::WriteWhole(port, start.data(), start.size())) {
        Log::WriteLog(kSend, "ERROR_COMMAND_TO_SEND_BANK");
        err = kStartNotSent;
        return false;
    }
    if (!WriteBanks(port, group, bankDim, bankCount)) {
        err = kBlockNotSent;
        return false;
    }
    BankTransfer::ProgramCommand program = BankTransfer::MakeProgram(firstBank, lastBank, sum, xorSum);
    if (!BankTransfer::WriteWhole(port, program.data(), program.size()) || !port.Drain()) return false;

    if (iUSB_PRG_ANSWER == 0 && port.GetPortType() == COMMPORT_USB)
        return WaitWithoutAnswer(port, sameVersion);
    if (port.GetPortType() == COMMPORT_ETHERNET) return JudgeByRelease(port, releaseText, sameVersion, err);
    return JudgeByAnswer(port, err);
}

bool UpgradePrinter_ModeU1::WaitWithoutAnswer(CComPort& port, bool sameVersion) {
    if (sameVersion) {
        Log::WriteLog(kSend, "Same version: Wait then exit...");
        SleepSeconds(6, iTimem);
    } else {
        // Kept: taken as success whether or not the printer comes back.
        BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset...", kSend);
    }
    return Finish(true);
}

bool UpgradePrinter_ModeU1::JudgeByRelease(CComPort& port, const char* releaseText, bool sameVersion,
                                           int& err) {
    Log::WriteLog(kSend, "Waiting before closing port..");
    SleepSeconds(7, iTimem);
    port.Close();
    SleepSeconds(2, iTimem);
    for (int silent = 0;;) {
        SleepSeconds(1, iTimem);
        if (sameVersion) {
            err = kNoError;
            Log::WriteLog(kSend, "Same version. Force NO_ERROR_COM");
            return Finish(true);
        }
        port.ReOpen();
        if (!port.HandshakeCommunication()) {
            Log::WriteLog(kSend, "Handshake Communication Error");
            return false;
        }
        const std::string release = PrinterRelease::Inquire(port, 8191);
        port.Close();
        if (release.size() == 4) return Finish(IsNewRelease(release.c_str(), releaseText, err));
        Log::WriteLog(kSend, "Read FW Release Error");
        if (++silent > kMostSilentInquiries) return Finish(NotProgrammed(err));
        SleepMs(500, iTimem);
    }
}

bool UpgradePrinter_ModeU1::JudgeByAnswer(CComPort& port, int& err) {
    AnswerReads reads(port, Deadline(kAnswerLimitMs, iTimem));
    unsigned int read = 0;
    while ((read = reads.Read(8191)) == 0) {
        if (reads.Expired()) return false;
    }
    if (read != 1) return false;
    const unsigned char answer = reads.Data()[0];
    Log::WriteLogP(kSend, "Programming answer: 0x%02x", answer);
    const AnswerRow& meaning = MeaningOf(answer);
    if (meaning.error == kNoError)
        kReopenAfterBanks.Run(port, iTimem, kSend);  // kept: taken even if it fails
    err = meaning.error;
    Log::WriteLog(kSend, meaning.line);
    return Finish(meaning.error == kNoError);
}

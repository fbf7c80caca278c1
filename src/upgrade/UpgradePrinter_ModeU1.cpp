#include "upgrade/UpgradePrinter_ModeU1.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "upgrade/BankTransfer.h"
#include "upgrade/ModuleAnswer.h"

namespace {

constexpr int kMostRetries = 3;
constexpr unsigned int kBankWriteTimeoutMs = 2500;
constexpr unsigned int kBankPacket = 48;
constexpr int kAnswerLimitMs = 110000;
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

/// The printer's setting: whether a USB printer answers. None when the printer names none.
std::optional<int> AnswerSetting(const UpgradeDataInfo& info) {
    std::string text = info.strConfigurationSettings;
    std::vector<char*> parts;
    GenericFunctions::splitModify(text.data(), ";", parts);
    int setting = 0;
    if (parts.empty() || !GenericFunctions::ParseCheckInt(parts.front(), &setting)) return std::nullopt;
    return setting;
}

/// Logs the outcome of a group and hands it on.
bool Finish(bool result, const char* tag) {
    Log::WriteLogP(tag, "Upgrade Return Status: %d", result ? 1 : 0);
    return result;
}

bool WriteBanks(CComPort& port, const unsigned char* group, int bankDim, int bankCount, const char* tag) {
    for (int j = 0; j < bankCount; ++j) {
        const PortSettingsGuard guard(port);
        port.uiTimeoutTX = kBankWriteTimeoutMs;
        port.uiWPacketSize = kBankPacket;
        Log::WriteLogP(tag, "Sending flash block start...%d/%d", j + 1, bankCount);
        const bool written = BankTransfer::WriteWhole(port, group + std::int64_t{j} * bankDim,
                                                      static_cast<std::size_t>(bankDim));
        Log::WriteLogP(tag, "Sending flash block end  ...%d/%d", j + 1, bankCount);
        if (!written) return false;
    }
    return true;
}

bool NotProgrammed(int& err, const char* tag) {
    err = kBankNotProgrammed;
    return Log::Fail(tag, "Upgrade Error, so force ERROR_BANK_NOT_PROGRAMMED");
}

bool IsNewRelease(const char* release, const char* releaseText, int& err, const char* tag) {
    Log::WriteLogP(tag, "New FW Release :%s", release);
    if (std::strcmp(release, releaseText) != 0) return NotProgrammed(err, tag);
    err = kNoError;
    Log::WriteLog(tag, "Upgrade succesfully, version correct. Force NO_ERROR_COM");
    return true;
}

}  // namespace

void UpgradePrinter_ModeU1::LogPrinterSettings(const UpgradeDataInfo& info, const char* tag) const {
    if (const auto setting = AnswerSetting(info)) Log::WriteLogP(tag, "iUSB_PRG_ANSWER:%d", *setting);
}

bool UpgradePrinter_ModeU1::SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                   CommPortSettings& settings, void* ctx1, void* ctx2) {
    return SendFW(info, port, package, settings, ctx1, ctx2, AnswerSetting(info).value_or(1));
}

bool UpgradePrinter_ModeU1::SendFW(UpgradeDataInfo& /*info*/, CComPort& port, PSWFile& package,
                                   CommPortSettings& /*settings*/, void* /*ctx1*/, void* /*ctx2*/,
                                   int iUSB_PRG_ANSWER) {
    static constexpr char kTag[] = "SendFW";
    FirmwareImage image;
    if (!BankTransfer::TakeFirmware(port, package, 1, image, kTag) || !ReachPrinter(port, kTag)) return false;
    szErrorMessage[0] = '\0';
    std::string release;
    bool sameVersion = false;
    return BankTransfer::CompareRelease(port, package, release, sameVersion, kTag) &&
           SendGroupWithRetries(port, image, release, sameVersion, iUSB_PRG_ANSWER, kTag);
}

bool UpgradePrinter_ModeU1::SendGroupWithRetries(CComPort& port, const FirmwareImage& image,
                                                 const std::string& release, bool sameVersion,
                                                 int iUSB_PRG_ANSWER, const char* tag) {
    const int count = static_cast<unsigned char>(image.banks);  // kept: a group counts its banks in one byte
    const int bankDim = image.BankSize();
    unsigned long sum = 0;
    unsigned long xorSum = 0;
    GetCheckSumVarda18h(image.data, static_cast<long>(count) * bankDim, sum, xorSum);
    int err = kNoError;
    for (int retries = 0; retries <= kMostRetries;) {
        Log::WriteLogP(tag, "Sending bank...%d", 1);
        if (SendBankFlashBanksNew(port, image.data, bankDim, count, sum, xorSum, 0, err, release.c_str(),
                                  sameVersion, iUSB_PRG_ANSWER, nullptr)) {
            szErrorMessage[0] = '\0';
            Sleep({3000, iTimem});
            return true;
        }
        const bool broke = stuck_ || port.ConnectionBroke();
        if (IsFatal(err)) return false;
        ReportFailedTry(err, ++retries, tag);
        // What was begun over one connection is not sent over another: the printer may have half of it. Nor
        // is anything sent behind a group that is stuck on a stopped line: that would wait without limit.
        if (broke) return false;
        Sleep({1000, iTimem});
    }
    return false;
}

void UpgradePrinter_ModeU1::ReportFailedTry(int err, int retries, const char* tag) {
    std::snprintf(szErrorMessage, sizeof szErrorMessage, "%s", TextForUser(err));
    Log::WriteLog(tag, szErrorMessage);
    std::snprintf(szErrorMessage, sizeof szErrorMessage, "Error on sending banks. This is the %d/%d try.",
                  retries, kMostRetries);
    Log::WriteLog(tag, szErrorMessage);
}

bool UpgradePrinter_ModeU1::SendBankFlashBanksNew(CComPort& port, unsigned char* group, int bankDim,
                                                  int bankCount, unsigned long sum, unsigned long xorSum,
                                                  int firstBank, int& err, const char* releaseText,
                                                  bool sameVersion, int iUSB_PRG_ANSWER, void* /*ctx2*/) {
    static constexpr char kTag[] = "SendBankFlashBanksNew";
    stuck_ = false;
    const int lastBank = firstBank + bankCount - 1;
    if (!BankTransfer::SendStart(port, firstBank, lastBank)) {
        err = kStartNotSent;
        return Log::Fail(kTag, "ERROR_COMMAND_TO_SEND_BANK");
    }
    if (!WriteBanks(port, group, bankDim, bankCount, kTag)) {
        err = kBlockNotSent;
        return false;
    }
    if (!BankTransfer::SendProgram(port, firstBank, lastBank, sum, xorSum)) return false;
    stuck_ = !port.Drain();
    if (stuck_) return false;

    if (iUSB_PRG_ANSWER == 0 && port.GetPortType() == COMMPORT_USB)
        return WaitWithoutAnswer(port, sameVersion, kTag);
    if (port.GetPortType() == COMMPORT_ETHERNET)
        return JudgeByRelease(port, releaseText, sameVersion, err, kTag);
    return JudgeByAnswer(port, err, kTag);
}

bool UpgradePrinter_ModeU1::WaitWithoutAnswer(CComPort& port, bool sameVersion, const char* tag) const {
    if (sameVersion) {
        Log::WriteLog(tag, "Same version: Wait then exit...");
        Sleep({6000, iTimem});
    } else {
        // kept: taken as success whether or not the printer comes back.
        BankTransfer::WaitForReset(port, iTimem, "Different version: Printer reset...", tag);
    }
    return Finish(true, tag);
}

bool UpgradePrinter_ModeU1::JudgeByRelease(CComPort& port, const char* releaseText, bool sameVersion,
                                           int& err, const char* tag) const {
    Log::WriteLog(tag, "Waiting before closing port..");
    Sleep({7000, iTimem});
    port.Close();
    Sleep({2000, iTimem});
    for (int silent = 0;;) {
        Sleep({1000, iTimem});
        if (sameVersion) {
            err = kNoError;
            Log::WriteLog(tag, "Same version. Force NO_ERROR_COM");
            return Finish(true, tag);
        }
        port.ReOpen();
        if (!port.HandshakeCommunication()) {
            return Log::Fail(tag, "Handshake Communication Error");
        }
        const std::string release = BankTransfer::InquireRelease(port, 8191);
        port.Close();
        if (release.size() == 4) return Finish(IsNewRelease(release.c_str(), releaseText, err, tag), tag);
        Log::WriteLog(tag, "Read FW Release Error");
        if (++silent > kMostSilentInquiries) return Finish(NotProgrammed(err, tag), tag);
        Sleep({500, iTimem});
    }
}

bool UpgradePrinter_ModeU1::JudgeByAnswer(CComPort& port, int& err, const char* tag) const {
    AnswerReads reads(port, {kAnswerLimitMs, iTimem});
    unsigned int read = 0;
    while ((read = reads.Read(8191)) == 0) {
        if (reads.Expired()) return false;
    }
    if (read != 1) return false;
    const unsigned char answer = reads.Data()[0];
    Log::WriteLogP(tag, "Programming answer: 0x%02x", answer);
    const AnswerRow& meaning = MeaningOf(answer);
    if (meaning.error == kNoError)
        ReOpenUntilBack(port, kReopenAfterBanks, tag);  // kept: taken even if it fails
    err = meaning.error;
    Log::WriteLog(tag, meaning.line);
    return Finish(meaning.error == kNoError, tag);
}

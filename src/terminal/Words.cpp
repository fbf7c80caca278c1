#include "terminal/Words.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Words {

namespace {

constexpr char kHalfModule[] =
    "the printer is left with half a module and takes the next run for the rest of it";
constexpr char kHalfFirmware[] =
    "the printer is left without a working firmware and takes the next run for the rest of this one";
constexpr char kNoSystem[] = "the printer is left in its boot loader without firmware";

constexpr PhaseRow kPhases[] = {
    {"starting"},
    {"checking the file"},
    {"connecting to {device}"},
    {"opening the connection again"},
    {"asking the printer"},
    {"waiting for the printer's status"},
    {"preparing the firmware"},
    {"module {number} of {modules} \"{name}\"", kHalfModule, false, true},
    {"waiting for the printer to program module {number} of {modules}", kHalfModule, true},
    {"firmware{bank}", kHalfFirmware, false, true},
    {"waiting for the printer to program{bank}", kHalfFirmware, true},
    {"waiting for the printer to restart", nullptr, true, false, 30},
    {"waiting for the printer to restart", nullptr, true},
    {"waiting for the printer to settle", nullptr, true},
    {"waiting before the modules", nullptr, true},
    {"waiting for the printer to leave for its boot loader", nullptr, true},
    {"waiting for the boot loader on USB", nullptr, true},
    {"talking to the boot loader"},
    {"waiting for the boot loader to erase", kNoSystem, true},
};
static_assert(std::size(kPhases) == static_cast<std::size_t>(Phase::kCount), "a phase without words");

constexpr char kUntouched[] = "The printer was not touched.";
constexpr char kUnchanged[] = "Nothing was changed in the printer.";
constexpr char kInLoader[] = "The printer is still in its boot loader.";

#define REASON(name, happened, advice, state) {happened, advice, state},
constexpr CauseRow kCauses[] = {
    {"", "", ""},
#include "terminal/Reasons.inc"
};
#undef REASON

using P = Phase;
using C = Cause;
constexpr char kModuleTag[] = "SendModuleToDevice";
constexpr char kDataTag[] = "SendBankFlashDATA";

// Of two that begin alike the longer one comes first.
// clang-format off
constexpr LineRow kLines[] = {
    // The file.
    {"Opening PSW File: %s", P::kChecking},
    {"This PSW ", C::kNotForUpgrade},
    {"ERROR Searching Header", C::kFilePackage},
    {"%s lies outside the file", C::kFileCut},
    {"The payload of %llu bytes from %d does not lie in the file", C::kFileCut},
    {"Module %d: %llu bytes from %llu do not lie in the package", C::kFileCut},
    {"File not Correct! ", C::kFileModule},
    // Reaching the printer.
    {"COM Port", P::kConnecting},
    {"ETH Port", P::kConnecting},
    {"USB PRN Port", P::kConnecting},
    {"Wrong hostname", C::kHostUnknown, kHint},
    {"Timeout or error()", C::kNotInTime, kHint},
    {"Error in connection()", C::kRefused, kHint},
    {"Error to connect socket", C::kRefused, kHint},
    {"Error to open Serial port", C::kSerialAbsent, kHint},
    {"Error to tcsetattr", C::kNotSerial, kHint},
    {"Error invalid Baudrate", C::kSerialSpeed, kHint},
    {"Couldn't open device", C::kUsbPermission, kHint},
    {"libusb_claim_interface error", C::kUsbBusy, kHint},
    {"libusb_detach_kernel_driver error", C::kUsbBusy, kHint},
    {"Begin", P::kAsking, 0, "ReadProtocollData"},
    {"Get Prot. release Error", C::kNoAnswer},
    {"NO Get ProtocollDataAvailable Setup", C::kNoAnswer},
    {"Get Upgrade Info Error", C::kNoAnswer},
    {"Get Modules List Error", C::kNoAnswer},
    {"Get Cmd_CommandGetHeaderSetup Error", C::kNoAnswer},
    {"Communication Layer: Handshake Error", C::kNoAnswer},
    // What the printer is.
    {"Return is a Error Answer %d", C::kErrorAnswer},
    {"Extract ", C::kNotUnderstood},
    {"%s Compare Error (%d,%d)", C::kOtherPrinter},
    {"Upgrade printer not supported!", C::kNotOffered},
    {"Upgrade module not supported!", C::kModulesNotOffered},
    {"Upgrade Mode %d Not Supported!", C::kProcedure},
    {"Upgrade U2 just support USB port error", C::kUsbOnly},
    {"Upgrade file wrong or incomplete:", C::kNoFirmware},
    {"Upgrade FW not enabled", C::kLeftOut},
    {"Upgrade Modules not enabled", C::kLeftOut},
    {"Upgrade After Modules not enabled", C::kLeftOut},
    // On the way.
    {"Send Fw...", P::kPreparing},
    {"ReOpen Error. Retry", P::kReconnecting},
    {"ReOpen Error. Num Max Retry found. Throw Error", C::kNotBack},
    {"Read GSI Error... Retry", P::kStatus},
    {"Read FW Release Error", C::kNotBack, kHint},
    {"Handshake Communication Error", C::kNotBack},
    {"End", P::kNone, kCloses, "PrnCom_UpgradePrinter"},
    {"End", P::kNone, kCloses, "PrnCom_WriteModule"},
    {"Upgrade Error!", P::kNone, kCloses},
    // Modules.
    {"Begin", P::kModule, kOpens | kBegins, "WritePackets"},
    {"Waiting Answer...", P::kModuleAnswer, 0, kModuleTag},
    {"Wait Answer Error", C::kModuleSilent, 0, kModuleTag},
    {"Answer Error(0x%02x) : %s", C::kModuleRefused, 0, kModuleTag},
    {"Programming OK", P::kSettling},
    // Banks.
    {"Sending bank...%d/%d (%d%%)", P::kFirmware, kNumbers},
    {"Sending bank...%d", P::kFirmware, kOpens | kBegins},
    {"Sending command to start upgrade...", P::kFirmware, kOpens},
    {"Sending flash block start...%d/%d", P::kFirmware, kNumbers},
    {"Sending flash block end  ...%d/%d", P::kProgramming, kWhenLast},
    {"Sending command to program Flash...", P::kProgramming},
    {"Communication Error! exit...", C::kConnectionLost},
    {"ERROR_COMMAND_TO_SEND_BANK", C::kConnectionLost},
    {"Some serious problem occurred during the upgrade process", C::kBankSilent, kHint},
    {"Answer: NO_ERROR_COM", P::kSettling, kConfirms},
    {"Answer: ERROR_", C::kBankRefused},
    {"Waiting Answer...", P::kProgramming, 0, kDataTag},
    {"Wait Answer Error", C::kBankSilent, 0, kDataTag},
    {"Answer Error(0x%02x) : %s", C::kBankRefused, 0, kDataTag},
    {"Different version: Wait printer reset...", P::kRestart},
    {"Com or Eth port: Wait then exit...", P::kRestarting},
    {"Waiting before closing port..", P::kRestarting},
    {"Same version: Wait then exit...", P::kSettling},
    {"Wait than exit...", P::kSettling},
    {"New FW Release :%s", C::kReleaseDiffers, kHint},
    {"Upgrade succesfully, version correct. Force NO_ERROR_COM", P::kSettling, kConfirms},
    {"Wait before starting modules upgrade!", P::kBeforeModules},
    // Boot loaders.
    {"Sending command to enter in USB Boot Direct mode... ", P::kWaitBoot},
    {"Sending command to enter in USB Boot Direct mode...", P::kEnterBoot},
    {"Correct response, the device is in USB Boot Direct mode!", P::kWaitBoot},
    {"Wrong response from device! Exit from upgrade procedure...", P::kWaitBoot},
    {"ERROR : WAIT TIMEOUT! Exit..", C::kBootNotEntered},
    {"Error USB Boot Direct mode", C::kBootNotEntered},
    {"Error waiting renesas device timeout...", C::kBootAbsent},
    {"Not found Silicon Lab device Error.", C::kBootAbsent},
    {"Open Renesas device Error", C::kBootRefused},
    {"Starting connecting operations...", P::kBootTalk},
    {"Sending Programming/Erasure State Transition command", P::kErasing, kOpens},
    {"Start do sending data!", P::kFirmware, kOpens | kBegins},
    {"Sending bank %d/%d (%d%%)", P::kFirmware, kNumbers},
    {"Bank %d successfully sent!", P::kNone, kConfirms},
    {"start sending FW ", P::kFirmware, kOpens | kBegins},
    {"Bank %d ", P::kFirmware, kConfirms | kNumbers},
    {"ERROR: wrong ", C::kBootRefused},
    {"ERROR: Unknown response!", C::kBootRefused},
    {"Error during send command! exit...", C::kBootRefused},
    {"Silicon Laboratory answer Error NACK", C::kBootRefused},
    {"Upgrade firmware. Please, restart the printer", C::kSwitchOffOn},
};
// clang-format on

}  // namespace

const PhaseRow& Of(Phase phase) {
    return kPhases[static_cast<std::size_t>(phase)];
}

const CauseRow& Of(Cause cause) {
    return kCauses[static_cast<std::size_t>(cause)];
}

const LineRow* Find(const char* tag, const char* key) {
    const auto* row = std::find_if(std::begin(kLines), std::end(kLines), [&](const LineRow& each) {
        return std::strncmp(each.key, key, std::strlen(each.key)) == 0 &&
               (each.tag == nullptr || std::strcmp(each.tag, tag) == 0);
    });
    return row == std::end(kLines) ? nullptr : row;
}

const LineRow* Lines(std::size_t& count) {
    count = std::size(kLines);
    return kLines;
}

std::string Fill(const char* text, const Facts& facts) {
    std::string filled;
    for (const char* at = text; *at != '\0'; ++at) {
        const char* const end = *at == '{' ? std::strchr(at, '}') : nullptr;
        if (end == nullptr) {
            filled += *at;
            continue;
        }
        const auto fact = facts.find(std::string(at + 1, end));
        if (fact != facts.end()) filled += fact->second;
        at = end;
    }
    return filled;
}

}  // namespace Words

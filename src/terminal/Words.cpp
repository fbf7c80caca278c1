#include "terminal/Words.h"

#include <iterator>
#include <sstream>

namespace Words {

constexpr char kConnecting[] = "connecting to {device}";
constexpr char kFirmware[] = "firmware{bank}";
constexpr char kNoSystem[] = "the printer is left in its boot loader without firmware";

namespace {

constexpr std::size_t kLongestFact = 200;  // of what a file or a printer brought

constexpr char kModule[] = "module {number} of {modules} \"{name}\"";
constexpr char kModuleAnswer[] = "waiting for the printer to program module {number} of {modules}";
constexpr char kProgramming[] = "waiting for the printer to program{bank}";
constexpr char kRestart[] = "waiting for the printer to restart";
constexpr char kSettling[] = "waiting for the printer to settle";
constexpr char kWaitBoot[] = "waiting for the boot loader on USB";
constexpr char kHalfModule[] =
    "the printer is left with half a module and takes the next run for the rest of it";
constexpr char kHalfFirmware[] =
    "the printer is left without a working firmware and takes the next run for the rest of this one";

// clang-format off
constexpr Phase kPhases[] = {
    {"Opening PSW File: %s", 0, "checking the file"},
    {"COM Port|ETH Port|USB PRN Port", 0, kConnecting},
    {"[ReadProtocollData]Begin", 0, "asking the printer"},
    {"ReOpen Error. Retry", 0, "opening the connection again"},
    {"Read GSI Error... Retry", 0, "waiting for the printer's status"},
    {"[WritePackets]Begin", kCounts | kOpens | kBegins, kModule, kHalfModule},
    {"[SendModuleToDevice]Waiting Answer...", kWaits, kModuleAnswer, kHalfModule},
    {"Send Fw...", 0, "preparing the firmware"},
    {"Sending bank...%d/%d (%d%%)|Sending flash block start...%d/%d|Sending bank %d/%d (%d%%)",
        kCounts | kNumbers, kFirmware, kHalfFirmware},
    {"Sending bank...%d|Start do sending data!|start sending FW ", kCounts | kOpens | kBegins, kFirmware, kHalfFirmware},
    {"Sending command to start upgrade...", kCounts | kOpens, kFirmware, kHalfFirmware},
    {"Bank %d ", kCounts | kConfirms | kNumbers, kFirmware, kHalfFirmware},
    {"Bank %d successfully sent!", kConfirms},
    {"Sending flash block end  ...%d/%d", kWaits | kWhenLast | kNumbers, kProgramming, kHalfFirmware},
    {"Sending command to program Flash...|[SendBankFlashDATA]Waiting Answer...", kWaits, kProgramming, kHalfFirmware},
    {"Answer: NO_ERROR_COM|Upgrade succesfully, version correct. Force NO_ERROR_COM", kWaits | kConfirms, kSettling},
    {"Programming OK|Same version: Wait then exit...|Wait than exit...", kWaits, kSettling},
    {"Different version: Wait printer reset...", kWaits, kRestart, nullptr, 30},  // several attempts
    {"Com or Eth port: Wait then exit...|Waiting before closing port..", kWaits, kRestart},
    {"Wait before starting modules upgrade!", kWaits, "waiting before the modules"},
    {"Sending command to enter in USB Boot Direct mode...", kWaits, "waiting for the printer to leave for its boot loader"},
    {"Sending command to enter in USB Boot Direct mode... |Correct response, the device is in USB Boot Direct mode!|"
        "Wrong response from device! Exit from upgrade procedure...", kWaits, kWaitBoot},
    {"Starting connecting operations...", 0, "talking to the boot loader"},
    {"Sending Programming/Erasure State Transition command", kWaits | kOpens, "waiting for the boot loader to erase", kNoSystem},
    {"[PrnCom_UpgradePrinter]End|[PrnCom_WriteModule]End|Upgrade Error!", kCloses},
};
// clang-format on

#define REASON(name, ...) {__VA_ARGS__},
constexpr Reason kReasons[] = {
#include "terminal/Reasons.h"
};
#undef REASON

/// Whether each phase has words, as each reason has.
constexpr bool AllWorded() {
    for (const Phase& each : kPhases) {
        if (each.text != nullptr ? *each.text == '\0' : (each.effects & (kCounts | kWaits)) != 0)
            return false;
    }
    return true;
}
static_assert(AllWorded(), "a phase without words");

std::vector<std::string> Split(const char* keys) {
    std::vector<std::string> all;
    std::istringstream text(keys);
    for (std::string key; std::getline(text, key, '|');) all.push_back(key);
    return all;
}

/// The row with the longest key that the line begins with; null: none.
template <class Row, std::size_t N>
const Row* FindIn(const Row (&rows)[N], const std::string& tag, const std::string& key) {
    const std::string line = "[" + tag + "]" + key;
    const Row* found = nullptr;
    std::size_t longest = 0;
    for (const Row& row : rows) {
        for (const std::string& each : Split(row.keys)) {
            const std::size_t from = each[0] == '[' ? 0 : tag.size() + 2;
            if (each.size() <= longest || line.compare(from, each.size(), each) != 0) continue;
            found = &row;
            longest = each.size();
        }
    }
    return found;
}

}  // namespace

const Reason& Of(Cause cause) {
    return kReasons[static_cast<std::size_t>(cause) - 1];
}

const Phase* FindPhase(const std::string& tag, const std::string& key) {
    return FindIn(kPhases, tag, key);
}

Cause FindCause(const std::string& tag, const std::string& key) {
    const Reason* const found = FindIn(kReasons, tag, key);
    return found == nullptr ? Cause::kNone : static_cast<Cause>(found - kReasons + 1);
}

std::vector<std::string> Keys() {
    std::string all;
    for (const Phase& row : kPhases) all += row.keys + std::string("|");
    for (const Reason& row : kReasons) all += row.keys + std::string(*row.keys != '\0' ? "|" : "");
    return Split(all.c_str());
}

std::string Fill(std::string text, const Facts& facts) {
    for (std::size_t at = 0; (at = text.find('{', at)) != std::string::npos;) {
        const std::size_t end = text.find('}', at);
        const auto fact = facts.find(text.substr(at + 1, end - at - 1));
        const std::string filled = fact != facts.end() ? fact->second.substr(0, kLongestFact) : "";
        text.replace(at, end + 1 - at, filled);
        at += filled.size();
    }
    return text;
}

}  // namespace Words

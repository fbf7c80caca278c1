#pragma once

#include <map>
#include <string>
#include <vector>

/// What is said at a terminal: each phase of a run and each reason in words, found by the log line that goes
/// with them.
namespace Words {

/// What a log line tells besides.
enum Effect : unsigned {
    kWaits = 1,       ///< the phase counts down to what ends the wait at the latest
    kCounts = 2,      ///< the bytes written are those of a module or the firmware
    kBegins = 4,      ///< bytes are counted anew
    kNumbers = 8,     ///< the line holds the number of a bank, and perhaps how many there are
    kWhenLast = 16,   ///< the phase begins with the line of the last bank
    kOpens = 32,      ///< from here on an interruption does harm
    kCloses = 64,     ///< and from here on no more
    kConfirms = 128,  ///< the printer says that it took the firmware
};

/// What is being done. Log lines ("|" between them) are named by how they begin in the code, "[tag]" before
/// it where that counts; of two that fit the longer one holds.
struct Phase {
    const char* keys;
    unsigned long effects;
    const char* text = nullptr;    ///< null: as before
    const char* leaves = nullptr;  ///< what an interruption would leave behind; null: as before
    int limitSeconds = 0;          ///< a limit of the phase's own, × the time multiplier

    bool Has(unsigned long effect) const { return (effects & effect) != 0; }
};

extern const char kConnecting[], kFirmware[], kNoSystem[];

/// Why something is said: a warning, a failure, or what a success leaves open.
enum class Cause {
    kNone,
#define REASON(name, ...) name,
#include "terminal/Reasons.h"
#undef REASON
    kCount
};

struct Reason {
    const char* keys;
    const char* happened;
    const char* advice;  ///< and how the printer is left
};

/// What is filled in for "{name}".
using Facts = std::map<std::string, std::string>;

const Reason& Of(Cause cause);
/// What a line as the code has it tells; null and none: nothing.
const Phase* FindPhase(const std::string& tag, const std::string& key);
Cause FindCause(const std::string& tag, const std::string& key);
/// All lines that tell something.
std::vector<std::string> Keys();
/// The text with its braces filled in; what no fact is known of is left out.
std::string Fill(std::string text, const Facts& facts);

}  // namespace Words

#pragma once

#include <cstddef>
#include <map>
#include <string>

/// What is said at a terminal: each phase of a run and each reason in words, and one table that finds them by
/// the log line that goes with them.
namespace Words {

/// What is being done.
enum class Phase {
    kNone,
    kChecking,
    kConnecting,
    kReconnecting,
    kAsking,
    kStatus,
    kPreparing,
    kModule,
    kModuleAnswer,
    kFirmware,
    kProgramming,
    kRestart,     ///< with attempts to reach it
    kRestarting,  ///< just waited for
    kSettling,
    kBeforeModules,
    kEnterBoot,
    kWaitBoot,
    kBootTalk,
    kErasing,
    kCount
};

struct PhaseRow {
    const char* text;
    const char* interrupted =
        nullptr;           ///< what an interruption would leave behind; null: as in the phase before
    bool waits = false;    ///< counts down to what ends the wait at the latest
    bool counts = false;   ///< the bytes written are those of a module or the firmware
    int limitSeconds = 0;  ///< a limit of the phase's own, × the time multiplier
};

/// Why something is said: a warning, a failure, or what a success leaves open.
enum class Cause {
    kNone,
#define REASON(name, happened, advice, state) name,
#include "terminal/Reasons.inc"
#undef REASON
    kCount
};

struct CauseRow {
    const char* happened;
    const char* advice;
    const char* state;  ///< how the printer is left, as far as the advice does not tell
};

/// What else a log line tells.
enum Effect : unsigned {
    kOpens = 1,      ///< from here on an interruption does harm
    kCloses = 2,     ///< and from here on no more
    kConfirms = 4,   ///< the printer says that it took the firmware
    kNumbers = 8,    ///< the line holds the number of a bank, and perhaps how many there are
    kBegins = 16,    ///< bytes are counted anew
    kWhenLast = 32,  ///< the phase begins with the line of the last bank
    kHint = 64,      ///< the cause holds only while no line without this tells another
};

/// A log line, by how it begins in the code. `tag` null: under any tag.
struct LineRow {
    constexpr LineRow(const char* begin, Phase next, unsigned more = 0, const char* under = nullptr)
        : key(begin), tag(under), phase(next), effects(more) {}
    constexpr LineRow(const char* begin, Cause why, unsigned more = 0, const char* under = nullptr)
        : key(begin), tag(under), cause(why), effects(more) {}
    const char* key;
    const char* tag;
    Phase phase = Phase::kNone;
    Cause cause = Cause::kNone;
    unsigned effects;
};

/// What is filled in for "{name}".
using Facts = std::map<std::string, std::string>;

const PhaseRow& Of(Phase phase);
const CauseRow& Of(Cause cause);
/// The row of a line as the code has it; null when it tells nothing.
const LineRow* Find(const char* tag, const char* key);
const LineRow* Lines(std::size_t& count);
/// The text with its braces filled in; what no fact is known of is left out.
std::string Fill(const char* text, const Facts& facts);

}  // namespace Words

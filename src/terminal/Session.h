#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/Clock.h"
#include "support/Listener.h"
#include "terminal/Foresight.h"
#include "terminal/LiveLine.h"
#include "terminal/Words.h"

class PSWFile;

/// What a person at a terminal sees of a run besides what it prints: warnings, a live line, and reasons at
/// its end. Everything goes to standard error. Made once a run, and only when standard error is a terminal;
/// its end says what the last line leaves open.
class Session final : public Listener {
 public:
    /// Makes the session of this run, or none when nobody watches.
    static void Begin(RunOptions run);
    /// What the session has to know of the package that will be sent.
    void Know(PSWFile& package);
    /// The session of this run; null when nobody watches.
    static Session* Current();

    explicit Session(RunOptions run);
    ~Session() override;

    void OnLine(const char* tag, const char* key, const char* text) override;
    void OnLimit(std::uint64_t us) override;
    void OnTurn() override;
    void OnBytes(unsigned int count) override;
    void OnModule(const unsigned char* data, int size) override;
    void OnEvent(Event event, long number, const char* text) override;

 private:
    class WatchedClock;

    void Enter(Words::Phase phase, unsigned effects);
    void Note(const Words::LineRow& row, const std::string& text);
    void NoteNumbers(const std::string& text);
    void NoteIdentity(const char* text);
    void NoteLeftOut(const std::string& key);
    void NoteProcedure(long procedure);
    void Draw();
    std::vector<std::string> Progress() const;
    void Say(Words::Cause cause, bool failure = true);
    void Conclude();
    Words::Cause Reason();
    Words::Cause Settled(Words::Cause cause) const;
    Words::Cause ReasonOnUsb();
    Words::Cause BySystemError(Words::Cause cause) const;
    std::uint64_t NowUs() const;
    bool BootProcedure() const { return procedure_ == 2 || procedure_ == 4 || procedure_ == 6; }

    const RunOptions run_;
    Clock& clock_;
    std::unique_ptr<WatchedClock> watched_;
    LiveLine line_;
    Words::Facts facts_;
    const std::uint64_t startUs_;

    Words::Phase phase_ = Words::Phase::kNone;
    std::uint64_t drawnUs_ = 0;
    std::uint64_t limitUs_ = 0;    ///< when the wait is over; 0: nothing limits it
    std::uint64_t stalledUs_ = 0;  ///< since when the printer takes no byte; 0: it does
    bool stallSaid_ = false;

    std::uint64_t firmware_ = 0;  ///< bytes
    int modules_ = 0;             ///< that will be sent
    int module_ = 0;
    int bank_ = 0;
    int banks_ = 0;  ///< 0: not known
    std::uint64_t total_ = 0;
    std::uint64_t sent_ = 0;
    std::uint64_t rateFromUs_ = 0;  ///< the rate is measured from here
    std::uint64_t rateBase_ = 0;

    long procedure_ = 0;
    long systemError_ = 0;
    int refusals_ = 0;
    bool opened_ = false;  ///< something was written that an interruption would have spoilt
    bool firmwareSent_ = false;
    bool confirmed_ = false;
    bool leftOut_ = false;  ///< something that the package brings, by `-c`
    Words::Cause cause_ = Words::Cause::kNone;
    Words::Cause hint_ = Words::Cause::kNone;
    std::string lastLine_;
    bool ended_ = false;
};

#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "simulator/AnswerQueue.h"
#include "simulator/BootDevice.h"

namespace simulator {

/// What a boot loader does otherwise than it should at one command. What it refuses it does not do.
struct BootFault {
    enum class Kind { Says, Late, Vanishes };

    /// `answer` in place of its own, in one transfer; empty is silence.
    static BootFault Says(int command, Bytes answer) {
        return {Kind::Says, command, 1, 1, std::move(answer), 0};
    }
    static BootFault Silence(int command) { return Says(command, {}); }
    /// Does what it is told, and answers `ms` later.
    static BootFault Late(int command, std::uint64_t ms) { return {Kind::Late, command, 1, 1, {}, ms}; }
    /// Leaves the bus without an answer, for good.
    static BootFault Vanishes(int command) { return {Kind::Vanishes, command, 1, 1, {}, 0}; }

    /// Hits these occurrences of the command, counted from 1; the first one when nothing is said.
    BootFault& Between(int from, int to) {
        first = from;
        last = to;
        return *this;
    }

    Kind kind = Kind::Says;
    int command = 0;
    int first = 1;
    int last = 1;
    Bytes answer;
    std::uint64_t delayMs = 0;
};

/// What every boot loader is told about itself.
struct BootChipOptions {
    UsbIdentity usb;
    std::uint64_t answerMs = 1;
    std::uint64_t leaveMs = 3000;   ///< from the last answer until the chip leaves its boot loader
    std::vector<BootFault> faults;  ///< the first one that fits holds
};

/// What the boot loaders share: their place on the bus, their answers, their faults, and their memory of what
/// the host did wrong.
class BootChip : public BootDevice {
 public:
    std::vector<Bytes> Transmit(std::uint64_t now) final;
    std::uint64_t NextEvent(std::uint64_t now) const final;
    std::optional<UsbIdentity> OnUsb(std::uint64_t now) final;
    bool Finished() const final { return finished_; }
    std::vector<std::string> Violations() const final { return violations_; }

    /// How often the command came.
    int Count(int command) const;

 protected:
    explicit BootChip(BootChipOptions options) : options_(std::move(options)) {}

    bool Vanished() const { return vanished_; }
    /// True when no answer to an earlier command is waiting to be fetched; a violation otherwise.
    bool IsHostWaiting();
    void Violation(const std::string& text) { violations_.push_back(text); }
    /// The chip leaves its boot loader a while after the answer that follows.
    void Finish() { finishing_ = true; }
    /// The chip leaves its boot loader a while after `now`.
    void LeaveAfter(std::uint64_t now) { leaveAt_ = std::min(leaveAt_, now + options_.leaveMs); }

    /// Counts the command and plays the fault that is due. True when the chip is to do what it is told.
    bool Obeys(int command, std::uint64_t now);
    /// The chip's own answer to the command that was counted last.
    void Answer(Bytes answer, std::uint64_t now);

 private:
    BootChipOptions options_;
    AnswerQueue answers_;
    std::map<int, int> counts_;
    std::vector<std::string> violations_;
    std::uint64_t extraMs_ = 0;
    bool vanished_ = false;
    bool finishing_ = false;
    std::uint64_t leaveAt_ = kNever;
    bool finished_ = false;
};

}  // namespace simulator

#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "simulator/AnswerQueue.h"
#include "simulator/DeviceModel.h"

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
struct BootOptions {
    UsbIdentity usb;
    std::uint64_t answerMs = 1;
    std::uint64_t leaveMs = 3000;   ///< from the last answer until the chip leaves its boot loader
    std::vector<BootFault> faults;  ///< the first one that fits holds
};

/// The chip of a printer that has left its firmware for its boot loader: a device on USB and nowhere else.
/// The printer model makes one when it is told to enter its boot loader, hands it all bytes, control requests
/// and time while it is there, and takes the flash image and the release from it when it is done. The boot
/// loaders share their place on the bus, their answers, their faults, and their memory of what the host did
/// wrong.
class BootDevice : public DeviceModel {
 public:
    bool OnLine(std::uint64_t) final { return false; }
    std::vector<Bytes> Transmit(std::uint64_t now) final;
    std::uint64_t NextEvent(std::uint64_t now) const final;
    std::optional<UsbIdentity> OnUsb(std::uint64_t now) final;

    /// True once the chip leaves its boot loader of its own accord (after its last record or a reset command)
    /// and the printer starts. A chip that only a power cycle brings back never says so.
    bool Finished() const { return finished_; }

    /// What the flash holds, in the order of the package's data.
    virtual Bytes FlashImage() const = 0;

    /// The release of the firmware that the chip was given; empty while it holds no firmware that would start
    /// (after a power cycle it is then a boot device again).
    virtual std::string NewRelease() const = 0;

    /// What the host did that the chip would not have stood, in order. Tests expect none.
    const std::vector<std::string>& Violations() const { return violations_; }

 protected:
    explicit BootDevice(BootOptions options) : options_(std::move(options)) {}

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
    BootOptions options_;
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

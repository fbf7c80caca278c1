#include "simulator/boot/BootChip.h"

#include <algorithm>
#include <utility>

namespace simulator {

std::vector<Bytes> BootChip::Transmit(std::uint64_t now) {
    finished_ = finished_ || now >= leaveAt_;
    return answers_.Take(now);
}

std::uint64_t BootChip::NextEvent(std::uint64_t now) const {
    static_cast<void>(now);
    return finished_ ? answers_.NextDue() : std::min(answers_.NextDue(), leaveAt_);
}

std::optional<UsbIdentity> BootChip::OnUsb(std::uint64_t now) {
    static_cast<void>(now);
    if (vanished_ || finished_) return std::nullopt;
    return options_.usb;
}

int BootChip::Count(int command) const {
    const auto found = counts_.find(command);
    return found == counts_.end() ? 0 : found->second;
}

bool BootChip::IsHostWaiting() {
    if (answers_.NextDue() == kNever) return true;
    Violation("a command before the answer to the one before it");
    return false;
}

bool BootChip::Obeys(int command, std::uint64_t now) {
    const int count = ++counts_[command];
    extraMs_ = 0;
    const auto fault =
        std::find_if(options_.faults.begin(), options_.faults.end(), [&](const BootFault& each) {
            return each.command == command && each.first <= count && count <= each.last;
        });
    if (fault == options_.faults.end()) return true;
    if (fault->kind == BootFault::Kind::Late) {
        extraMs_ = fault->delayMs;
        return true;
    }
    if (fault->kind == BootFault::Kind::Vanishes) {
        vanished_ = true;
        answers_.Clear();
    } else if (!fault->answer.empty()) {
        answers_.Add(fault->answer, now + options_.answerMs, false);
    }
    return false;
}

void BootChip::Answer(Bytes answer, std::uint64_t now) {
    const std::uint64_t due = now + options_.answerMs + extraMs_;
    answers_.Add(std::move(answer), due, false);
    if (finishing_) LeaveAfter(due);
}

}  // namespace simulator

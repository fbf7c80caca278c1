#include "simulator/boot/BootDevice.h"

#include <algorithm>
#include <utility>

namespace simulator {

std::vector<Bytes> BootDevice::Transmit(std::uint64_t now) {
    finished_ = finished_ || now >= leaveAt_;
    return answers_.Take(now);
}

std::uint64_t BootDevice::NextEvent(std::uint64_t) const {
    return finished_ ? answers_.NextDue() : std::min(answers_.NextDue(), leaveAt_);
}

std::optional<UsbIdentity> BootDevice::OnUsb(std::uint64_t) {
    if (vanished_ || finished_) return std::nullopt;
    return options_.usb;
}

bool BootDevice::IsHostWaiting() {
    if (answers_.NextDue() == kNever) return true;
    Violation("a command before the answer to the one before it");
    return false;
}

bool BootDevice::Obeys(int command, std::uint64_t now) {
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

void BootDevice::Answer(Bytes answer, std::uint64_t now) {
    const std::uint64_t due = now + options_.answerMs + extraMs_;
    answers_.Add(std::move(answer), due, false);
    if (finishing_) LeaveAfter(due);
}

}  // namespace simulator

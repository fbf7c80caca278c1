#include "simulator/boot/RenesasBootDevice.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "simulator/SampleFiles.h"

namespace simulator {

namespace {

constexpr unsigned char kAck = 0x06;
constexpr unsigned char kNak = 0x15;
constexpr unsigned char kNewDialectMark = 0x52;
constexpr std::size_t kUnitHead = 5;  // command and address
constexpr std::size_t kTerminateSize = 6;

unsigned char Sum(const Bytes& bytes) {
    return static_cast<unsigned char>(std::accumulate(bytes.begin(), bytes.end(), 0U) & 0xFF);
}

/// Ends an answer or a command with the byte that makes its sum 0.
Bytes WithSum(Bytes bytes) {
    bytes.push_back(static_cast<unsigned char>(0x100 - Sum(bytes)));
    return bytes;
}

void AppendAddress(Bytes& bytes, std::uint64_t address) {
    for (const int shift : {24, 16, 8, 0})
        bytes.push_back(static_cast<unsigned char>((address >> shift) & 0xFF));
}

bool IsProgrammingEnd(const Bytes& received) {
    return std::all_of(received.begin() + 1, received.begin() + kUnitHead,
                       [](unsigned char byte) { return byte == 0xFF; });
}

}  // namespace

/// A command: the bytes that it must have (none: judged where it is performed), the stages in which the chip
/// takes it, and the stage that it leads to.
struct RenesasBootDevice::Row {
    int command;
    Bytes bytes;
    Stage from;
    Stage to;
    std::optional<Stage> next;
};

const RenesasBootDevice::Row* RenesasBootDevice::FindRow(int command) {
    static const std::vector<Row> rows{
        {kBitRateAdjustment, {0x55}, Stage::Silent, Stage::Silent, Stage::Inquiry},
        {kRelease, {0x32}, Stage::Inquiry, Stage::Inquiry, {}},
        {kSecurity, {0x33}, Stage::Inquiry, Stage::Inquiry, {}},
        {kSecurityNew, {0x34}, Stage::Inquiry, Stage::Inquiry, {}},
        {kUnitSize, {0x27}, Stage::Inquiry, Stage::RateChosen, {}},
        {kDeviceSelection, WithSum({0x10, 4, '7', '6', '0', '8'}), Stage::Inquiry, Stage::Inquiry,
         Stage::DeviceChosen},
        {kClockMode, WithSum({0x11, 1, 0}), Stage::DeviceChosen, Stage::DeviceChosen, Stage::ClockChosen},
        {kUserArea, {0x25}, Stage::Inquiry, Stage::RateChosen, {}},
        {kBitRate, WithSum({0x3F, 7, 0, 0, 0x04, 0xB0, 2, 8, 4}), Stage::ClockChosen, Stage::ClockChosen,
         Stage::RateChosen},
        {kConfirmation, {0x06}, Stage::RateChosen, Stage::RateChosen, Stage::Confirmed},
        {kProgrammingState, {0x40}, Stage::Confirmed, Stage::Confirmed, Stage::Erased},
        {kStatus, {0x4F}, Stage::Erased, Stage::Locked, {}},
        {kUserBlank, {0x4D}, Stage::Erased, Stage::Erased, Stage::UserBlank},
        {kDataBlank, {0x62}, Stage::UserBlank, Stage::UserBlank, Stage::Blank},
        {kAreaSelection, {0x43}, Stage::Blank, Stage::Blank, Stage::Programming},
        {kUnit, {}, Stage::Programming, Stage::Programming, {}},
        {kTerminate, WithSum({0x50, 0xFF, 0xFF, 0xFF, 0xFF}), Stage::Programming, Stage::Programming,
         Stage::Terminated},
        {kLock, {0x7A}, Stage::Terminated, Stage::Terminated, Stage::Locked},
        {kReset, {0x31}, Stage::Inquiry, Stage::Locked, {}},
    };
    const auto found =
        std::find_if(rows.begin(), rows.end(), [command](const Row& row) { return row.command == command; });
    return found == rows.end() ? nullptr : &*found;
}

RenesasBootDevice::RenesasBootDevice(RenesasBootOptions options)
    : BootDevice(options),
      boot_(std::move(options)),
      programmed_(boot_.flashSize / boot_.unitSize),
      flash_(boot_.flashSize, 0xFF) {}

void RenesasBootDevice::ConnectionChanged(bool connected, std::uint64_t now) {
    received_.clear();
    if (!connected && locked_ && boot_.userRestarts) LeaveAfter(now);
}

/// The size of the command at the front of what was received; 0 while that cannot be said.
std::size_t RenesasBootDevice::CommandSize() const {
    switch (received_.front()) {
        case kDeviceSelection:
        case kClockMode:
        case kBitRate:
            return received_.size() < 2 ? 0 : received_[1] + std::size_t{3};
        case kUnit:
            if (received_.size() < kUnitHead) return 0;
            return IsProgrammingEnd(received_) ? kTerminateSize : kUnitHead + boot_.unitSize + 1;
        default:
            return 1;
    }
}

int RenesasBootDevice::CommandOf(const Bytes& command) const {
    return command.front() == kUnit && command.size() == kTerminateSize ? int{kTerminate}
                                                                        : int{command.front()};
}

void RenesasBootDevice::Receive(const unsigned char* data, std::size_t size, std::uint64_t now) {
    if (Vanished() || Finished()) return;
    received_.insert(received_.end(), data, data + size);
    while (!received_.empty()) {
        const std::size_t commandSize = CommandSize();
        if (commandSize == 0 || received_.size() < commandSize) return;
        const auto end = received_.begin() + static_cast<std::ptrdiff_t>(commandSize);
        const Bytes command(received_.begin(), end);
        received_.erase(received_.begin(), end);
        Handle(command, now);
    }
}

bool RenesasBootDevice::IsInOrder(const Row& row) const {
    return row.from <= stage_ && stage_ <= row.to;
}

void RenesasBootDevice::Handle(const Bytes& bytes, std::uint64_t now) {
    const int command = CommandOf(bytes);
    IsHostWaiting();
    if (!Obeys(command, now)) return;
    if (stage_ == Stage::Silent && command != kBitRateAdjustment) {
        // Only a reset may be tried on a chip that does not hear yet.
        if (command != kReset) Violation("a command before the bit rate was adjusted");
        return;
    }
    const Row* row = FindRow(command);
    if (row == nullptr || !IsInOrder(*row)) {
        Violation("command " + std::to_string(command) + " out of its order");
        Answer({0x80, static_cast<unsigned char>(command & 0xFF)}, now);
        return;
    }
    if (!row->bytes.empty() && row->bytes != bytes) {
        Violation("command " + std::to_string(command) + " with wrong bytes");
        Answer({static_cast<unsigned char>((command & 0x7F) | 0x80), 0x11}, now);
        return;
    }
    const std::size_t before = Violations().size();
    Bytes answer = Perform(command, bytes);
    if (row->next && Violations().size() == before) stage_ = *row->next;
    Answer(std::move(answer), now);
}

Bytes RenesasBootDevice::Perform(int command, const Bytes& bytes) {
    switch (command) {
        case kBitRateAdjustment:
            return {0xE6};
        case kRelease:
            return Bytes(boot_.bootRelease.begin(), boot_.bootRelease.end());
        case kSecurity:
        case kSecurityNew:
            return Secure(command);
        case kUnitSize:
            return WithSum({0x37, 2, static_cast<unsigned char>(boot_.unitSize >> 8),
                            static_cast<unsigned char>(boot_.unitSize & 0xFF)});
        case kUserArea:
            return UserArea();
        case kProgrammingState:
            if (!IsSecured()) Violation("not secured before the programming state");
            return {IsSecured() ? kAck : static_cast<unsigned char>(0xC0)};
        case kStatus:
            return Status();
        case kDataBlank:
            return boot_.newDialect ? Bytes{0xE2, kNewDialectMark} : Bytes{kAck};
        case kUnit:
            return TakeUnit(bytes);
        case kLock:
        case kTerminate:
            return command == kLock ? Lock() : Bytes{kAck};
        case kReset:
            Reset();
            return {0x52};
        default:
            return {kAck};
    }
}

Bytes RenesasBootDevice::Secure(int command) {
    const bool known = boot_.bootRelease >= "1.00" && (command == kSecurity || securityRefused_);
    if (!known) Violation("a security command that this boot loader does not know");
    securityRefused_ = known && command == kSecurity && boot_.newDialect;
    secured_ = known && !securityRefused_;
    return {secured_ ? kAck : kNak};
}

Bytes RenesasBootDevice::Status() const {
    const bool marked = boot_.newDialect && stage_ >= Stage::Blank;
    return WithSum({0x5F, 2, 0x3F, marked ? kNewDialectMark : static_cast<unsigned char>(0)});
}

Bytes RenesasBootDevice::UserArea() const {
    Bytes answer{0x35, 9, 1};
    AppendAddress(answer, FlashStart());
    AppendAddress(answer, 0xFFFFFFFF);
    return WithSum(std::move(answer));
}

Bytes RenesasBootDevice::TakeUnit(const Bytes& frame) {
    if (Sum(frame) != 0) {
        Violation("a unit with a wrong sum");
        return {0xD0, 0x11};
    }
    std::uint64_t address = 0;
    for (std::size_t at = 1; at < kUnitHead; ++at) address = address << 8 | frame[at];
    const std::uint64_t offset = address - FlashStart();
    const std::size_t unit = offset / boot_.unitSize;
    if (address < FlashStart() || offset % boot_.unitSize != 0 || unit >= programmed_.size()) {
        Violation("a unit outside the flash or across two of its units");
        return {0xD0, 0x2A};
    }
    const bool any = std::find(programmed_.begin(), programmed_.end(), true) != programmed_.end();
    if (programmed_[unit] || (any && (unit == 0 || !programmed_[unit - 1]))) {
        Violation("a unit that was programmed, or does not follow the one before it");
        return {0xD0, 0x53};
    }
    programmed_[unit] = true;
    std::copy(frame.begin() + kUnitHead, frame.end() - 1,
              flash_.begin() + static_cast<std::ptrdiff_t>(offset));
    return {kAck};
}

Bytes RenesasBootDevice::Lock() {
    locked_ = !programmed_.empty() && programmed_.back();
    if (!locked_) Violation("locked before the firmware was programmed to its end");
    return {locked_ ? kAck : kNak};
}

void RenesasBootDevice::Reset() {
    if (locked_) {
        Finish();
        return;
    }
    stage_ = Stage::Silent;
    secured_ = false;
    securityRefused_ = false;
}

Bytes RenesasBootDevice::FlashImage() const {
    const auto first = std::find(programmed_.begin(), programmed_.end(), true);
    return Bytes(flash_.begin() + (first - programmed_.begin()) * static_cast<std::ptrdiff_t>(boot_.unitSize),
                 flash_.end());
}

std::string RenesasBootDevice::NewRelease() const {
    return locked_ ? SampleFiles::ReleaseOf(FlashImage()) : std::string();
}

}  // namespace simulator

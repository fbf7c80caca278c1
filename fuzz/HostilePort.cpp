#include "fuzz/HostilePort.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using simulator::Bytes;

namespace {

constexpr int kForGood = 15;
constexpr int kQuickLooks = 50;
constexpr unsigned kSlowStepMs = 64;

LineFault::How FaultOf(Script::How how) {
    switch (how) {
        case Script::kError:
            return LineFault::kError;
        case Script::kShort:
            return LineFault::kShort;
        case Script::kSilence:
            return LineFault::kSilence;
        case Script::kLineFault:
            return LineFault::kWrongByte;
        case Script::kConnectionGone:
            return LineFault::kConnectionGone;
        case Script::kDeviceGone:
            return LineFault::kDeviceGone;
        default:
            return LineFault::kNone;
    }
}

}  // namespace

Bytes Script::Some(std::size_t most) {
    const std::size_t size = std::min<std::size_t>({Byte(), most, static_cast<std::size_t>(end_ - at_)});
    Bytes bytes(at_, at_ + size);
    at_ += size;
    return bytes;
}

Script::How Script::Next() {
    if (!loaded_) {
        if (end_ - at_ < 2) return kAsItShould;
        gap_ = Byte();
        const int what = Byte();
        how_ = static_cast<How>(what & 0x0F);
        times_ = what >> 4 == kForGood ? INT_MAX : 1 + (what >> 4);
        loaded_ = true;
    }
    if (gap_ > 0) {
        --gap_;
        return kAsItShould;
    }
    loaded_ = --times_ > 0;
    return how_;
}

Script::How HostileLine::Next() {
    ++calls;
    const Script::How how = script.Next();
    if (how == Script::kSlow) {
        const std::uint64_t ms = std::uint64_t{1} + script.Byte() * kSlowStepMs;
        slowMs += ms;
        clock.Advance(ms);
    }
    if (how == Script::kDeviceBack) plan.bGone = false;
    if (how == Script::kDrip) dripping = !dripping;
    plan.faults.clear();
    if (FaultOf(how) != LineFault::kNone) plan.faults.push_back({"", FaultOf(how), 1, INT_MAX});
    return how;
}

void HostileLine::Linger() {
    if (looks++ == 0) since = clock.NowMs();
    if (looks > kQuickLooks) clock.Advance((clock.NowMs() - since) / 64 + 1);
}

bool HostilePort::Open() {
    line_.Next();
    return PrinterPort::Open();
}

bool HostilePort::Close() {
    rest_.clear();
    return PrinterPort::Close();
}

bool HostilePort::ReOpen() {
    rest_.clear();
    line_.Next();
    return PrinterPort::ReOpen();
}

unsigned int HostilePort::Write(unsigned char* buf, unsigned int len, unsigned int* err) {
    line_.Next();
    line_.looks = 0;
    const unsigned int taken = PrinterPort::Write(buf, len, err);
    line_.conversation.push_back({Said::kWrote, taken >= len, {buf, buf + len}, line_.clock.NowMs()});
    return taken;
}

unsigned int HostilePort::Read(unsigned char* buf, unsigned int len, unsigned int* err) {
    const Script::How how = line_.Next();
    line_.Linger();
    // A serial read brings what has come, whatever was asked.
    const std::size_t limit = GetPortType() == COMMPORT_SERIAL ? kReadSlack : len;
    const bool unasked = (how == Script::kRaw || how == Script::kFull) && IsOpen();
    std::size_t read = std::min(limit, rest_.size());
    if (read != 0) {
        std::copy_n(rest_.begin(), read, buf);
        rest_.clear();
    } else if (!unasked) {
        read = PrinterPort::Read(buf, len, err);
    }
    if (IsOpen() && !line_.plan.bGone) read = Lie(how, buf, read, limit);
    *err = read == 0 ? 1 : 0;
    if (read > 1 && line_.dripping) {
        rest_.assign(buf + 1, buf + read);
        read = 1;
    }
    if (read != 0) line_.conversation.push_back({Said::kRead, true, {buf, buf + read}, line_.clock.NowMs()});
    return static_cast<unsigned int>(read);
}

/// What a read brings in the place of the `read` bytes that are at `buf`.
std::size_t HostilePort::Lie(Script::How how, unsigned char* buf, std::size_t read, std::size_t limit) {
    Bytes bytes(buf, buf + read);
    Script& script = line_.script;
    if (how == Script::kBent && read != 0) {
        const std::size_t at = script.Byte() % read;
        bytes[at] = script.Byte();
    } else if (how == Script::kCut && read != 0) {
        bytes.resize(script.Byte() % read);
    } else if (how == Script::kDoubled) {
        bytes.insert(bytes.end(), buf, buf + read);
    } else if (how == Script::kCode) {
        bytes = {script.Byte()};
    } else if (how == Script::kRaw) {
        bytes = script.Some(UCHAR_MAX);
    } else if (how == Script::kFull) {
        bytes.assign(limit, script.Byte());
    } else {
        return read;
    }
    bytes.resize(std::min(bytes.size(), limit));
    line_.clock.Advance(std::max<std::size_t>(bytes.size(), 1));  // a byte takes a millisecond
    std::copy(bytes.begin(), bytes.end(), buf);
    return bytes.size();
}

bool HostilePort::Drain() {
    line_.Next();
    const bool drained = PrinterPort::Drain();
    if (drained) line_.conversation.push_back({Said::kDrained, true, {}, line_.clock.NowMs()});
    return drained;
}

void HostilePort::CleanRX() {
    if (GetPortType() == COMMPORT_SERIAL) rest_.clear();
    PrinterPort::CleanRX();
}

bool HostilePort::ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                                  unsigned short index, unsigned char* data, unsigned short length,
                                  unsigned int timeout) {
    line_.Next();
    line_.looks = 0;
    line_.conversation.push_back({Said::kReport, true, {data, data + length}, line_.clock.NowMs()});
    return PrinterPort::ControlTransfer(requestType, request, value, index, data, length, timeout);
}

std::unique_ptr<BootPort> HostileUsb::MakePort() {
    return std::make_unique<HostilePort>(line_, COMMPORT_USB, 1);
}

bool HostileUsb::ListDevices(const char* vid, std::string& list) {
    const Script::How how = line_.Next();
    line_.Linger();
    port_.Pass();
    list.clear();
    const std::optional<simulator::UsbIdentity> usb = line_.device.OnUsb(line_.clock.NowMs());
    char name[128];
    if (usb) {
        std::snprintf(name, sizeof name, "%04X|%04X|%s\n", usb->vendor, usb->product, usb->serial.c_str());
        if (std::strncmp(name, vid, std::strlen(vid)) == 0) list = name;
    }
    if (how == Script::kRaw) {
        const Bytes raw = line_.script.Some(UCHAR_MAX);
        list.assign(raw.begin(), raw.end());
        list.resize(std::min(list.find('\0'), list.size()));
    }
    return how != Script::kError && how != Script::kSilence;
}

#include "upgrade/RenesasLink.h"

#include <algorithm>
#include <numeric>

#include "support/Clock.h"
#include "support/Log.h"

namespace {

constexpr unsigned int kReadAtMost = 8191;
constexpr int kPauseMs = 100;

constexpr std::uint64_t kAddressSpace = std::uint64_t{1} << 32;
constexpr unsigned char kProgram = 0x50;
constexpr unsigned char kAck = 0x06;
constexpr unsigned char kRefused = 0xD0;

bool Holds(const std::vector<unsigned char>& answer, const RenesasExchange::Bytes& expected) {
    return std::all_of(expected.begin(), expected.end(), [&answer](const RenesasByte& byte) {
        return byte.at < 0 || (static_cast<std::size_t>(byte.at) < answer.size() &&
                               answer[static_cast<std::size_t>(byte.at)] == byte.value);
    });
}

std::vector<unsigned char> Collect(CComPort& port, const RenesasAnswer& wanted) {
    if (wanted.timeoutMs == 0) return RenesasLink::ReadOnce(port);
    std::vector<unsigned char> answer(static_cast<std::size_t>(wanted.size));
    unsigned int err = 0;
    answer.resize(std::min<std::size_t>(answer.size(),
                                        port.ReadAll(answer.data(), wanted.size, wanted.timeoutMs, &err)));
    return answer;
}

const char* RefusalText(const std::vector<unsigned char>& answer) {
    if (answer.size() < 2 || answer[0] != kRefused) return "ERROR: wrong response!";
    switch (answer[1]) {
        case 0x11:
            return "ERROR: wrong response: CHECKSUM error!";
        case 0x2A:
            return "ERROR: wrong response: ADDRESS error!";
        case 0x53:
            return "ERROR: wrong response: PROGRAMMING error!";
        default:
            return "ERROR: Unknown response!";
    }
}

}  // namespace

std::vector<unsigned char> RenesasLink::ReadOnce(CComPort& port) {
    std::vector<unsigned char> answer(kReadAtMost + CComPort::kReadSlack);
    unsigned int err = 0;
    answer.resize(std::min<std::size_t>(answer.size(), port.Read(answer.data(), kReadAtMost, &err)));
    return answer;
}

RenesasOutcome RenesasLink::Judge(const RenesasExchange& exchange) const {
    if (answer_.size() != static_cast<std::size_t>(exchange.answer.size))
        return RenesasOutcome::WrongResponse;
    if (exchange.alternative.at >= 0 && Holds(answer_, {exchange.alternative})) {
        return RenesasOutcome::Alternative;
    }
    if (!Holds(answer_, exchange.expected)) return RenesasOutcome::WrongResponse;
    return Holds(answer_, exchange.mode) ? RenesasOutcome::Accepted : RenesasOutcome::WrongMode;
}

RenesasOutcome RenesasLink::Run(const RenesasExchange& exchange) {
    Log::WriteLog(tag_, exchange.line);
    port_.CleanRX();
    unsigned int err = 0;
    if (port_.Write(exchange.request, exchange.requestSize, &err) < exchange.requestSize) {
        Log::WriteLog(tag_, "Error during send command! exit...");
        return RenesasOutcome::NotSent;
    }
    answer_ = Collect(port_, exchange.answer);
    const RenesasOutcome outcome = Judge(exchange);
    if (outcome == RenesasOutcome::Accepted) {
        Log::WriteLog(tag_, "OK!");
    } else if (outcome == RenesasOutcome::WrongResponse) {
        Log::WriteLog(tag_, "ERROR: wrong response! exit...");
    } else if (outcome == RenesasOutcome::WrongMode) {
        Log::WriteLog(tag_, "ERROR: wrong status mode response! exit...");
    }
    if (outcome == RenesasOutcome::Accepted || outcome == RenesasOutcome::Alternative) {
        Sleep({kPauseMs, timem_});
    }
    return outcome;
}

bool RenesasUnits::Fit() const {
    return data_ != nullptr && unitSize_ > 0 && length_ > 0 && length_ < kAddressSpace &&
           length_ % static_cast<std::uint64_t>(unitSize_) == 0;
}

std::vector<unsigned char> RenesasUnits::Frame(std::uint64_t index) const {
    const std::uint64_t offset = index * static_cast<std::uint64_t>(unitSize_);
    const std::uint64_t address = kAddressSpace - length_ + offset;
    std::vector<unsigned char> frame{kProgram};
    frame.reserve(static_cast<std::size_t>(unitSize_) + 6);
    for (const int shift : {24, 16, 8, 0}) {
        frame.push_back(static_cast<unsigned char>((address >> shift) & 0xFF));
    }
    frame.insert(frame.end(), data_ + offset, data_ + offset + unitSize_);
    const unsigned int sum = std::accumulate(frame.begin(), frame.end(), 0U);
    frame.push_back(static_cast<unsigned char>((0U - sum) & 0xFF));
    return frame;
}

RenesasUnits::Outcome RenesasUnits::TryUnit(CComPort& port, const char* tag, std::uint64_t index) const {
    std::vector<unsigned char> frame = Frame(index);
    unsigned int err = 0;
    if (port.Write(frame.data(), static_cast<unsigned int>(frame.size()), &err) < frame.size()) {
        Log::WriteLog(tag, "Error during send command! exit...");
        return Outcome::Broken;
    }
    const std::vector<unsigned char> answer = RenesasLink::ReadOnce(port);
    if (answer.empty()) {
        Log::WriteLog(tag, "ERROR: wrong response! exit...");
        return Outcome::Broken;
    }
    if (answer[0] == kAck) return Outcome::Accepted;
    Log::WriteLog(tag, RefusalText(answer));
    return Outcome::Refused;
}

bool RenesasUnits::SendUnit(CComPort& port, const char* tag, std::uint64_t index) const {
    const std::uint64_t number = index + 1;
    Log::WriteLogP(tag, "Sending bank %d/%d (%d%%)", static_cast<int>(number), static_cast<int>(Count()),
                   static_cast<int>(number * 100 / Count()));
    Outcome outcome = TryUnit(port, tag, index);
    if (outcome == Outcome::Refused) {
        Log::WriteLogP(tag, "Retry to send %d bank!", static_cast<int>(number));
        outcome = TryUnit(port, tag, index);
        if (outcome == Outcome::Refused) Log::WriteLog(tag, "Exit..");
    }
    if (outcome != Outcome::Accepted) return false;
    Log::WriteLogP(tag, "Bank %d successfully sent!", static_cast<int>(number));
    return true;
}

bool RenesasUnits::Send(CComPort& port, const char* tag) const {
    for (std::uint64_t index = 0; index < Count(); ++index) {
        if (!SendUnit(port, tag, index)) return false;
    }
    return true;
}

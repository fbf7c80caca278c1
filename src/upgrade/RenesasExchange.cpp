#include "upgrade/RenesasExchange.h"

#include <algorithm>

#include "support/Clock.h"
#include "support/Log.h"

namespace {

constexpr unsigned int kReadAtMost = 8191;
constexpr int kPauseMs = 100;

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
        SleepMs(kPauseMs, timem_);
    }
    return outcome;
}

#include "upgrade/AnswerReads.h"

#include <algorithm>

#include "support/GenericFunctions.h"

AnswerReads::AnswerReads(CComPort& port, std::int64_t limitMs)
    : port_(port),
      limitMs_(limitMs),
      lastMs_(GenericFunctions::GetCurrentTimeMsec()),
      buffer_(kLargestRead + CComPort::kReadSlack) {}

unsigned int AnswerReads::Read(unsigned int most) {
    if (reads_++ != 0) pacer_.AfterRead(lastRead_);
    unsigned int err = 0;
    const auto ask = std::min(most, static_cast<unsigned int>(kLargestRead));
    lastRead_ = std::min(port_.Read(buffer_.data(), ask, &err), static_cast<unsigned int>(buffer_.size()));
    return lastRead_;
}

bool AnswerReads::Expired() {
    const std::uint64_t now = GenericFunctions::GetCurrentTimeMsec();
    if (now == 0) return true;
    if (now > lastMs_) elapsedMs_ += static_cast<std::int64_t>(now - lastMs_);
    lastMs_ = now;
    return elapsedMs_ >= limitMs_;
}

#include "upgrade/AnswerReads.h"

#include <algorithm>

AnswerReads::AnswerReads(CComPort& port, const Deadline& deadline)
    : port_(port), deadline_(deadline), buffer_(kLargestRead + CComPort::kReadSlack) {}

unsigned int AnswerReads::Read(unsigned int most) {
    if (reads_++ != 0) pacer_.AfterRead(lastRead_);
    unsigned int err = 0;
    const auto ask = std::min(most, static_cast<unsigned int>(kLargestRead));
    lastRead_ = std::min(port_.Read(buffer_.data(), ask, &err), static_cast<unsigned int>(buffer_.size()));
    return lastRead_;
}

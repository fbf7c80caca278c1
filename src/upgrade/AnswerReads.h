#pragma once

#include <cstdint>
#include <vector>

#include "port/ComPort.h"
#include "port/ReadPacer.h"
#include "support/Deadline.h"

/// Reads that wait together at most a given time for an answer: read, look, and go on until it has expired.
/// At least one read is made, also when that time is over at once.
class AnswerReads {
 public:
    AnswerReads(CComPort& port, const Deadline& deadline);

    /// One read of at most `most` bytes (8192 or fewer); returns what came, which is in Data().
    unsigned int Read(unsigned int most);
    const unsigned char* Data() const { return buffer_.data(); }

    /// True when the time has passed since construction.
    bool Expired() const { return deadline_.IsOver(); }

 private:
    static constexpr std::size_t kLargestRead = 8192;

    CComPort& port_;
    const Deadline deadline_;
    ReadPacer pacer_;
    unsigned int reads_ = 0;
    unsigned int lastRead_ = 0;
    std::vector<unsigned char> buffer_;
};

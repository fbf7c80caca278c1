#pragma once

#include <cstdint>
#include <vector>

#include "port/ComPort.h"
#include "port/ReadPacer.h"

/// Reads that wait together at most a given time for an answer: read, look, and go on until it has expired.
/// At least one read is made, also when the limit is 0 or below.
class AnswerReads {
 public:
    AnswerReads(CComPort& port, std::int64_t limitMs);

    /// One read of at most `most` bytes (8192 or fewer); returns what came, which is in Data().
    unsigned int Read(unsigned int most);
    const unsigned char* Data() const { return buffer_.data(); }

    /// True when the limit has passed since construction. A clock that is set back counts as standing still,
    /// one that cannot be read as run out: no wait lasts for ever.
    bool Expired();

 private:
    static constexpr std::size_t kLargestRead = 8192;

    CComPort& port_;
    const std::int64_t limitMs_;
    std::int64_t elapsedMs_ = 0;
    std::uint64_t lastMs_;
    ReadPacer pacer_;
    unsigned int reads_ = 0;
    unsigned int lastRead_ = 0;
    std::vector<unsigned char> buffer_;
};

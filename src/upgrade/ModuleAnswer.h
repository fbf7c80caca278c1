#pragma once

#include <cstddef>
#include <vector>

#include "port/ComPort.h"
#include "support/Clock.h"

/// Reads that wait together at most a given time for an answer: read, look, and go on until it has expired.
/// At least one read is made, also when that time is over at once.
class AnswerReads {
 public:
    AnswerReads(CComPort& port, Wait limit)
        : port_(port), deadline_(limit), buffer_(kLargestRead + CComPort::kReadSlack) {}

    /// One read of at most `most` bytes (8192 or fewer); returns what came, which is in Data().
    unsigned int Read(unsigned int most);
    const unsigned char* Data() const { return buffer_.data(); }

    /// True when the time has passed since construction.
    bool Expired() const { return deadline_.IsOver(); }

    static constexpr unsigned int kLargestRead = 8192;

 private:
    CComPort& port_;
    const Deadline deadline_;
    ReadPacer pacer_;
    unsigned int reads_ = 0;
    unsigned int lastRead_ = 0;
    std::vector<unsigned char> buffer_;
};

/// The one-byte answers with which a printer reports how it programmed a module or a data bank.
namespace ModuleAnswer {

/// What one kind of exchange recognises; all other bytes are passed over.
struct Recognised {
    unsigned char bytes[7];
    bool lateCounts;  ///< an answer that comes as the time is up counts
};

/// For a module and for a data bank. kept: the first knows 0x95 and not 0x99, the second the reverse.
inline constexpr Recognised kOfModule{{0xAA, 0x33, 0x44, 0x66, 0x77, 0x88, 0x95}, true};
inline constexpr Recognised kOfDataBank{{0xAA, 0x33, 0x44, 0x66, 0x77, 0x88, 0x99}, false};

/// Reads until a recognised byte came, which it returns, or -1 when none did in time. Logs what came.
int Await(CComPort& port, Wait limit, const Recognised& recognised, const char* tag);

/// True when the answer says that the printer programmed what it was sent; else logs what it means.
bool Judge(int answer, const char* tag);

}  // namespace ModuleAnswer

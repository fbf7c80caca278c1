#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "port/ComPort.h"

/// A byte that an answer must hold; `at` below 0 asks for nothing.
struct RenesasByte {
    int at = -1;
    unsigned char value = 0;
};

/// How an answer is read: exactly `size` bytes, by one read under the port's own time-out when `timeoutMs` is
/// 0, otherwise collected within `timeoutMs`.
struct RenesasAnswer {
    int size = 1;
    int timeoutMs = 0;
};

/// One exchange with a Renesas boot loader, as data: what is logged and sent, how the answer is read, and
/// what of it is accepted.
struct RenesasExchange {
    using Bytes = std::array<RenesasByte, 3>;
    static constexpr Bytes kAcknowledged{{{0, 0x06}, {}, {}}};

    /// `command`: of the command table, which outlives the row. Most are answered by one byte, an
    /// acknowledgement.
    template <std::size_t N>
    constexpr RenesasExchange(const char* logLine, const unsigned char (&command)[N], RenesasAnswer read = {},
                              Bytes bytes = kAcknowledged)
        : line(logLine), request(command), requestSize(N), answer(read), expected(bytes) {}

    const char* line;
    const unsigned char* request;
    unsigned int requestSize;
    RenesasAnswer answer;
    Bytes expected;
    /// Bytes whose mismatch is a wrong mode of the chip rather than a wrong answer.
    Bytes mode{};
    /// A byte that makes the answer no failure either, but leaves what follows to the caller.
    RenesasByte alternative{};
};

/// How an exchange ended.
enum class RenesasOutcome { Accepted, Alternative, NotSent, WrongResponse, WrongMode };

/// Makes exchanges over an open port, logging each one's line, "OK!" or its failure under one tag, and
/// pausing after each that did not fail.
class RenesasLink {
 public:
    /// `port` must outlive the link; `timem` multiplies the pauses of 100 ms.
    RenesasLink(CComPort& port, const char* tag, int timem) : port_(port), tag_(tag), timem_(timem) {}

    /// Empties the receive side, sends the request and judges the answer.
    RenesasOutcome Run(const RenesasExchange& exchange);

    /// The answer of the last exchange that was not a failure.
    const std::vector<unsigned char>& LastAnswer() const { return answer_; }

    /// One read into a buffer that holds whatever a port may bring; the bytes that came, none on silence.
    static std::vector<unsigned char> ReadOnce(CComPort& port);

 private:
    RenesasOutcome Judge(const RenesasExchange& exchange) const;

    CComPort& port_;
    const char* tag_;
    int timem_;
    std::vector<unsigned char> answer_;
};

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
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
    bool Accepts(const RenesasExchange& exchange) { return Run(exchange) == RenesasOutcome::Accepted; }

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

/// A firmware as the programming units of a Renesas boot loader. The firmware ends at the top of the chip's
/// address space (FFFFFFFF); each unit travels in a frame with its address and a sum, and is answered.
class RenesasUnits {
 public:
    /// The firmware stays the caller's. `unitSize`: data bytes of one unit, as the boot loader reported it.
    RenesasUnits(const unsigned char* data, std::uint64_t length, int unitSize)
        : data_(data), length_(length), unitSize_(unitSize) {}

    /// Whether the firmware is a whole number of units, at least one, that fits the address space.
    bool Fit() const;

    /// Units of a firmware that fits.
    std::uint64_t Count() const { return length_ / static_cast<std::uint64_t>(unitSize_); }

    /// The frame of a unit, `index` below Count(): program command, address, data, and a byte that makes the
    /// sum of all bytes 0.
    std::vector<unsigned char> Frame(std::uint64_t index) const;

    /// Sends all units in order, each at most twice, logging under `tag`. False at the first unit that could
    /// not be sent, was not answered, or was refused twice.
    bool Send(CComPort& port, const char* tag) const;

 private:
    enum class Outcome { Accepted, Refused, Broken };

    bool SendUnit(CComPort& port, const char* tag, std::uint64_t index) const;
    Outcome TryUnit(CComPort& port, const char* tag, std::uint64_t index) const;

    const unsigned char* data_;
    std::uint64_t length_;
    int unitSize_;
};

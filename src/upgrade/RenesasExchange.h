#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "port/ComPort.h"

/// One exchange with a Renesas boot loader, as data: what is logged and sent, how the answer is read, and
/// what of it is accepted.
struct RenesasExchange {
    /// A fixed byte string of the command table.
    struct Request {
        const unsigned char* bytes = nullptr;
        unsigned int size = 0;

        template <std::size_t N>
        constexpr Request(const std::array<unsigned char, N>& command)  // NOLINT(google-explicit-constructor)
            : bytes(command.data()), size(N) {}
    };

    /// How an answer is read: exactly `size` bytes, by one read under the port's own time-out when
    /// `timeoutMs` is 0, otherwise collected within `timeoutMs`.
    struct Answer {
        int size = 0;
        int timeoutMs = 0;
    };

    /// A byte that the answer must hold; `at` below 0 asks for nothing.
    struct Expected {
        int at = -1;
        unsigned char value = 0;
    };

    const char* line = nullptr;
    Request request;
    Answer answer;
    std::array<Expected, 3> expected{};
    /// Bytes whose mismatch is a wrong mode of the chip rather than a wrong answer.
    std::array<Expected, 2> mode{};
    /// A first byte that is not a failure either, but leaves what follows to the caller.
    Expected alternative{};
};

/// How an exchange ended.
enum class RenesasOutcome { Accepted, Alternative, NotSent, WrongResponse, WrongMode };

/// Makes exchanges over an open port, logging each one's line, "OK!" or its failure under one tag, and
/// pausing after each accepted answer.
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

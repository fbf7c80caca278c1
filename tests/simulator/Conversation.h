#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "simulator/PrinterModel.h"

/// Talks to a printer model byte by byte, on a time of its own.
class Conversation {
 public:
    using Bytes = simulator::Bytes;

    explicit Conversation(simulator::PrinterOptions options) : model(std::move(options)) {}

    void Send(const Bytes& bytes) { model.Receive(bytes.data(), bytes.size(), now); }
    void Send(const std::string& text) { Send(Bytes(text.begin(), text.end())); }

    /// Sends in pieces of `size` bytes.
    void SendInPieces(const Bytes& bytes, std::size_t size) {
        for (std::size_t at = 0; at < bytes.size(); at += size) {
            const std::size_t count = std::min(size, bytes.size() - at);
            model.Receive(bytes.data() + at, count, now);
        }
    }

    /// All that the printer says within `ms`; time passes.
    Bytes Hear(std::uint64_t ms = 100) {
        Bytes heard;
        const std::uint64_t end = now + ms;
        for (;;) {
            for (const Bytes& answer : model.Transmit(now))
                heard.insert(heard.end(), answer.begin(), answer.end());
            const std::uint64_t next = model.NextEvent(now);
            if (next > end) break;
            now = std::max(next, now + 1);
        }
        now = end;
        return heard;
    }

    Bytes Ask(const Bytes& request) {
        Send(request);
        return Hear();
    }

    /// The status handshake up to the release answer.
    void Handshake() {
        Send("\x1C<EPOS>\x18");
        Ask({0x1D, 0x49, 0x01});
        Ask({0x18, 0x1D, 0x49, 0x03});
    }

    /// A group of banks as the procedures send it, its sums as U3 and U5 (`perBank`) or U1 take them.
    static Bytes Group(unsigned char first, unsigned char last, const Bytes& banks, std::size_t bankSize,
                       bool perBank) {
        Bytes group{0x1C, 0xFD, first, last};
        group.insert(group.end(), banks.begin(), banks.end());
        unsigned sum = 0;
        unsigned xorSum = 0;
        for (std::size_t i = 0; i < banks.size(); ++i) {
            sum += banks[i];
            xorSum += banks[i] ^ static_cast<unsigned>(perBank ? i % bankSize : i);
        }
        for (const unsigned byte :
             {0x1CU, 0xFFU, unsigned{first}, unsigned{last}, sum >> 8U, sum, xorSum >> 8U, xorSum})
            group.push_back(static_cast<unsigned char>(byte & 0xFFU));
        return group;
    }

    std::uint64_t now = 5000;
    simulator::PrinterModel model;
};

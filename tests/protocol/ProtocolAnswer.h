#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <regex>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollFields.h"

/// An answer between its STX and its ETX, one text for each field. Answers are written as on the wire, with
/// "~" for a zero byte and "#" for the field of the answer sum ("!" for a wrong one).
using Pieces = std::vector<std::string>;

/// The parts of a text that match, one after the other.
inline std::vector<std::string> Matches(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    return {std::sregex_token_iterator(text.begin(), text.end(), expression), std::sregex_token_iterator()};
}

inline Pieces PiecesOf(const std::string& answer) {
    return Matches(answer, "<DATABYTES>.*?</DATABYTES>|<[^>]*>|[#!]|[^~]*~");
}

inline std::uint64_t ByteSum(const std::string& bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), std::uint64_t{0},
                           [](std::uint64_t sum, unsigned char byte) { return sum + byte; });
}

/// The bytes that the printer sends.
inline std::string Wire(const Pieces& pieces) {
    std::string bytes = "\x02";
    std::uint64_t sum = 0;
    for (std::string piece : pieces) {
        std::replace(piece.begin(), piece.end(), '~', '\0');
        if (piece == "#") piece = "<" + std::to_string(sum % 256) + ">";
        if (piece == "!") piece = "<" + std::to_string(sum % 256 ^ 1U) + ">";
        if (piece != "<>") sum += ByteSum(piece);  // an empty field counts for nothing
        bytes += piece;
    }
    return bytes + "\x03";
}
inline std::string Wire(const std::string& answer) {
    return Wire(PiecesOf(answer));
}

inline int Split(ProtocollFields& fields, const std::string& bytes) {
    const std::vector<unsigned char> answer(bytes.begin(), bytes.end());
    return fields.CreateFields(answer.data(), static_cast<int>(answer.size()));
}

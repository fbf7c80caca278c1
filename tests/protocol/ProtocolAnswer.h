#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "harness/LogCapture.h"
#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollFields.h"

/// An answer between its STX and its ETX, one text for each field as it stands on the wire, the tag first. A
/// piece kSum becomes the answer sum of the pieces before it.
using Pieces = std::vector<std::string>;

inline const std::string kSum = "sum";

inline std::string Line(const std::string& text) {
    return text + '\0';
}

inline std::string DataBytes(const std::string& payload) {
    return "<DATABYTES>" + payload + "</DATABYTES>";
}

/// The bytes that the printer sends.
inline std::string Bytes(const Pieces& pieces) {
    std::string bytes = "\x02";
    unsigned int sum = 0;
    for (const std::string& piece : pieces) {
        const std::string sent = piece == kSum ? "<" + std::to_string(sum & 0xFFU) + ">" : piece;
        // An empty field counts for nothing.
        if (sent != "<>")
            for (const char c : sent) sum += static_cast<unsigned char>(c);
        bytes += sent;
    }
    return bytes + "\x03";
}

inline int Split(ProtocollFields& fields, const std::string& bytes) {
    const std::vector<unsigned char> answer(bytes.begin(), bytes.end());
    return fields.CreateFields(answer.data(), static_cast<int>(answer.size()));
}

/// What became of an answer.
struct Decoded {
    ProtocolRecord record;
    std::vector<std::string> log;  ///< what the decoding said, as "[tag]text"
    std::uint64_t dataErrors = 0;
};

inline Decoded Decode(const std::string& bytes) {
    ProtocollFields fields;
    Decoded decoded;
    Split(fields, bytes);
    LogCapture capture;
    decoded.record = ProtocolRecord::Decode(fields, nullptr, &decoded.dataErrors);
    decoded.log = capture.Take();
    return decoded;
}

inline Decoded Decode(const Pieces& pieces) {
    return Decode(Bytes(pieces));
}

/// The log of a decoding, with the lines that frame the `lines` of operation `tag`.
inline std::vector<std::string> LogOf(const std::string& tag, const std::vector<std::string>& lines) {
    std::vector<std::string> log{"[CreateSetupItem]Current Protocoll Version : 100"};
    const std::string prefix = "[" + tag + "]";
    for (const std::string& line : lines) log.push_back(prefix + line);
    return log;
}

/// A good answer made wrong at one place, and the line that says so.
struct Fault {
    std::size_t piece;
    std::string instead;
    std::string line;  ///< "[tag]text", the last line of the log
    /// Wrong by its type, so that the answer's end at this place has to say the same; otherwise by its value.
    bool byType = true;
};

inline Fault WrongValue(std::size_t piece, std::string instead, std::string line) {
    return {piece, std::move(instead), std::move(line), false};
}

inline void ExpectRefused(const std::string& bytes, const std::string& line) {
    const Decoded decoded = Decode(bytes);
    EXPECT_FALSE(decoded.record);
    EXPECT_EQ(decoded.record.type(), OBJTYPE_NONE);
    ASSERT_FALSE(decoded.log.empty());
    EXPECT_EQ(decoded.log.back(), line);
}

/// The good answer gives a record; with each of the faults it gives none, and the fault's line ends the log.
inline void ExpectFaults(const Pieces& good, const std::vector<Fault>& faults) {
    ASSERT_TRUE(Decode(good).record);
    for (const Fault& fault : faults) {
        SCOPED_TRACE("piece " + std::to_string(fault.piece) + ": " + fault.instead);
        Pieces wrong = good;
        wrong.at(fault.piece) = fault.instead;
        ExpectRefused(Bytes(wrong), fault.line);
        if (!fault.byType) continue;
        wrong.resize(fault.piece);
        std::string cut = Bytes(wrong);
        cut.pop_back();  // without its ETX, which would be the wrong field itself
        ExpectRefused(cut, fault.line);
    }
}

#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollFields.h"

/// An answer between its STX and its ETX, one text for each field as it stands on the wire, the tag first. A
/// piece kSum becomes the answer sum of the pieces before it.
using Pieces = std::vector<std::string>;

inline const std::string kSum = "sum";
inline const std::string kIntError = "FTYPE_VINT_VALUE Error";
inline const std::string kStringError = "FTYPE_VSTRING_VALUE Error";
inline const std::string kTextError = "FTYPE_STRING_VALUE Error";
inline const std::string kChecksumError = "Checksum Error";

inline std::string Line(const std::string& text) {
    return text + '\0';
}

inline std::string DataBytes(const std::string& payload) {
    return "<DATABYTES>" + payload + "</DATABYTES>";
}

inline std::uint64_t ByteSum(const std::string& bytes) {
    std::uint64_t sum = 0;
    for (const char c : bytes) sum += static_cast<unsigned char>(c);
    return sum;
}

/// The bytes that the printer sends.
inline std::string Bytes(const Pieces& pieces) {
    std::string bytes = "\x02";
    std::uint64_t sum = 0;
    for (const std::string& piece : pieces) {
        const std::string sent = piece == kSum ? "<" + std::to_string(sum & 0xFFU) + ">" : piece;
        // An empty field counts for nothing.
        if (sent != "<>") sum += ByteSum(sent);
        bytes += sent;
    }
    return bytes + "\x03";
}

inline int Split(ProtocollFields& fields, const std::string& bytes) {
    const std::vector<unsigned char> answer(bytes.begin(), bytes.end());
    return fields.CreateFields(answer.data(), static_cast<int>(answer.size()));
}

/// The lines of one operation, without their tag.
inline Lines Said(const Lines& log, const std::string& tag) {
    const std::string prefix = "[" + tag + "]";
    Lines said;
    for (const std::string& line : log)
        if (line.compare(0, prefix.size(), prefix) == 0) said.push_back(line.substr(prefix.size()));
    return said;
}

/// What became of an answer.
struct Decoded {
    ProtocolRecord record;
    Lines log;  ///< what the decoding said, as "[tag]text"
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

/// A good answer made wrong at one piece, by each of some texts in its place, and the last line that its
/// decoder then says. kEnd in the place of a text ends the answer there.
struct Fault {
    std::size_t piece;
    std::vector<std::string> instead;
    std::string line;
};

inline const std::string kEnd = "end";

/// What every piece that has to be of one type is tested with: another type, and the end of the answer.
inline Fault TypeFault(char type, std::size_t piece) {
    if (type == 'I') return {piece, {"<x>", kEnd}, kIntError};
    if (type == 'S') return {piece, {"<1>", kEnd}, kStringError};
    if (type == 'T') return {piece, {"<1>", "<x>", kEnd}, kTextError};
    if (type == 'D') return {piece, {"<1>", kEnd}, "FTYPE_VDATABYTES Error"};
    return {piece, {}, ""};
}

inline void ExpectRefused(const std::string& tag, const std::string& bytes, const std::string& line) {
    const Decoded decoded = Decode(bytes);
    EXPECT_FALSE(decoded.record);
    EXPECT_EQ(decoded.record.type(), OBJTYPE_NONE);
    const Lines said = Said(decoded.log, tag);
    EXPECT_EQ(said.empty() ? "" : said.back(), line);
}

inline void ExpectFault(const std::string& tag, const Pieces& good, const Fault& fault) {
    for (const std::string& instead : fault.instead) {
        SCOPED_TRACE("piece " + std::to_string(fault.piece) + ": " + instead);
        Pieces wrong = good;
        wrong.at(fault.piece) = instead;
        if (instead == kEnd) wrong.resize(fault.piece);
        std::string bytes = Bytes(wrong);
        // Without the ETX, which would be the wrong field itself.
        if (instead == kEnd) bytes.pop_back();
        ExpectRefused(tag, bytes, fault.line);
    }
}

/// The decoder that logs as `tag` makes a record of number `type` of the good answer, logging the lines of
/// `log` (joined by "|") and no other, and none of an answer with one of the faults. `types` has a letter for
/// each piece behind the tag (TypeFault), "." for a type that the faults test.
inline void ExpectDecoded(const std::string& tag, const Pieces& good, const std::string& types,
                          unsigned int type, const std::string& log, const std::vector<Fault>& faults = {}) {
    SCOPED_TRACE(testing::PrintToString(good));
    const Decoded decoded = Decode(good);
    ASSERT_TRUE(decoded.record);
    EXPECT_EQ(decoded.record.type(), type);
    EXPECT_EQ(Joined(Said(decoded.log, tag)), log);
    for (const Fault& fault : faults) ExpectFault(tag, good, fault);
    for (std::size_t i = 0; i < types.size(); ++i) ExpectFault(tag, good, TypeFault(types[i], i + 1));
}

#pragma once

#include "upgrade/TestPackage.h"

/// What the bank engines write, as rows for a ScriptedPort.

inline Bytes StartOf(int first, int last) {
    return {0x1C, 0xFD, static_cast<unsigned char>(first), static_cast<unsigned char>(last)};
}

inline Bytes ProgramOf(int first, int last, const Bytes& sums) {
    return Bytes{0x1C, 0xFF, static_cast<unsigned char>(first), static_cast<unsigned char>(last)} + sums;
}

/// The banks `first` to `last` of a firmware, framed.
inline Bytes GroupOf(const Bytes& firmware, std::size_t bankSize, int first, int last) {
    const Bytes data = Slice(firmware, static_cast<std::size_t>(first) * bankSize,
                             static_cast<std::size_t>(last - first + 1) * bankSize);
    return StartOf(first, last) + data + ProgramOf(first, last, SumsOf(data, bankSize));
}

inline ScriptedPort& ReleaseAsked(ScriptedPort& port, std::string_view release = "1.04") {
    return port.Expect(ReleaseInquiry()).Answer(release);
}

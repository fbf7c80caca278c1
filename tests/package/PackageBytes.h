#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "harness/Bytes.h"
#include "package/ByteView.h"

inline ByteView View(const Bytes& bytes) {
    return {bytes.data(), bytes.size()};
}

/// Bytes of which hardly two neighbours or two runs of 256 are alike.
inline Bytes Counting(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return bytes;
}

/// A header record of 32 bytes: the marker, then zeros.
inline Bytes Record(char marker) {
    return BytesOf(marker + std::string(31, '\0'));
}

/// Writes `value` big-endian over `width` bytes at `offset`.
inline Bytes With(Bytes bytes, std::size_t offset, std::size_t width, std::uint64_t value) {
    for (; width > 0; value >>= 8) bytes.at(offset + --width) = static_cast<unsigned char>(value & 0xFF);
    return bytes;
}

inline Bytes PrinterRecord(bool newForm, unsigned char key = 0) {
    const Bytes record = With(With(Record('P'), 23, 1, key), 24, 1, newForm ? '2' : '1');
    return With(With(record, 11, 3, 0x313233), 14, 6, 0x303730333234);  // release 123, date 070324
}

/// A software record with the identity 1, 2, 3 behind the announcing byte.
inline Bytes SoftwareRecord(bool newForm) {
    const std::size_t bex = newForm ? 11 : 6;
    return With(With(Record(newForm ? 's' : 'S'), bex, 1, 0xAA), bex + 1, 6, 0x000100020003);
}

inline Bytes ModuleRecord(char kind, std::uint64_t address, std::uint64_t size) {
    return With(With(With(Record('m'), 1, 1, static_cast<unsigned char>(kind)), 4, 4, address), 8, 4, size);
}

inline Bytes NewBin(const Bytes& payload) {
    return With(Bytes{'?', 0, 0, 0, 0}, 1, 4, payload.size()) + payload;
}

inline Bytes OldBin(const Bytes& payload) {
    return With(Bytes{'@', 0, 0, 0, 2, 0, 0, 16}, 1, 3, payload.size()) + payload;
}

/// A file of these bytes in the temporary directory for as long as the object lives; one at a time.
class TemporaryFile {
 public:
    explicit TemporaryFile(const Bytes& bytes) {
        std::ofstream file(name_, std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { unlink(name_.c_str()); }
    const char* Name() const { return name_.c_str(); }

 private:
    std::string name_ = testing::TempDir() + "package-test-" + std::to_string(getpid());
};

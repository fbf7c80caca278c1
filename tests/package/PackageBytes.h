#pragma once

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>

#include "harness/Bytes.h"
#include "simulator/ModuleImage.h"
#include "simulator/SampleFiles.h"

/// Bytes of which hardly two neighbours or two runs of 256 are alike.
inline Bytes Counting(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return bytes;
}

/// Writes `value` big-endian over `width` bytes at `offset`.
inline Bytes With(Bytes bytes, std::size_t offset, std::size_t width, std::uint64_t value) {
    for (; width > 0; value >>= 8) bytes.at(offset + --width) = static_cast<unsigned char>(value & 0xFF);
    return bytes;
}

/// The sample's file with one text of its header replaced by another; the body stays where it is.
inline Bytes Module(const simulator::ModuleSample& sample = {}, const std::string& from = "",
                    const std::string& to = "") {
    const Bytes image = simulator::SampleFiles::MakeModule(sample);
    std::string header(image.begin(), image.begin() + simulator::ModuleImage::kKeyByte);
    header.replace(header.find(from), from.size(), to).resize(simulator::ModuleImage::kKeyByte, ' ');
    Bytes edited = BytesOf(header) + Slice(image, header.size(), image.size() - header.size());
    simulator::ModuleImage::StoreSums(edited);
    return edited;
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

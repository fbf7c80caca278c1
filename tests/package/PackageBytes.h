#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "harness/TemporaryFile.h"
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

#include "package/ModuleChecksums.h"

#include <cstddef>

namespace {

// Adds `count` bytes, the first of which has the index `first`. Both sums wrap at 16 bits.
inline void AddBytes(const unsigned char* bytes, std::size_t count, std::size_t first,
                     ModuleChecksums& sums) {
    ModuleChecksums part = sums;
    auto index = static_cast<std::uint16_t>(first);
    for (std::size_t i = 0; i < count; ++i, ++index) {
        part.sum = static_cast<std::uint16_t>(part.sum + bytes[i]);
        part.mixed = static_cast<std::uint16_t>(part.mixed + (index ^ bytes[i]));
    }
    sums = part;
}

}  // namespace

ModuleChecksums ModuleChecksums::Of(ByteView bytes) {
    constexpr std::size_t kBlock = 1024;  // a fixed length lets the compiler sum many bytes at once
    ModuleChecksums sums;
    std::size_t done = 0;
    for (; bytes.size - done >= kBlock; done += kBlock) AddBytes(bytes.data + done, kBlock, done, sums);
    AddBytes(bytes.data + done, bytes.size - done, done, sums);
    return sums;
}

#pragma once

#include <cstdint>

#include "package/ByteView.h"

/// The two checksums of a module file, each kept to 16 bits: the sum of the bytes, and the sum of each byte
/// XOR the low 16 bits of its index, which counts from 0 at the first byte of the view.
struct ModuleChecksums {
    std::uint16_t sum = 0;
    std::uint16_t mixed = 0;

    static ModuleChecksums Of(ByteView bytes);
};

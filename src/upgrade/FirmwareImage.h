#pragma once

#include <cstdint>
#include <vector>

class PSWFile;

/// The firmware that a package carries, as every engine takes it: banks of one size, lying one after the
/// other. It points into the package, which must outlive it. A package without the header that should hold
/// its firmware gives an empty image.
struct FirmwareImage {
    int banks = 0;
    std::uint64_t bankSize = 0;     ///< bytes
    unsigned char* data = nullptr;  ///< owned by the package
    std::uint64_t length = 0;       ///< bytes at `data`; may be more than the banks take

    /// From the software module of a package of the new form, from the bin header of any other.
    static FirmwareImage Of(PSWFile& package);

    /// True when there are banks and each lies wholly in the data.
    bool HoldsItsBanks() const;

    /// The bytes of a bank. Only for an image that holds its banks, `index` from 0 to `banks` - 1.
    unsigned char* Bank(int index) const { return data + static_cast<std::uint64_t>(index) * bankSize; }

    /// `count` banks from `first` on, with the same condition.
    std::vector<unsigned char*> Banks(int first, int count) const;
};

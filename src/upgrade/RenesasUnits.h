#pragma once

#include <cstdint>
#include <vector>

class CComPort;

/// A firmware as the programming units of a Renesas boot loader. The firmware ends at the top of the chip's
/// address space (FFFFFFFF); each unit travels in a frame with its address and a sum, and is answered.
class RenesasUnits {
 public:
    /// The firmware stays the caller's. `unitSize`: data bytes of one unit, as the boot loader reported it.
    RenesasUnits(const unsigned char* data, std::uint64_t length, int unitSize)
        : data_(data), length_(length), unitSize_(unitSize) {}

    /// Whether the firmware is a whole number of units, at least one, that fits the address space.
    bool Fit() const;

    /// Units of a firmware that fits.
    std::uint64_t Count() const { return length_ / static_cast<std::uint64_t>(unitSize_); }

    /// The frame of a unit, `index` below Count(): program command, address, data, and a byte that makes the
    /// sum of all bytes 0.
    std::vector<unsigned char> Frame(std::uint64_t index) const;

    /// Sends all units in order, each at most twice, logging under `tag`. False at the first unit that could
    /// not be sent, was not answered, or was refused twice.
    bool Send(CComPort& port, const char* tag) const;

 private:
    enum class Outcome { Accepted, Refused, Broken };

    bool SendUnit(CComPort& port, const char* tag, std::uint64_t index) const;
    Outcome TryUnit(CComPort& port, const char* tag, std::uint64_t index) const;

    const unsigned char* data_;
    std::uint64_t length_;
    int unitSize_;
};

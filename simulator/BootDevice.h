#pragma once

#include <string>
#include <vector>

#include "simulator/DeviceModel.h"

namespace simulator {

/// The chip of a printer that has left its firmware for its boot loader: a device on USB and nowhere else.
/// The printer model makes one when it is told to enter its boot loader, hands it all bytes, control requests
/// and time while it is there, and takes the flash image and the release from it when it is done.
class BootDevice : public DeviceModel {
 public:
    bool OnLine(std::uint64_t now) final {
        static_cast<void>(now);
        return false;
    }
    void ConnectionChanged(bool connected, std::uint64_t now) override {
        static_cast<void>(connected);
        static_cast<void>(now);
    }

    /// True once the chip leaves its boot loader of its own accord (after its last record or a reset command)
    /// and the printer starts. A chip that only a power cycle brings back never says so.
    virtual bool Finished() const = 0;

    /// What the flash holds, in the order of the package's data.
    virtual Bytes FlashImage() const = 0;

    /// The release of the firmware that the chip was given; empty while it holds no firmware that would start
    /// (after a power cycle it is then a boot device again).
    virtual std::string NewRelease() const = 0;

    /// What the host did that the chip would not have stood, in order. Tests expect none.
    virtual std::vector<std::string> Violations() const = 0;
};

}  // namespace simulator

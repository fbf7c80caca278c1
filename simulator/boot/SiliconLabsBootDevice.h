#pragma once

#include "simulator/boot/BootDevice.h"

namespace simulator {

/// What a Silicon Labs boot loader is.
struct SiliconLabsBootOptions : BootOptions {
    SiliconLabsBootOptions() { usb = {0x10C4, 0xEAC9, "BOOT2"}; }

    /// Bytes of the whole firmware, after which the chip starts it. 0: it waits for more until it is switched
    /// off.
    std::size_t firmwareSize = 0;
};

/// The boot loader of a Silicon Labs chip: takes the records of its firmware as HID output reports, checks
/// each request, the padding and the length, and acknowledges each record.
class SiliconLabsBootDevice final : public BootDevice {
 public:
    /// The only command, as faults and counts name it: a whole record.
    static constexpr int kRecord = '$';

    explicit SiliconLabsBootDevice(SiliconLabsBootOptions options);

    /// Bulk data is no business of this boot loader.
    void Receive(const unsigned char*, std::size_t, std::uint64_t) override {
        Violation("bulk data to a boot loader that takes reports");
    }
    bool Control(const ControlRequest& request, std::uint64_t now) override;
    void ConnectionChanged(bool, std::uint64_t) override { received_.clear(); }
    /// All records that were acknowledged, in order.
    Bytes FlashImage() const override { return flash_; }
    std::string NewRelease() const override;

 private:
    void TakeRecord(std::uint64_t now);

    SiliconLabsBootOptions boot_;
    Bytes received_;  ///< reports of the record under way
    Bytes flash_;
    bool complete_ = false;
};

}  // namespace simulator

#pragma once

#include "simulator/boot/BootChip.h"

namespace simulator {

/// What a Silicon Labs boot loader is.
struct SiliconLabsBootOptions : BootChipOptions {
    SiliconLabsBootOptions() { usb = {0x10C4, 0xEAC9, "BOOT2"}; }

    /// Bytes of the whole firmware, after which the chip starts it. 0: it waits for more until it is switched
    /// off.
    std::size_t firmwareSize = 0;
};

/// The boot loader of a Silicon Labs chip: takes the records of its firmware as HID output reports, checks
/// each request, the padding and the length, and acknowledges each record.
class SiliconLabsBootDevice final : public BootChip {
 public:
    /// The only command, as faults and counts name it: a whole record.
    static constexpr int kRecord = '$';

    explicit SiliconLabsBootDevice(SiliconLabsBootOptions options);

    /// Bulk data is no business of this boot loader.
    void Receive(const unsigned char* data, std::size_t size, std::uint64_t now) override;
    bool Control(const ControlRequest& request, std::uint64_t now) override;
    void ConnectionChanged(bool connected, std::uint64_t now) override;
    /// All records that were acknowledged, in order.
    Bytes FlashImage() const override { return flash_; }
    std::string NewRelease() const override;
    /// Reports taken so far.
    int Reports() const { return reports_; }

 private:
    void TakeRecord(std::uint64_t now);

    SiliconLabsBootOptions boot_;
    Bytes received_;  ///< reports of the record under way
    Bytes flash_;
    int reports_ = 0;
    bool complete_ = false;
};

}  // namespace simulator

#include "simulator/boot/SiliconLabsBootDevice.h"

#include <algorithm>
#include <utility>

#include "simulator/SampleFiles.h"

namespace simulator {

namespace {

constexpr std::size_t kReportSize = 64;
constexpr std::size_t kRecordHead = 2;
const Bytes kAcknowledged{0x40, 0x00, 0x00, 0x00};
const Bytes kRefused{0x45, 0x00, 0x00, 0x00};

bool IsOutputReport(const ControlRequest& request) {
    return request.type == 0x21 && request.request == 9 && request.value == 0x0200 && request.index == 0 &&
           request.data.size() == kReportSize;
}

}  // namespace

SiliconLabsBootDevice::SiliconLabsBootDevice(SiliconLabsBootOptions options)
    : BootDevice(options), boot_(std::move(options)) {}

bool SiliconLabsBootDevice::Control(const ControlRequest& request, std::uint64_t now) {
    if (Vanished() || Finished()) return false;
    if (!IsOutputReport(request)) {
        Violation("a control request that is no output report of 64 bytes");
        return false;
    }
    IsHostWaiting();
    received_.insert(received_.end(), request.data.begin(), request.data.end());
    if (received_.size() >= received_[1] + kRecordHead) TakeRecord(now);
    return true;
}

void SiliconLabsBootDevice::TakeRecord(std::uint64_t now) {
    const Bytes reports = std::move(received_);
    received_.clear();
    if (!Obeys(kRecord, now)) return;
    const auto end = reports.begin() + static_cast<std::ptrdiff_t>(reports[1] + kRecordHead);
    const bool padded = std::all_of(end, reports.end(), [](unsigned char byte) { return byte == 0; });
    if (reports[0] != kRecord || !padded || complete_) {
        Violation("a report that holds no record, is not padded with zeros, or follows the last one");
        Answer(kRefused, now);
        return;
    }
    flash_.insert(flash_.end(), reports.begin(), end);
    complete_ = boot_.firmwareSize != 0 && flash_.size() >= boot_.firmwareSize;
    if (complete_) Finish();
    Answer(kAcknowledged, now);
}

std::string SiliconLabsBootDevice::NewRelease() const {
    return complete_ ? SampleFiles::ReleaseOf(flash_) : std::string();
}

}  // namespace simulator

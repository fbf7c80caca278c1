#include "upgrade/UpgradePrinter_ModeU6.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <memory>

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "upgrade/BootUsb.h"

namespace {

constexpr const char* kVendor = "10C4";
constexpr unsigned char kEnterBoot[] = {0x1C, 0xEE};
constexpr int kDeviceWaitMs = 40000;

constexpr unsigned char kRecordStart = '$';
constexpr std::size_t kRecordHead = 2;  // '$' and the number of bytes that follow
constexpr std::size_t kMostContent = UCHAR_MAX - kRecordHead;

constexpr std::size_t kReportSize = 64;
constexpr unsigned char kClassRequestToInterface = 0x21;
constexpr unsigned char kSetReport = 9;
constexpr unsigned short kOutputReport0 = 0x0200;
constexpr unsigned int kReportTimeoutMs = 1000;
constexpr std::uint64_t kReportPauseUs = 10;

constexpr unsigned int kAnswerAtMost = 511;
constexpr std::array<unsigned char, 4> kAcknowledged{0x40, 0x00, 0x00, 0x00};

std::size_t RecordSize(const unsigned char* record) {
    return kRecordHead + record[1];
}

/// The size of the record at the front of `left` bytes; 0 when no whole record is there.
std::size_t WholeRecord(const unsigned char* data, std::size_t left) {
    if (left < kRecordHead || data[0] != kRecordStart || data[1] > kMostContent) return 0;
    return RecordSize(data) <= left ? RecordSize(data) : 0;
}

void SendReports(BootPort& boot, const unsigned char* data, std::size_t size) {
    for (std::size_t at = 0; at < size; at += kReportSize) {
        std::array<unsigned char, kReportSize> report{};
        std::copy_n(data + at, std::min(kReportSize, size - at), report.begin());
        // A report that was not taken shows in the record's acknowledgement.
        boot.ControlTransfer(kClassRequestToInterface, kSetReport, kOutputReport0, 0, report.data(),
                             kReportSize, kReportTimeoutMs);
        Clock::Get().SleepMicroseconds(kReportPauseUs);
    }
}

}  // namespace

bool UpgradePrinter_ModeU6::EnterUSBBootDirectModeOnUSB(CComPort& port) {
    Log::WriteLog("EnterUSBBootDirectModeOnUSB", "Sending command to enter in USB Boot Direct mode... ");
    port.SendCommand(kEnterBoot);
    return true;
}

std::vector<unsigned char*> UpgradePrinter_ModeU6::SplitBuffer(const unsigned char* data, int length) {
    std::vector<OwnedBytes> records;
    const std::size_t size = data != nullptr && length > 0 ? static_cast<std::size_t>(length) : 0;
    for (std::size_t at = 0; at < size;) {
        const std::size_t recordSize = WholeRecord(data + at, size - at);
        if (recordSize == 0) return {};
        records.push_back(AllocateBytes(recordSize));
        if (records.back() == nullptr) return {};
        std::copy_n(data + at, recordSize, records.back().get());
        at += recordSize;
    }
    std::vector<unsigned char*> pointers;
    pointers.reserve(records.size());
    for (OwnedBytes& record : records) pointers.push_back(record.release());
    return pointers;
}

bool UpgradePrinter_ModeU6::SendRecord(BootPort& boot, const unsigned char* record, const char* tag) {
    SendReports(boot, record, RecordSize(record));
    std::array<unsigned char, kAnswerAtMost + 1 + CComPort::kReadSlack> answer{};
    unsigned int err = 0;
    if (boot.Port().Read(answer.data(), kAnswerAtMost, &err) == 0) {
        return Log::Fail(tag, "Read FW Release Error");  // kept: the text of the release inquiries
    }
    // kept: a shorter answer is judged with the zeros of the buffer behind it
    return std::equal(kAcknowledged.begin(), kAcknowledged.end(), answer.begin()) ||
           Log::Fail(tag, "Silicon Laboratory answer Error NACK");
}

bool UpgradePrinter_ModeU6::SendRecords(const std::vector<OwnedBytes>& records, const char* tag) {
    Log::WriteLog(tag, "Found Silicon Lab device.");
    Sleep({1000});
    const std::unique_ptr<BootPort> boot = BootUsb::Get().MakePort();
    // The results are not looked at: a device that is not open acknowledges nothing.
    std::string vendor = kVendor;
    boot->Port().InitWithVid(vendor.data());
    boot->Port().Open();
    Log::WriteLog(tag, "start sending FW ");
    int number = 0;
    for (const OwnedBytes& record : records) {
        Log::WriteLogP(tag, "Bank %d ", ++number);
        if (!SendRecord(*boot, record.get(), tag)) {
            boot->Port().Close();
            return false;
        }
    }
    return true;
}

bool UpgradePrinter_ModeU6::SendFW(UpgradeDataInfo& /*info*/, CComPort& port, PSWFile& package,
                                   CommPortSettings& /*settings*/, void* /*ctx1*/, void* /*ctx2*/) {
    static constexpr char kTag[] = "SendFW";
    // Looked at before the printer is told anything: in its boot loader it could only be left without
    // firmware.
    const FirmwareImage image = FirmwareImage::Of(package);
    std::vector<OwnedBytes> records;
    if (image.length <= INT_MAX) {
        for (unsigned char* record : SplitBuffer(image.data, static_cast<int>(image.length))) {
            records.emplace_back(record);
        }
    }
    if (records.empty()) {
        return Log::Fail(
            kTag, "Upgrade file wrong or incomplete: the firmware is not a run of boot loader records");
    }
    if (!ReachPrinter(port, kTag)) return false;
    EnterUSBBootDirectModeOnUSB(port);
    port.Close();
    if (BootUsb::WaitForDevice(kVendor, Deadline(Wait{kDeviceWaitMs, iTimem})).empty()) {
        return Log::Fail(kTag, "Not found Silicon Lab device Error.");
    }
    if (!SendRecords(records, kTag)) return false;
    Sleep({1000, iTimem});
    return true;
}

#include "port/UsbDevices.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/Listener.h"
#include "support/Log.h"

namespace {

std::string HexId(unsigned int id) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%04X", id & 0xFFFFU);
    return text.data();
}

/// libusb, held while one walk over the bus lasts.
class LibUsb {
 public:
    LibUsb() : initialised_(libusb_init(nullptr) == LIBUSB_SUCCESS) {}
    LibUsb(const LibUsb&) = delete;
    LibUsb& operator=(const LibUsb&) = delete;
    ~LibUsb() {
        if (initialised_) libusb_exit(nullptr);
    }
    bool IsInitialised() const { return initialised_; }

 private:
    const bool initialised_;
};

/// Copies the text up to the next bar, or to the end. Returns what follows the bar; null when there is no bar
/// or nothing after it.
const char* TakeField(const char* text, char* field, std::size_t size) {
    const char* bar = std::strchr(text, '|');
    if (bar == nullptr) return nullptr;
    const std::size_t length = std::min(static_cast<std::size_t>(bar - text), size - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
    return bar[1] == '\0' ? nullptr : bar + 1;
}

}  // namespace

bool UsbDevice::ReadIds() {
    libusb_device_descriptor descriptor{};
    if (libusb_get_device_descriptor(device, &descriptor) != LIBUSB_SUCCESS) return false;
    vendor = HexId(descriptor.idVendor);
    product = HexId(descriptor.idProduct);
    serialIndex = descriptor.iSerialNumber;
    return true;
}

UsbHandle UsbDevice::Open() const {
    libusb_device_handle* handle = nullptr;
    return UsbHandle(libusb_open(device, &handle) == LIBUSB_SUCCESS ? handle : nullptr);
}

bool UsbDevice::ReadSerial(const UsbHandle& handle) {
    std::array<unsigned char, 256> text{};
    serial.clear();
    const int length = libusb_get_string_descriptor_ascii(handle.get(), serialIndex, text.data(),
                                                          static_cast<int>(text.size()));
    serialRead = length >= 0;
    if (!serialRead) return false;
    serial.assign(text.begin(), text.begin() + length);
    serial.resize(std::min(serial.find('\0'), serial.size()));
    std::replace_if(
        serial.begin(), serial.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return true;
}

const char* VisitUsbDevices(const std::function<bool(const UsbDevice&)>& wanted,
                            const std::function<void(const char* text)>& report,
                            const std::function<void(const UsbDevice&)>& visit) {
    const LibUsb usb;
    if (!usb.IsInitialised()) return "libusb_init error";
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(nullptr, &devices);
    if (count < 0) return "libusb_get_device_list error";
    const UsbDeviceList list(devices);
    for (ssize_t i = 0; i < count; ++i) {
        UsbDevice each(devices[i]);
        if (!each.ReadIds()) {
            report("failed to get device descriptor");
            continue;
        }
        if (!wanted(each)) continue;
        const UsbHandle handle = each.Open();
        if (handle == nullptr) {
            report("Couldn't open device");
            continue;
        }
        if (!each.ReadSerial(handle)) report("Coudn't get serial string");
        visit(each);
    }
    return nullptr;
}

void ExtractUsbParamsFromName(const char* name, char* vid, char* pid, char* serial, std::size_t size) {
    if (size == 0) return;
    vid[0] = pid[0] = serial[0] = '\0';
    if (name == nullptr) return;
    const char* rest = TakeField(name, vid, size);
    if (rest != nullptr) rest = TakeField(rest, pid, size);
    if (rest == nullptr) return;
    const std::size_t length = std::min(std::strlen(rest), size - 1);
    std::memcpy(serial, rest, length);
    serial[length] = '\0';
}

bool UsbSearch::Run(libusb_device* const* devices) {
    for (; *devices != nullptr; ++devices) {
        const Verdict verdict = Judge(*devices);
        if (verdict == Verdict::kTaken) return Prepare(*devices);
        if (verdict == Verdict::kFailed) return false;
    }
    return false;
}

UsbSearch::Verdict UsbSearch::Judge(libusb_device* device) {
    UsbDevice candidate(device);
    if (!candidate.ReadIds()) return Fail("failed to get device descriptor");
    if (candidate.vendor != vid || (pid && candidate.product != *pid)) return Verdict::kPassed;
    handle = candidate.Open();
    if (handle == nullptr) return Fail("Couldn't open device");
    if (!serialFits) return Verdict::kTaken;
    if (!candidate.ReadSerial(handle)) {
        if (strict) return Fail("Coudn't get serial string");
        Report("Coudn't get serial string");
    }
    if (candidate.serial.empty() || serialFits(candidate.serial)) return Verdict::kTaken;
    handle.reset();
    return Verdict::kPassed;
}

bool UsbSearch::Prepare(libusb_device* device) {
    const UsbConfig config = ReadConfig(device);
    if (config != nullptr) TakeEndpoints(*config);
    if (!Detach(0)) {
        Fail("libusb_detach_kernel_driver error");
        return false;
    }
    const int interfaces = strict && config != nullptr ? config->bNumInterfaces : 1;
    for (int interface = 1; interface < interfaces; ++interface) {
        if (Detach(interface)) continue;
        Report("libusb_detach_kernel_driver error interface index " + std::to_string(interface));
    }
    return true;
}

UsbConfig UsbSearch::ReadConfig(libusb_device* device) const {
    libusb_config_descriptor* config = nullptr;
    const int result = libusb_get_active_config_descriptor(device, &config);
    if (result == LIBUSB_SUCCESS) return UsbConfig(config);
    if (strict) {
        Listener::Tell(Listener::Event::kOutput, 0, "Error getting usb config descriptor");
        std::printf("Error getting usb config descriptor : %d \n", result);
        std::fflush(stdout);
        std::exit(-1);
    }
    return nullptr;
}

void UsbSearch::TakeEndpoints(const libusb_config_descriptor& config) {
    if (config.bNumInterfaces == 0 || config.interface[0].num_altsetting <= 0) return;
    const libusb_interface_descriptor& setting = config.interface[0].altsetting[0];
    const unsigned int first = setting.bNumEndpoints > 0 ? setting.endpoint[0].bEndpointAddress : 0U;
    const unsigned int second = setting.bNumEndpoints > 1 ? setting.endpoint[1].bEndpointAddress : 0U;
    const bool inFirst = (first & LIBUSB_ENDPOINT_IN) != 0;
    epIn = inFirst ? first : second;
    epOut = inFirst ? second : first;
}

/// True when no kernel driver is left on the interface.
bool UsbSearch::Detach(int interface) {
    return libusb_kernel_driver_active(handle.get(), interface) != 1 ||
           libusb_detach_kernel_driver(handle.get(), interface) == LIBUSB_SUCCESS;
}

void UsbSearch::Report(const std::string& text) {
    Log::Write(tag, text);
    lastError = text;
}

UsbSearch::Verdict UsbSearch::Fail(const char* text) {
    Report(text);
    handle.reset();
    return Verdict::kFailed;
}

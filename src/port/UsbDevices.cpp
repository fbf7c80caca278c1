#include "port/UsbDevices.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

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

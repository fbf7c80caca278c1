#include "port/UsbDeviceIds.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

std::string HexId(unsigned int id) {
    std::array<char, 8> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%04X", id & 0xFFFFU));
    return text.data();
}

}  // namespace

bool UsbDeviceIds::Read(libusb_device* device) {
    libusb_device_descriptor descriptor{};
    if (libusb_get_device_descriptor(device, &descriptor) != LIBUSB_SUCCESS) return false;
    vendor = HexId(descriptor.idVendor);
    product = HexId(descriptor.idProduct);
    serialIndex = descriptor.iSerialNumber;
    return true;
}

UsbHandle OpenUsbDevice(libusb_device* device) {
    libusb_device_handle* handle = nullptr;
    return UsbHandle(libusb_open(device, &handle) == LIBUSB_SUCCESS ? handle : nullptr);
}

bool ReadUsbSerial(libusb_device_handle* handle, std::uint8_t index, std::string& serial) {
    std::array<unsigned char, 256> text{};
    serial.clear();
    const int length =
        libusb_get_string_descriptor_ascii(handle, index, text.data(), static_cast<int>(text.size()));
    if (length < 0) return false;
    serial.assign(text.begin(), text.begin() + length);
    serial.resize(std::min(serial.find('\0'), serial.size()));
    std::replace_if(
        serial.begin(), serial.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return true;
}

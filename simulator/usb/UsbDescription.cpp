#include "simulator/usb/UsbDescription.h"

#include <algorithm>

namespace simulator {

std::vector<unsigned char> UsbInterface::OutAndIn() {
    return {0x01, 0x82};
}

namespace {

constexpr unsigned char kSerialIndex = 3;
constexpr unsigned char kStringType = 3;
constexpr std::size_t kLongestString = 126;
constexpr unsigned char kHubClass = 9;
constexpr unsigned char kPrinterClass = 7;

unsigned char Byte(std::size_t value) {
    return static_cast<unsigned char>(value & 0xFF);
}

void Append16(Bytes& bytes, std::size_t value) {
    bytes.push_back(Byte(value));
    bytes.push_back(Byte(value >> 8));
}

void AppendInterface(Bytes& bytes, const UsbInterface& interface, std::size_t number,
                     const UsbDescription& device) {
    const unsigned char kind = device.hub ? kHubClass : kPrinterClass;
    bytes.insert(bytes.end(), {9, 4, Byte(number), 0, Byte(interface.endpoints.size()), kind, 1, 2, 0});
    for (const unsigned char endpoint : interface.endpoints) {
        bytes.insert(bytes.end(), {7, 5, endpoint, 2});
        Append16(bytes, device.maxPacket);
        bytes.push_back(0);
    }
}

}  // namespace

Bytes DeviceDescriptor(const UsbDescription& device) {
    Bytes bytes{18, 1, 0x00, 0x02, device.hub ? kHubClass : Byte(0), 0, 0, 64};
    Append16(bytes, device.identity.vendor);
    Append16(bytes, device.identity.product);
    Append16(bytes, 0x0100);
    bytes.insert(bytes.end(), {0, 0, device.faults.noSerial ? Byte(0) : kSerialIndex, 1});
    return bytes;
}

Bytes ConfigurationDescriptor(const UsbDescription& device) {
    Bytes interfaces;
    for (std::size_t number = 0; number < device.interfaces.size(); ++number)
        AppendInterface(interfaces, device.interfaces[number], number, device);
    Bytes bytes{9, 2};
    Append16(bytes, 9 + interfaces.size());
    bytes.insert(bytes.end(), {Byte(device.interfaces.size()), 1, 0, 0xC0, 1});
    bytes.insert(bytes.end(), interfaces.begin(), interfaces.end());
    return bytes;
}

Bytes StringDescriptor(const UsbDescription& device, unsigned char index) {
    if (index == 0) return {4, kStringType, 0x09, 0x04};
    if (index != kSerialIndex || device.faults.noSerial) return {};
    const std::string& text = device.identity.serial;
    const std::size_t length = std::min(text.size(), kLongestString);
    Bytes bytes{Byte(2 + 2 * length), kStringType};
    for (std::size_t i = 0; i < length; ++i) Append16(bytes, static_cast<unsigned char>(text[i]));
    return bytes;
}

}  // namespace simulator

#pragma once

#include <cstdint>
#include <string>

#include "port/LibUsb.h"

/// What a device descriptor says of who the device is, as the texts that names and searches compare.
struct UsbDeviceIds {
    std::string vendor;   ///< four upper-case hex digits
    std::string product;  ///< four upper-case hex digits
    std::uint8_t serialIndex = 0;

    /// False when the descriptor cannot be read.
    bool Read(libusb_device* device);
};

/// Opens a device; null when it cannot be opened.
UsbHandle OpenUsbDevice(libusb_device* device);

/// Reads the serial-number text as ASCII; on failure it is empty. The text is the printer's: what does not
/// print is replaced by "?", so that it makes one line of a list, and the same text in every search.
bool ReadUsbSerial(libusb_device_handle* handle, std::uint8_t index, std::string& serial);

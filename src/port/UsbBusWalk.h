#pragma once

#include "port/LibUsb.h"

/// libusb and a list of the devices on the bus, held while one walk over them lasts.
class UsbBusWalk {
 public:
    UsbBusWalk();
    ~UsbBusWalk();
    UsbBusWalk(const UsbBusWalk&) = delete;
    UsbBusWalk& operator=(const UsbBusWalk&) = delete;

    /// Why there is no list; null when there is one.
    const char* Failure() const { return failure_; }

    libusb_device** begin() const { return list_.get(); }
    libusb_device** end() const { return end_; }

 private:
    const char* failure_ = nullptr;
    bool initialised_ = false;
    UsbDeviceList list_;
    libusb_device** end_ = nullptr;
};

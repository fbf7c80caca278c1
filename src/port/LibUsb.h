#pragma once

#include <libusb-1.0/libusb.h>

#include <memory>

#include "support/Owned.h"

/// Owners of libusb's objects. libusb itself (its default context) must outlive them all.

struct LibUsbCloser {
    void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
    void operator()(libusb_config_descriptor* config) const { libusb_free_config_descriptor(config); }
    void operator()(libusb_device** list) const { libusb_free_device_list(list, 1); }
};

using UsbHandle = Owned<libusb_device_handle, LibUsbCloser>;
using UsbConfig = std::unique_ptr<libusb_config_descriptor, LibUsbCloser>;
/// A null-terminated array of devices, each held by the list.
using UsbDeviceList = Owned<libusb_device*[], LibUsbCloser>;

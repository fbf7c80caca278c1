#include "port/UsbBusWalk.h"

UsbBusWalk::UsbBusWalk() {
    initialised_ = libusb_init(nullptr) == LIBUSB_SUCCESS;
    if (!initialised_) {
        failure_ = "libusb_init error";
        return;
    }
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(nullptr, &list);
    if (count < 0) {
        failure_ = "libusb_get_device_list error";
        return;
    }
    list_.reset(list);
    end_ = list + count;
}

UsbBusWalk::~UsbBusWalk() {
    list_.reset();
    if (initialised_) libusb_exit(nullptr);
}

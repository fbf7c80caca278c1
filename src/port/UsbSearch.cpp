#include "port/UsbSearch.h"

#include <cstdio>
#include <cstdlib>

#include "support/Listener.h"
#include "support/Log.h"

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

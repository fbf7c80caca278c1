#pragma once

#include <functional>
#include <optional>
#include <string>

#include "port/UsbDevices.h"

/// One of the port's searches: which device is wanted, how strict the search is, and what it found.
struct UsbSearch {
    UsbSearch(const char* logName, const char* wantedVid) : tag(logName), vid(wantedVid) {}

    const char* tag;
    std::string vid;
    std::optional<std::string> pid;  ///< none: any product
    /// Judges the serial-number text; empty: it is not read.
    std::function<bool(const std::string& serial)> serialFits;
    /// A serial number that cannot be read ends the search (otherwise it counts as ""), a configuration that
    /// cannot be read ends the program, and kernel drivers leave every interface, not only the first.
    bool strict = false;

    UsbHandle handle;  ///< the device, open and without a kernel driver on interface 0
    /// Endpoint addresses, 0 where the device has none. The device decides what they are: check the
    /// direction.
    unsigned int epIn = 0;
    unsigned int epOut = 0;
    std::string lastError;  ///< text of the last failure

    /// Walks the null-terminated `devices`; true when found. Failures are logged.
    bool Run(libusb_device* const* devices);

 private:
    enum class Verdict { kTaken, kPassed, kFailed };

    Verdict Judge(libusb_device* device);
    bool Prepare(libusb_device* device);
    UsbConfig ReadConfig(libusb_device* device) const;
    void TakeEndpoints(const libusb_config_descriptor& config);
    bool Detach(int interface);
    void Report(const std::string& text);
    Verdict Fail(const char* text);
};

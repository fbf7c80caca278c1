#pragma once

#include <libusb-1.0/libusb.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "support/Owned.h"

// Owners of libusb's objects. libusb itself (its default context) must outlive them all.

struct LibUsbCloser {
    void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
    void operator()(libusb_config_descriptor* config) const { libusb_free_config_descriptor(config); }
    void operator()(libusb_device** list) const { libusb_free_device_list(list, 1); }
};

using UsbHandle = Owned<libusb_device_handle, LibUsbCloser>;
using UsbConfig = std::unique_ptr<libusb_config_descriptor, LibUsbCloser>;
/// A null-terminated array of devices, each held by the list.
using UsbDeviceList = Owned<libusb_device*[], LibUsbCloser>;

/// A device on the bus and who it says it is, as the texts that names and searches compare.
struct UsbDevice {
    explicit UsbDevice(libusb_device* onBus) : device(onBus) {}

    /// Reads the IDs. False when the device descriptor cannot be read.
    bool ReadIds();
    /// Null when the device cannot be opened.
    UsbHandle Open() const;
    /// Reads the serial-number text of the opened device as ASCII; on failure it is empty. The text is the
    /// printer's: what does not print is replaced by "?", so that it makes one line of a list, and the same
    /// text in every search.
    bool ReadSerial(const UsbHandle& handle);

    libusb_device* device;
    std::string vendor;   ///< four upper-case hex digits
    std::string product;  ///< four upper-case hex digits
    std::uint8_t serialIndex = 0;
    std::string serial;
    bool serialRead = false;
};

/// Visits every device on the bus that is wanted for its IDs, with its serial-number text. What cannot be
/// read is reported; a device that cannot be opened is not visited. Null, or why the bus cannot be listed.
const char* VisitUsbDevices(const std::function<bool(const UsbDevice&)>& wanted,
                            const std::function<void(const char* text)>& report,
                            const std::function<void(const UsbDevice&)>& visit);

/// Splits a USB device name, "vendor|product|serial", into its three texts, each emptied first. A vendor or
/// product that no bar ends stays empty, and so does what comes after it; all after the second bar is the
/// serial. Each output holds `size` bytes with its terminator; a longer field is cut.
void ExtractUsbParamsFromName(const char* name, char* vid, char* pid, char* serial, std::size_t size);

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

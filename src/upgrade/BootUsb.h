#pragma once

#include <memory>
#include <string>

#include "port/ComPort.h"
#include "support/Clock.h"

/// The USB port of a device that a printer has become in its boot loader. Its owner closes nothing: the port
/// goes with the object.
class BootPort {
 public:
    BootPort() = default;
    BootPort(const BootPort&) = delete;
    BootPort& operator=(const BootPort&) = delete;
    virtual ~BootPort() = default;

    virtual CComPort& Port() = 0;

    /// One control transfer to the device, `timeout` in milliseconds. False when it failed.
    virtual bool ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                                 unsigned short index, unsigned char* data, unsigned short length,
                                 unsigned int timeout) = 0;
};

/// What the boot engines ask of the USB bus. One object, the real bus, is in force unless a test installs
/// another.
class BootUsb {
 public:
    BootUsb() = default;
    BootUsb(const BootUsb&) = delete;
    BootUsb& operator=(const BootUsb&) = delete;
    virtual ~BootUsb() = default;

    /// A new, unopened port for a boot device, with a time multiplier of 1.
    virtual std::unique_ptr<BootPort> MakePort();

    /// The names of the devices of vendor `vid` (four upper-case hex digits), one a line. False when the bus
    /// could not be listed.
    virtual bool ListDevices(const char* vid, std::string& list);

    static BootUsb& Get();

    /// Puts `usb` (not owned, must outlive its use) in force; null puts the real bus back.
    static void Install(BootUsb* usb);

    /// Polls the list until it names a device of vendor `vid` or the deadline is over; looks at least once.
    /// Returns the first name, or an empty text.
    static std::string WaitForDevice(const char* vid, const Deadline& deadline);
};

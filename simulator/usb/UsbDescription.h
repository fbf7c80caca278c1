#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "simulator/DeviceModel.h"

namespace simulator {

struct UsbInterface {
    std::vector<unsigned char> endpoints = OutAndIn();  ///< bulk endpoint addresses in descriptor order
    std::string kernelDriver;                           ///< empty: none is bound

    static std::vector<unsigned char> OutAndIn();
};

/// What goes wrong with a device on demand.
struct UsbFaults {
    bool cannotOpen = false;     ///< the device cannot be opened
    bool unconfigured = false;   ///< it has no active configuration
    bool noSerial = false;       ///< it names no serial number at all (an empty one is an empty text)
    bool stringsStall = false;   ///< its strings cannot be read
    bool cannotClaim = false;    ///< its interfaces cannot be claimed
    std::set<int> undetachable;  ///< interfaces that keep their kernel driver
    bool busy = false;           ///< it takes no data and no control requests
    int status = 0;  ///< not 0: every bulk transfer and control request ends with this negative errno
};

/// A device as the host's USB core sees it.
struct UsbDescription {
    UsbIdentity identity;
    std::string port = "1-1";  ///< where it is plugged in: <bus>-<port>[.<port>...]; hubs are made as needed
    std::vector<UsbInterface> interfaces{UsbInterface()};
    std::uint16_t maxPacket = 64;
    UsbFaults faults;
    bool hub = false;
};

/// The descriptors that the device answers with.
Bytes DeviceDescriptor(const UsbDescription& device);
Bytes ConfigurationDescriptor(const UsbDescription& device);
/// Empty when the device has no such string.
Bytes StringDescriptor(const UsbDescription& device, unsigned char index);

}  // namespace simulator

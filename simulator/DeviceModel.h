#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

using Bytes = std::vector<unsigned char>;

/// How a device presents itself on a USB bus.
struct UsbIdentity {
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    std::string serial;

    bool operator==(const UsbIdentity& other) const {
        return vendor == other.vendor && product == other.product && serial == other.serial;
    }
    bool operator!=(const UsbIdentity& other) const { return !(*this == other); }
};

/// A control request from the host with its data stage.
struct ControlRequest {
    unsigned char type = 0;
    unsigned char request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    Bytes data;
};

/// A simulated device: bytes in, bytes out, time. It knows nothing of what carries the bytes; a transport
/// (TCP, pseudo-terminal, USB) hands it what the host sent and asks it what it has to say.
///
/// Times are simulated milliseconds from an origin of the transport's choice and never go back. A model is
/// used by one thread at a time.
class DeviceModel {
 public:
    static constexpr std::uint64_t kNever = UINT64_MAX;

    DeviceModel() = default;
    DeviceModel(const DeviceModel&) = delete;
    DeviceModel& operator=(const DeviceModel&) = delete;
    virtual ~DeviceModel() = default;

    /// Bytes from the host, in any portions. Bytes that come while the device is away are dropped.
    virtual void Receive(const unsigned char* data, std::size_t size, std::uint64_t now) = 0;

    /// Takes out what the device has to send by now. Each element is one answer: a USB transport sends it as
    /// one transfer, the others join them.
    virtual std::vector<Bytes> Transmit(std::uint64_t now) = 0;

    /// A control request (USB only). False stalls it.
    virtual bool Control(const ControlRequest& /*request*/, std::uint64_t /*now*/) { return false; }

    /// The next time at which the device does something unasked (an answer falls due, a restart ends); kNever
    /// when it only waits for the host. Transports sleep until then at most.
    virtual std::uint64_t NextEvent(std::uint64_t now) const = 0;

    /// Whether the device answers on its line (serial or Ethernet). While it does not, a TCP transport closes
    /// the connection and refuses new ones. A device on USB is never on line.
    virtual bool OnLine(std::uint64_t now) = 0;

    /// How the device sits on USB now; none while it is away or not a USB device. A printer on a line whose
    /// boot device appears on USB has an identity only while it is in its boot loader. A change of identity,
    /// or an absence between two calls, is a re-enumeration.
    virtual std::optional<UsbIdentity> OnUsb(std::uint64_t now) = 0;

    /// The host connected, or the connection is gone: half-received requests are forgotten.
    virtual void ConnectionChanged(bool connected, std::uint64_t now) = 0;

    /// True once each time that the device wants its connection cut (a fault on demand).
    virtual bool TakeCut() { return false; }
};

}  // namespace simulator

// A USB bus with devices of any descriptors and strings, whose transfers bring anything. The functions of
// libusb are the ones below: they hand out what the input says, within libusb's contract.
#include <libusb-1.0/libusb.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/HostilePort.h"
#include "port/ComPortUsb.h"
#include "support/Log.h"

namespace {

constexpr std::size_t kMostDevices = 3;
constexpr std::uint16_t kVendors[] = {0xF0F0, 0x045B, 0x10C4, 0x1234};
constexpr const char* kVendorNames[] = {"F0F0", "045B", "10C4", "1234"};

void Check(bool holds) {
    if (!holds) std::abort();
}

Script* script = nullptr;
int opened = 0;

/// 0, or at times one of libusb's errors.
int Result() {
    const std::uint8_t byte = script->Byte();
    return byte < 0xE0 ? LIBUSB_SUCCESS : -1 - byte % 12;
}

}  // namespace

struct libusb_device {
    std::uint16_t vendor, product;
    std::uint8_t serialIndex;
    simulator::Bytes serial;
    std::array<std::uint8_t, 7> ports;
    int depth;
};
struct libusb_device_handle {
    libusb_device* device;
};

extern "C" {

int libusb_init(libusb_context**) {
    return Result();
}
void libusb_exit(libusb_context*) {}

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    const int result = Result();
    if (result != LIBUSB_SUCCESS) return result;
    const std::size_t count = script->Byte() % (kMostDevices + 1);
    *list = new libusb_device*[count + 1]();
    for (std::size_t i = 0; i < count; ++i) {
        auto* const device = new libusb_device{};
        device->vendor = kVendors[script->Byte() % std::size(kVendors)];
        device->product = static_cast<std::uint16_t>(0x0200 + script->Byte() % 4);
        device->serialIndex = script->Byte();
        device->serial = script->Some(UCHAR_MAX);
        for (std::uint8_t& port : device->ports) port = script->Byte();
        device->depth = script->Byte() % 9 - 1;
        (*list)[i] = device;
    }
    return static_cast<ssize_t>(count);
}

void libusb_free_device_list(libusb_device** list, int) {
    for (std::size_t i = 0; list != nullptr && list[i] != nullptr; ++i) delete list[i];
    delete[] list;
}

int libusb_get_device_descriptor(libusb_device* device, libusb_device_descriptor* descriptor) {
    descriptor->idVendor = device->vendor;
    descriptor->idProduct = device->product;
    descriptor->iSerialNumber = device->serialIndex;
    return Result();
}

int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    const int result = Result();
    if (result == LIBUSB_SUCCESS) {
        *handle = new libusb_device_handle{device};
        ++opened;
    }
    return result;
}

void libusb_close(libusb_device_handle* handle) {
    --opened;
    delete handle;
}

// libusb writes printable characters and a zero byte, in the room that it is given; what it writes here is
// whatever the device has.
int libusb_get_string_descriptor_ascii(libusb_device_handle* handle, std::uint8_t, unsigned char* data,
                                       int length) {
    const int result = Result();
    if (result != LIBUSB_SUCCESS) return result;
    const simulator::Bytes& serial = handle->device->serial;
    const std::size_t size = std::min(serial.size(), static_cast<std::size_t>(length) - 1);
    std::copy_n(serial.begin(), size, data);
    data[size] = 0;
    return static_cast<int>(size);
}

// A configuration that cannot be read ends the program by design, so every one can.
int libusb_get_active_config_descriptor(libusb_device*, libusb_config_descriptor** config) {
    auto* const made = new libusb_config_descriptor{};
    made->bNumInterfaces = static_cast<std::uint8_t>(script->Byte() % 4);
    auto* const interfaces = new libusb_interface[4]{};
    for (int i = 0; i < made->bNumInterfaces; ++i) {
        interfaces[i].num_altsetting = script->Byte() % 2;
        auto* const setting = new libusb_interface_descriptor{};
        setting->bNumEndpoints = static_cast<std::uint8_t>(script->Byte() % 4);
        auto* const endpoints = new libusb_endpoint_descriptor[4]{};
        for (int k = 0; k < setting->bNumEndpoints; ++k) endpoints[k].bEndpointAddress = script->Byte();
        setting->endpoint = endpoints;
        interfaces[i].altsetting = setting;
    }
    made->interface = interfaces;
    *config = made;
    return LIBUSB_SUCCESS;
}

void libusb_free_config_descriptor(libusb_config_descriptor* config) {
    for (int i = 0; i < config->bNumInterfaces; ++i) {
        delete[] config->interface[i].altsetting->endpoint;
        delete config->interface[i].altsetting;
    }
    delete[] config->interface;
    delete config;
}

int libusb_get_port_numbers(libusb_device* device, std::uint8_t* ports, int size) {
    const int depth = std::min(device->depth, size);
    if (depth > 0) std::copy_n(device->ports.begin(), depth, ports);
    return depth < 0 ? LIBUSB_ERROR_OVERFLOW : depth;
}

int libusb_kernel_driver_active(libusb_device_handle*, int) {
    return script->Byte() % 2;
}
int libusb_detach_kernel_driver(libusb_device_handle*, int) {
    return Result();
}
int libusb_claim_interface(libusb_device_handle*, int) {
    return Result();
}
int libusb_release_interface(libusb_device_handle*, int) {
    return Result();
}

int libusb_control_transfer(libusb_device_handle*, std::uint8_t, std::uint8_t, std::uint16_t, std::uint16_t,
                            unsigned char*, std::uint16_t length, unsigned int) {
    const int result = Result();
    return result == LIBUSB_SUCCESS ? length : result;
}

int libusb_bulk_transfer(libusb_device_handle*, unsigned char endpoint, unsigned char* data, int length,
                         int* transferred, unsigned int) {
    if ((endpoint & LIBUSB_ENDPOINT_IN) != 0) {
        const simulator::Bytes bytes = script->Some(static_cast<std::size_t>(length));
        std::copy(bytes.begin(), bytes.end(), data);
        *transferred = static_cast<int>(bytes.size());
    } else {
        *transferred = script->Byte() < 0xE0 ? length : length / 2;
    }
    return Result();
}

}  // extern "C"

namespace {

/// A list of devices holds whole lines of printing characters, whatever the devices say.
void List(std::size_t room, const char* vid) {
    std::array<char, 512> list{};
    std::array<char, 64> error{};
    CComPortUsb::GetDeviceList(list.data(), room, error.data(), error.size(), vid);
    const std::string lines(list.data());
    Check(lines.size() < std::max<std::size_t>(room, 1) && (lines.empty() || lines.back() == '\n'));
    Check(
        std::all_of(lines.begin(), lines.end(), [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }));
}

void Use(CComPortUsb& port) {
    std::array<unsigned char, 512 + CComPort::kReadSlack> buffer{};
    std::array<char, 2> digit{static_cast<char>('0' + script->Byte() % 10), '\0'};
    std::string product = "0200";
    std::string vendor = kVendorNames[script->Byte() % std::size(kVendorNames)];
    unsigned int err = 0;
    switch (script->Byte() % 12) {
        case 0:
            port.Init(product.data(), digit.data());
            break;
        case 1:
            port.InitWithVid(vendor.data(), product.data(), digit.data());
            break;
        case 2:
            port.InitWithVid(vendor.data());
            break;
        case 3:
            port.Open();
            break;
        case 4:
            port.Close();
            break;
        case 5:
            Check(port.Write(buffer.data(), 300, &err) <= 300);
            break;
        case 6:
            Check(port.Read(buffer.data(), 100, &err) <= 100);
            break;
        case 7:
            port.ReOpen();
            break;
        case 8:
            port.SaveLocationCurrentDevice();
            break;
        case 9:
            port.RestoreAddrNumFrmLocatio();
            break;
        case 10:
            port.HandshakeCommunication();
            break;
        default:
            port.ControlTransfer(0x21, 9, 0x0200, 0, buffer.data(), 64, 1000);
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    constexpr unsigned int kNowhere = 3;  // the lines are made all the same
    Log::SetLogEnable(kNowhere, true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    VirtualClock clock;
    Script input(data, size);
    script = &input;
    List(input.Byte(), nullptr);
    List(300, kVendorNames[input.Byte() % std::size(kVendorNames)]);
    {
        CComPortUsb port(1);
        for (int calls = 0; calls < 12; ++calls) Use(port);
    }
    Check(opened == 0);
    return 0;
}

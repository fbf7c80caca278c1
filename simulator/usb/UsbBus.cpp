#include "simulator/usb/UsbBus.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <umockdev.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace simulator {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

// Kernels number devices up to 127. A program that opens a node after it was removed would get the machine's
// own of that number, so that an emulated device never has a number that a real one may have.
constexpr int kFirstNumber = 128;
constexpr int kLastNumber = 255;
// What the library puts below its root has to fit the address of a socket.
constexpr std::size_t kLongestRoot = sizeof(sockaddr_un::sun_path) - sizeof("/ioctl/_dev_bus_usb_001_001");

std::string HexText(unsigned int value) {
    std::array<char, 16> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%04x", value));
    return text.data();
}

std::string Minor(const UsbDevice& device) {
    return std::to_string((device.BusNumber() - 1) * 128 + device.Number() - 1);
}

/// The hubs between the root and the port, outermost first: "1-1.2.3" sits behind usb1, 1-1 and 1-1.2.
std::vector<std::string> HubsBefore(const std::string& port) {
    if (port.rfind("usb", 0) == 0) return {};
    std::vector<std::string> hubs{"usb" + port.substr(0, port.find('-'))};
    for (std::size_t dot = port.find('.'); dot != std::string::npos; dot = port.find('.', dot + 1))
        hubs.push_back(port.substr(0, dot));
    return hubs;
}

/// The device's folder in the tree: port numbers are read by walking up the folders.
std::string TreePath(const std::string& port) {
    std::string path;
    for (const std::string& hub : HubsBefore(port)) path += hub + "/";
    return path + port;
}

}  // namespace

UsbBus::UsbBus() : testbed_(umockdev_testbed_new()), nextNumber_(kFirstNumber) {
    char* const root = umockdev_testbed_get_root_dir(testbed_);
    root_ = root;
    g_free(root);
    if (root_.size() <= kLongestRoot) return;
    g_object_unref(testbed_);
    throw std::runtime_error("the folder for temporary files has too long a name: " + root_);
}

UsbBus::~UsbBus() {
    for (const auto& [port, device] : devices_) device->Disconnect();
    g_object_unref(testbed_);
}

std::shared_ptr<UsbDevice> UsbBus::Plug(const UsbDescription& description, UsbHandlers handlers) {
    const Lock lock(*mutex_);
    for (const std::string& hub : HubsBefore(description.port)) {
        if (devices_.count(hub) != 0) continue;
        UsbDescription look;
        look.identity = {0x1D6B, 2, "hub"};
        look.port = hub;
        look.interfaces = {{{0x81}, "hub"}};
        look.hub = true;
        Add(look, {});
    }
    return Add(description, std::move(handlers));
}

std::shared_ptr<UsbDevice> UsbBus::Add(const UsbDescription& description, UsbHandlers handlers) {
    if (devices_.count(description.port) != 0) throw std::runtime_error("port in use: " + description.port);
    if (nextNumber_ > kLastNumber) throw std::runtime_error("no device number left");
    auto device = std::make_shared<UsbDevice>(mutex_, description, std::move(handlers), nextNumber_++);
    // What serves the node comes first, then the node, then the tree, and only then is the host told.
    Serve(*device);
    device->MakeNode(root_);
    AddToTree(*device);
    devices_[description.port] = device;
    Announce(*device, "add");
    return device;
}

void UsbBus::Serve(UsbDevice& device) {
    // The preload forgets no attempt to open a node that is served, and has room for few.
    if (device.Description().faults.cannotOpen) return;
    GError* error = nullptr;
    if (umockdev_testbed_attach_ioctl(testbed_, device.Node().c_str(), device.Server(), &error)) return;
    const std::string reason = error->message;
    g_error_free(error);
    throw std::runtime_error(reason);
}

void UsbBus::AddToTree(const UsbDevice& device) {
    const UsbDescription& look = device.Description();
    const std::string minor = Minor(device);
    const std::string bus = std::to_string(device.BusNumber()) + "\n";
    const std::string number = std::to_string(device.Number()) + "\n";
    const std::string vendor = HexText(look.identity.vendor) + "\n";
    const std::string product = HexText(look.identity.product) + "\n";
    char* const path = umockdev_testbed_add_device(
        testbed_, "usb", TreePath(look.port).c_str(), nullptr, "busnum", bus.c_str(), "devnum",
        number.c_str(), "bConfigurationValue", look.faults.unconfigured ? "" : "1\n", "speed", "480\n",
        "idVendor", vendor.c_str(), "idProduct", product.c_str(), "dev", ("189:" + minor).c_str(), nullptr,
        "DEVTYPE", "usb_device", "DEVNAME", device.Node().c_str(), "DRIVER", "usb", "MAJOR", "189", "MINOR",
        minor.c_str(), nullptr);
    if (path == nullptr) throw std::runtime_error("cannot add the device at " + look.port);
    Bytes descriptors = DeviceDescriptor(look);
    const Bytes configuration = ConfigurationDescriptor(look);
    descriptors.insert(descriptors.end(), configuration.begin(), configuration.end());
    umockdev_testbed_set_attribute_binary(testbed_, path, "descriptors", descriptors.data(),
                                          static_cast<int>(descriptors.size()));
    g_free(path);
}

void UsbBus::Unplug(const std::shared_ptr<UsbDevice>& device) {
    const Lock lock(*mutex_);
    const std::string& port = device->Description().port;
    if (devices_.erase(port) == 0) return;
    device->Disconnect();
    umockdev_testbed_remove_device(testbed_, ("/sys/devices/" + TreePath(port)).c_str());
    std::filesystem::remove(root_ + device->Node());
    // What serves the node stays: a child that has just opened it would find its connection cut, and abort.
    Announce(*device, "remove");
    gone_.push_back(device);
}

/// Tells the child as the kernel would. The library's own call works only in a process that has its preload.
void UsbBus::Announce(const UsbDevice& device, const char* action) const {
    const std::string path = "/devices/" + TreePath(device.Description().port);
    std::string message;
    for (const std::string& line :
         {action + ("@" + path), std::string("ACTION=") + action, "DEVPATH=" + path,
          std::string("SUBSYSTEM=usb"), std::string("DEVTYPE=usb_device"),
          "DEVNAME=" + device.Node().substr(std::strlen("/dev/")), std::string("MAJOR=189"),
          "MINOR=" + Minor(device), "BUSNUM=" + std::to_string(device.BusNumber()),
          "DEVNUM=" + std::to_string(device.Number()), std::string("SEQNUM=1")})
        message += line + '\0';
    const Descriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    for (const auto& entry : std::filesystem::directory_iterator(root_)) {
        if (entry.path().filename().string().rfind("event", 0) != 0) continue;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        entry.path().string().copy(address.sun_path, sizeof address.sun_path - 1);
        // A socket that nobody listens on is that of a child that has ended.
        sendto(sender.Get(), message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&address),
               sizeof address);
    }
}

std::vector<std::pair<std::string, std::string>> UsbBus::ChildEnvironment() const {
    // The preload comes before the sanitizer's library, which would refuse that.
    const char* const options = std::getenv("ASAN_OPTIONS");
    const std::string before = options != nullptr ? std::string(options) + ":" : "";
    return {{"LD_PRELOAD", UMOCKDEV_PRELOAD},
            {"UMOCKDEV_DIR", root_},
            {"ASAN_OPTIONS", before + "verify_asan_link_order=0"}};
}

}  // namespace simulator

#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "simulator/usb/UsbDevice.h"

using UMockdevTestbed = struct _UMockdevTestbed;  // NOLINT(bugprone-reserved-identifier): the library's name

namespace simulator {

/// A USB bus for child processes: an emulated device tree, served by a thread of its own, that a program with
/// the real libusb sees in place of the machine's when it is started with `ChildEnvironment`. One child at a
/// time; end it before the bus. TMPDIR may be 64 characters long at most.
class UsbBus {
 public:
    /// Throws std::runtime_error when the tree cannot be made.
    UsbBus();
    ~UsbBus();
    UsbBus(const UsbBus&) = delete;
    UsbBus& operator=(const UsbBus&) = delete;

    /// Plugs a device in, with a device number that no other had. Throws std::runtime_error when the port is
    /// taken or the tree cannot be changed.
    std::shared_ptr<UsbDevice> Plug(const UsbDescription& description, UsbHandlers handlers = {});
    void Unplug(const std::shared_ptr<UsbDevice>& device);

    /// What a child's environment needs so that it sees this bus and no other.
    std::vector<std::pair<std::string, std::string>> ChildEnvironment() const;

    /// Held while the bus or a device changes, and while handlers run. Recursive.
    std::recursive_mutex& Mutex() const { return *mutex_; }

 private:
    void PlugHubs(const std::string& port);
    std::shared_ptr<UsbDevice> Add(const UsbDescription& description, UsbHandlers handlers);
    void Serve(UsbDevice& device);
    void AddToTree(const UsbDevice& device);
    void Announce(const UsbDevice& device, const char* action) const;

    UMockdevTestbed* testbed_ = nullptr;
    std::string root_;
    int nextNumber_;
    std::map<std::string, std::shared_ptr<UsbDevice>> devices_;  ///< by port
    std::vector<std::shared_ptr<UsbDevice>> gone_;               ///< a child may still have them open
    std::shared_ptr<std::recursive_mutex> mutex_ = std::make_shared<std::recursive_mutex>();
};

}  // namespace simulator

#pragma once

#include <cerrno>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "simulator/Descriptor.h"
#include "simulator/usb/UsbDescription.h"

// NOLINTBEGIN(bugprone-reserved-identifier): the library's names
using UMockdevIoctlBase = struct _UMockdevIoctlBase;
using UMockdevIoctlClient = struct _UMockdevIoctlClient;
using UMockdevIoctlData = struct _UMockdevIoctlData;
// NOLINTEND(bugprone-reserved-identifier)

namespace simulator {

/// What a device does with what the host sends. Called on the bus's thread with the bus locked; they may
/// queue input, unplug and plug.
struct UsbHandlers {
    std::function<void(const unsigned char* data, std::size_t size)> received;
    std::function<bool(const ControlRequest& request)> control;  ///< false stalls
    std::function<void(bool claimed)> claimed;                   ///< the host took interface 0, or let it go
};

/// One device on a UsbBus: answers the requests that the host's libusb makes of the device's node and
/// completes its transfers. A read stays pending until there is something to say. Made and plugged by UsbBus
/// only.
class UsbDevice : public std::enable_shared_from_this<UsbDevice> {
 public:
    /// `mutex` is the bus's: the bus's thread may outlive the bus.
    UsbDevice(std::shared_ptr<std::recursive_mutex> mutex, UsbDescription description, UsbHandlers handlers,
              int number);
    ~UsbDevice();
    UsbDevice(const UsbDevice&) = delete;
    UsbDevice& operator=(const UsbDevice&) = delete;

    /// Says `data` as one transfer.
    void QueueIn(const Bytes& data);

    /// Whether a host that has interface 0 has not fetched yet all that was said.
    bool IsHeardLater() const;

    /// What the host did to interfaces and kernel drivers, in order ("detach 0", "claim 0", "release 0").
    std::vector<std::string> Log() const;

    const UsbDescription& Description() const { return description_; }
    int BusNumber() const;
    int Number() const { return number_; }
    /// Path of the node, without the root of the emulated tree.
    std::string Node() const;

    /// The object that serves the node's requests, made at the first call.
    UMockdevIoctlBase* Server();

    /// Makes the node below `root`. Throws std::runtime_error when it cannot.
    void MakeNode(const std::string& root);

    /// The device is gone: transfers end, handlers are forgotten.
    void Disconnect();

 private:
    struct Unref {
        void operator()(void* object) const;
    };
    using Data = std::unique_ptr<UMockdevIoctlData, Unref>;
    struct Transfer {
        Data data;  ///< the host's usbdevfs_urb with its buffer
        unsigned int type = 0;
        unsigned int endpoint = 0;
        unsigned int flags = 0;
        std::size_t length = 0;
    };
    using Transfers = std::list<Transfer>;
    struct Client {
        Transfers pending;
        Transfers done;
    };
    struct Reply {
        long result = 0;
        int error = 0;
    };

    static constexpr Reply kNoAnswer{-1, EFAULT};  // the host was killed and never sees it

    static Data Fetch(UMockdevIoctlData* argument, std::size_t size, std::size_t offset = 0);
    void Connected(UMockdevIoctlClient* client);
    void Vanished(UMockdevIoctlClient* client);
    void Serve(UMockdevIoctlClient* client);
    Reply Answer(UMockdevIoctlClient* client, unsigned long request, UMockdevIoctlData* argument);
    static Reply Capabilities(UMockdevIoctlData* argument);
    Reply GetDriver(UMockdevIoctlData* argument);
    Reply DriverRequest(UMockdevIoctlData* argument);
    Reply Claim(UMockdevIoctlClient* client, UMockdevIoctlData* argument);
    Reply Release(UMockdevIoctlClient* client, UMockdevIoctlData* argument);
    Reply Submit(UMockdevIoctlClient* client, UMockdevIoctlData* argument);
    Reply Discard(UMockdevIoctlClient* client, UMockdevIoctlData* argument);
    void Reap(UMockdevIoctlClient* client, UMockdevIoctlData* argument);
    void SubmitControl(Client& client);
    int Control(const ControlRequest& request, Bytes& answer);
    Bytes StandardDescriptor(std::uint16_t value) const;

    void Pump();
    bool PumpOne();
    bool PumpTransfer(Client& client, Transfers::iterator transfer);
    bool PumpOut(Client& client, Transfers::iterator transfer);
    bool PumpIn(Client& client, Transfers::iterator transfer);
    void Finish(Client& client, Transfers::iterator transfer, int status, std::size_t size);
    void Wake();
    UsbInterface* Interface(unsigned int number);
    void SetClaimed(UMockdevIoctlClient* client);

    std::shared_ptr<std::recursive_mutex> mutex_;
    UsbDescription description_;
    UsbHandlers handlers_;
    int number_;
    Descriptor fifo_;
    bool readable_ = true;  ///< the FIFO is drained: the host's poll says that a transfer can be reaped
    bool gone_ = false;
    bool pumping_ = false;
    std::unique_ptr<UMockdevIoctlBase, Unref> server_;
    UMockdevIoctlClient* claimedBy_ = nullptr;
    std::map<UMockdevIoctlClient*, Client> clients_;
    std::deque<Bytes> input_;
    std::vector<std::string> log_;
};

}  // namespace simulator

#include "simulator/usb/UsbDevice.h"

#include <fcntl.h>
#include <sys/ioctl.h>
// <sys/ioctl.h> comes first: the next one needs its macros.
#include <linux/usbdevice_fs.h>
#include <sys/stat.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <stdexcept>

namespace simulator {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

constexpr int kFifoSize = 4096;
constexpr std::size_t kSetupSize = 8;
constexpr unsigned int kDirectionIn = 0x80;
constexpr unsigned char kGetDescriptor = 6;

/// The host's `T` behind an argument of a request.
template <class T>
T& As(UMockdevIoctlData* data) {
    return *reinterpret_cast<T*>(data->data);
}

std::uint16_t Get16(const unsigned char* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | static_cast<unsigned int>(bytes[1]) << 8);
}

}  // namespace

/// What the host points to at `offset` of a request; null when the host was killed meanwhile.
UsbDevice::Data UsbDevice::Fetch(UMockdevIoctlData* argument, std::size_t size, std::size_t offset) {
    return Data(umockdev_ioctl_data_resolve(argument, offset, size, nullptr));
}

void UsbDevice::Unref::operator()(void* object) const {
    g_object_unref(object);
}

UsbDevice::UsbDevice(std::shared_ptr<std::recursive_mutex> mutex, UsbDescription description,
                     UsbHandlers handlers, int number)
    : mutex_(std::move(mutex)),
      description_(std::move(description)),
      handlers_(std::move(handlers)),
      number_(number) {}

UsbDevice::~UsbDevice() = default;

int UsbDevice::BusNumber() const {
    const std::string& port = description_.port;
    return std::atoi(port.c_str() + (port.rfind("usb", 0) == 0 ? 3 : 0));
}

std::string UsbDevice::Node() const {
    std::array<char, 64> text{};
    static_cast<void>(
        std::snprintf(text.data(), text.size(), "/dev/bus/usb/%03d/%03d", BusNumber(), number_));
    return text.data();
}

std::vector<std::string> UsbDevice::Log() const {
    const Lock lock(*mutex_);
    return log_;
}

// A FIFO of one page stands in for the node: libusb polls it for writing, which is possible exactly while it
// is drained, that is while a transfer can be reaped. A folder cannot be opened by anybody.
void UsbDevice::MakeNode(const std::string& root) {
    const std::filesystem::path node = root + Node();
    std::filesystem::create_directories(description_.faults.cannotOpen ? node : node.parent_path());
    if (description_.faults.cannotOpen) return;
    if (mkfifo(node.c_str(), 0666) == 0)
        fifo_ = Descriptor(open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!fifo_.IsOpen()) throw std::runtime_error("cannot make the node " + node.string());
    fcntl(fifo_.Get(), F_SETPIPE_SZ, kFifoSize);
    Wake();
}

void UsbDevice::Wake() {
    const bool wanted = gone_ || std::any_of(clients_.begin(), clients_.end(),
                                             [](const auto& client) { return !client.second.done.empty(); });
    if (!fifo_.IsOpen() || wanted == readable_) return;
    std::array<char, kFifoSize> page{};
    if (wanted) {
        while (read(fifo_.Get(), page.data(), page.size()) > 0) {
        }
    } else {
        while (write(fifo_.Get(), page.data(), page.size()) > 0) {
        }
    }
    readable_ = wanted;
}

void UsbDevice::QueueIn(const Bytes& data) {
    const Lock lock(*mutex_);
    input_.push_back(data);
    Pump();
}

bool UsbDevice::IsHeardLater() const {
    const Lock lock(*mutex_);
    return claimedBy_ != nullptr && !input_.empty();
}

void UsbDevice::Disconnect() {
    const Lock lock(*mutex_);
    gone_ = true;
    handlers_ = {};
    for (auto& [name, client] : clients_)
        while (!client.pending.empty()) Finish(client, client.pending.begin(), -ESHUTDOWN, 0);
    Wake();
}

// The host's clients

// The bus's thread may outlive the device, which its calls therefore only look for.
UMockdevIoctlBase* UsbDevice::Server() {
    if (server_ != nullptr) return server_.get();
    using Self = std::weak_ptr<UsbDevice>;
    server_.reset(umockdev_ioctl_base_new());
    const auto forget = [](void* self, GClosure*) {
        std::unique_ptr<Self>(static_cast<Self*>(self)).reset();
    };
    gboolean (*const serve)(UMockdevIoctlBase*, UMockdevIoctlClient*, Self*) =
        [](UMockdevIoctlBase*, UMockdevIoctlClient* client, Self* self) -> gboolean {
        if (const auto device = self->lock()) {
            device->Serve(client);
        } else {
            umockdev_ioctl_client_complete(client, -1, ENODEV);
        }
        return TRUE;
    };
    void (*const connected)(UMockdevIoctlBase*, UMockdevIoctlClient*,
                            Self*) = [](UMockdevIoctlBase*, UMockdevIoctlClient* client, Self* self) {
        if (const auto device = self->lock()) device->Connected(client);
    };
    const auto connect = [&](const char* signal, GCallback callback) {
        g_signal_connect_data(server_.get(), signal, callback,
                              std::make_unique<Self>(weak_from_this()).release(), forget, G_CONNECT_DEFAULT);
    };
    connect("handle-ioctl", reinterpret_cast<GCallback>(serve));
    connect("client-connected", reinterpret_cast<GCallback>(connected));
    return server_.get();
}

// The library names signals for clients that vanish and never sends them; but the client object dies with its
// connection, so that a weak reference tells, also of a child that was killed.
void UsbDevice::Connected(UMockdevIoctlClient* client) {
    const Lock lock(*mutex_);
    clients_[client];
    const auto vanished = [](void* self, GObject* object) {
        const std::unique_ptr<std::weak_ptr<UsbDevice>> reference(
            static_cast<std::weak_ptr<UsbDevice>*>(self));
        if (const auto device = reference->lock())
            device->Vanished(reinterpret_cast<UMockdevIoctlClient*>(object));
    };
    g_object_weak_ref(reinterpret_cast<GObject*>(client), vanished,
                      std::make_unique<std::weak_ptr<UsbDevice>>(weak_from_this()).release());
}

void UsbDevice::Vanished(UMockdevIoctlClient* client) {
    const Lock lock(*mutex_);
    clients_.erase(client);
    if (claimedBy_ == client) SetClaimed(nullptr);
    Wake();
}

void UsbDevice::SetClaimed(UMockdevIoctlClient* client) {
    claimedBy_ = client;
    log_.emplace_back(client != nullptr ? "claim 0" : "release 0");
    const auto claimed = handlers_.claimed;
    if (claimed) claimed(client != nullptr);
}

void UsbDevice::Serve(UMockdevIoctlClient* client) {
    const Lock lock(*mutex_);
    UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(client);
    const gulong request = umockdev_ioctl_client_get_request(client);
    if (request == USBDEVFS_REAPURB || request == USBDEVFS_REAPURBNDELAY) {
        Reap(client, argument);
        return;
    }
    const Reply reply = gone_ ? Reply{-1, ENODEV} : Answer(client, request, argument);
    umockdev_ioctl_client_complete(client, reply.result, reply.error);
}

UsbDevice::Reply UsbDevice::Answer(UMockdevIoctlClient* client, unsigned long request,
                                   UMockdevIoctlData* argument) {
    switch (request) {
        case USBDEVFS_GET_CAPABILITIES:
            return Capabilities(argument);
        case USBDEVFS_GETDRIVER:
            return GetDriver(argument);
        case USBDEVFS_IOCTL:
            return DriverRequest(argument);
        case USBDEVFS_CLAIMINTERFACE:
            return Claim(client, argument);
        case USBDEVFS_RELEASEINTERFACE:
            return Release(client, argument);
        case USBDEVFS_SUBMITURB:
            return Submit(client, argument);
        case USBDEVFS_DISCARDURB:
            return Discard(client, argument);
        default:
            return {-1, ENOTTY};
    }
}

// With all of these libusb makes one request of a transfer, whatever its size.
UsbDevice::Reply UsbDevice::Capabilities(UMockdevIoctlData* argument) {
    const Data data = Fetch(argument, sizeof(std::uint32_t));
    if (data == nullptr) return kNoAnswer;
    As<std::uint32_t>(data.get()) = USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
                                    USBDEVFS_CAP_NO_PACKET_SIZE_LIM | USBDEVFS_CAP_BULK_SCATTER_GATHER |
                                    USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
    return {};
}

// Interfaces and their drivers

UsbInterface* UsbDevice::Interface(unsigned int number) {
    return number < description_.interfaces.size() ? &description_.interfaces[number] : nullptr;
}

UsbDevice::Reply UsbDevice::GetDriver(UMockdevIoctlData* argument) {
    const Data data = Fetch(argument, sizeof(usbdevfs_getdriver));
    if (data == nullptr) return kNoAnswer;
    auto& wanted = As<usbdevfs_getdriver>(data.get());
    const UsbInterface* const interface = Interface(wanted.interface);
    if (interface == nullptr) return {-1, EINVAL};
    const bool claimed = wanted.interface == 0 && claimedBy_ != nullptr;
    const std::string& name = claimed ? "usbfs" : interface->kernelDriver;
    if (name.empty()) return {-1, ENODATA};
    static_cast<void>(std::snprintf(wanted.driver, sizeof wanted.driver, "%s", name.c_str()));
    return {};
}

UsbDevice::Reply UsbDevice::DriverRequest(UMockdevIoctlData* argument) {
    const Data data = Fetch(argument, sizeof(usbdevfs_ioctl));
    if (data == nullptr) return kNoAnswer;
    const auto& wanted = As<usbdevfs_ioctl>(data.get());
    UsbInterface* const interface = Interface(static_cast<unsigned int>(wanted.ifno));
    if (interface == nullptr) return {-1, EINVAL};
    if (static_cast<unsigned int>(wanted.ioctl_code) != USBDEVFS_DISCONNECT) return {-1, ENOTTY};
    if (interface->kernelDriver.empty()) return {-1, ENODATA};
    if (description_.faults.undetachable.count(wanted.ifno) != 0) return {-1, EPERM};
    log_.push_back("detach " + std::to_string(wanted.ifno));
    interface->kernelDriver.clear();
    return {};
}

UsbDevice::Reply UsbDevice::Claim(UMockdevIoctlClient* client, UMockdevIoctlData* argument) {
    const Data data = Fetch(argument, sizeof(unsigned int));
    if (data == nullptr) return kNoAnswer;
    const auto number = As<unsigned int>(data.get());
    const UsbInterface* const interface = Interface(number);
    if (interface == nullptr || number != 0) return {-1, ENOENT};
    const bool taken = claimedBy_ != nullptr && claimedBy_ != client;
    if (description_.faults.cannotClaim || !interface->kernelDriver.empty() || taken) return {-1, EBUSY};
    if (claimedBy_ == nullptr) SetClaimed(client);
    return {};
}

UsbDevice::Reply UsbDevice::Release(UMockdevIoctlClient* client, UMockdevIoctlData* argument) {
    const Data data = Fetch(argument, sizeof(unsigned int));
    if (data == nullptr) return kNoAnswer;
    if (As<unsigned int>(data.get()) != 0 || claimedBy_ != client) return {-1, EINVAL};
    SetClaimed(nullptr);
    return {};
}

// Transfers

UsbDevice::Reply UsbDevice::Submit(UMockdevIoctlClient* client, UMockdevIoctlData* argument) {
    Data data = Fetch(argument, sizeof(usbdevfs_urb));
    if (data == nullptr) return kNoAnswer;
    const auto& urb = As<usbdevfs_urb>(data.get());
    const bool bulk = urb.type == USBDEVFS_URB_TYPE_BULK;
    if (urb.buffer_length < 0 || (!bulk && urb.type != USBDEVFS_URB_TYPE_CONTROL)) return {-1, EINVAL};
    if (bulk && claimedBy_ != client) return {-1, EBUSY};
    const auto length = static_cast<std::size_t>(urb.buffer_length);
    // The buffer comes over now: it cannot be read later.
    if (length != 0 && Fetch(data.get(), length, offsetof(usbdevfs_urb, buffer)) == nullptr) return kNoAnswer;
    Client& submitter = clients_[client];
    submitter.pending.push_back({std::move(data), urb.type, urb.endpoint, urb.flags, length});
    if (bulk) {
        Pump();
    } else {
        SubmitControl(submitter);
    }
    return {};
}

void UsbDevice::SubmitControl(Client& client) {
    const auto transfer = std::prev(client.pending.end());
    if (transfer->length < kSetupSize) {
        Finish(client, transfer, -EPIPE, 0);
        return;
    }
    auto* const setup = static_cast<unsigned char*>(As<usbdevfs_urb>(transfer->data.get()).buffer);
    const std::size_t length = std::min<std::size_t>(Get16(setup + 6), transfer->length - kSetupSize);
    ControlRequest request{setup[0], setup[1], Get16(setup + 2), Get16(setup + 4), {}};
    const bool in = (request.type & kDirectionIn) != 0;
    if (!in) request.data.assign(setup + kSetupSize, setup + kSetupSize + length);
    Bytes answer;
    const int status = Control(request, answer);
    if (gone_ || status == -EAGAIN)
        return;  // a device that left has ended its transfers; a busy one lets them wait
    const std::size_t size = in ? std::min(answer.size(), length) : length;
    if (in) std::copy_n(answer.begin(), size, setup + kSetupSize);
    Finish(client, transfer, status, status == 0 ? size : 0);
}

/// 0 or a negative errno. What every device answers is answered whatever its faults.
int UsbDevice::Control(const ControlRequest& request, Bytes& answer) {
    if (request.type == kDirectionIn && request.request == kGetDescriptor) {
        answer = StandardDescriptor(request.value);
        return answer.empty() ? -EPIPE : 0;
    }
    if (description_.faults.busy) return -EAGAIN;
    if (description_.faults.status != 0) return description_.faults.status;
    const auto control = handlers_.control;
    return control && control(request) ? 0 : -EPIPE;
}

Bytes UsbDevice::StandardDescriptor(std::uint16_t value) const {
    switch (value >> 8) {
        case 1:
            return DeviceDescriptor(description_);
        case 2:
            return ConfigurationDescriptor(description_);
        case 3:
            if (description_.faults.stringsStall) return {};
            return StringDescriptor(description_, static_cast<unsigned char>(value & 0xFF));
        default:
            return {};
    }
}

/// Completes what can be completed. A handler may change everything, so that the search starts over after
/// each.
void UsbDevice::Pump() {
    if (pumping_) return;
    pumping_ = true;
    while (PumpOne()) {
    }
    pumping_ = false;
}

bool UsbDevice::PumpOne() {
    for (auto& [name, client] : clients_)
        for (auto transfer = client.pending.begin(); transfer != client.pending.end(); ++transfer)
            if (PumpTransfer(client, transfer)) return true;
    return false;
}

bool UsbDevice::PumpTransfer(Client& client, Transfers::iterator transfer) {
    if (transfer->type != USBDEVFS_URB_TYPE_BULK) return false;
    if (description_.faults.status != 0) {
        Finish(client, transfer, description_.faults.status, 0);
        return true;
    }
    return (transfer->endpoint & kDirectionIn) != 0 ? PumpIn(client, transfer) : PumpOut(client, transfer);
}

bool UsbDevice::PumpOut(Client& client, Transfers::iterator transfer) {
    if (description_.faults.busy) return false;
    const auto* const buffer = static_cast<unsigned char*>(As<usbdevfs_urb>(transfer->data.get()).buffer);
    const Bytes data(buffer, buffer + transfer->length);
    Finish(client, transfer, 0, data.size());
    const auto received = handlers_.received;
    if (received) received(data.data(), data.size());
    return true;
}

bool UsbDevice::PumpIn(Client& client, Transfers::iterator transfer) {
    if (input_.empty()) return false;
    Bytes& chunk = input_.front();
    const std::size_t size = std::min(chunk.size(), transfer->length);
    // Only whole packets can be taken: one that does not fit is lost, as on a real bus.
    const bool overflow = size < chunk.size() && transfer->length % description_.maxPacket != 0;
    if (!overflow && size != 0)
        std::copy_n(chunk.begin(), size,
                    static_cast<unsigned char*>(As<usbdevfs_urb>(transfer->data.get()).buffer));
    if (overflow || size == chunk.size()) {
        input_.pop_front();
    } else {
        chunk.erase(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(size));
    }
    Finish(client, transfer, overflow ? -EOVERFLOW : 0, size);
    return true;
}

void UsbDevice::Finish(Client& client, Transfers::iterator transfer, int status, std::size_t size) {
    auto& urb = As<usbdevfs_urb>(transfer->data.get());
    urb.status = status;
    urb.actual_length = static_cast<int>(size);
    client.done.splice(client.done.end(), client.pending, transfer);
    Wake();
}

void UsbDevice::Reap(UMockdevIoctlClient* client, UMockdevIoctlData* argument) {
    Client& reaper = clients_[client];
    if (reaper.done.empty()) {
        umockdev_ioctl_client_complete(client, -1, gone_ ? ENODEV : EAGAIN);
        return;
    }
    const Transfer transfer = std::move(reaper.done.front());
    reaper.done.pop_front();
    Wake();
    const Data pointer = Fetch(argument, sizeof(void*));
    if (pointer == nullptr) {
        umockdev_ioctl_client_complete(client, kNoAnswer.result, kNoAnswer.error);
        return;
    }
    umockdev_ioctl_data_set_ptr(pointer.get(), 0, transfer.data.get());
    // Sends the transfer back, which therefore has to live until here.
    umockdev_ioctl_client_complete(client, 0, 0);
}

UsbDevice::Reply UsbDevice::Discard(UMockdevIoctlClient* client, UMockdevIoctlData* argument) {
    const gulong address = As<gulong>(argument);  // an address of the host's, never resolved
    Transfers& pending = clients_[client].pending;
    const auto wanted = std::find_if(pending.begin(), pending.end(), [address](const Transfer& transfer) {
        return transfer.data->client_addr == address;
    });
    if (wanted == pending.end()) return {-1, EINVAL};
    Finish(clients_[client], wanted, -ENOENT, 0);
    return {};
}

}  // namespace simulator

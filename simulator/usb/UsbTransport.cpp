#include "simulator/usb/UsbTransport.h"

#include <algorithm>
#include <chrono>

#include "simulator/ScaledClock.h"

namespace simulator {

namespace {

using Lock = std::unique_lock<std::recursive_mutex>;

/// What a host that is slow by the model's clock gets to fetch what a leaving device has said to it.
constexpr std::uint64_t kGraceMs = 30000;

}  // namespace

UsbTransport::UsbTransport(UsbBus& bus, DeviceModel& model, UsbDescription look)
    : bus_(bus), model_(model), look_(std::move(look)) {}

void UsbTransport::Start() {
    Stop();
    stop_ = false;
    {
        const Lock lock(bus_.Mutex());
        Turn();
    }
    thread_ = std::thread(&UsbTransport::Run, this);
}

void UsbTransport::Stop() {
    {
        const Lock lock(bus_.Mutex());
        stop_ = true;
        Unplug();
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void UsbTransport::Run() {
    Lock lock(bus_.Mutex());
    while (!stop_) {
        changed_.wait_for(lock, std::chrono::milliseconds(RealWaitMs(Turn())));
    }
}

/// Lets the model's time pass up to now. Returns when it wants to be looked at again.
std::uint64_t UsbTransport::Turn() {
    const std::uint64_t now = NowMs();
    FollowIdentity(now);
    if (device_ != nullptr) {
        for (const Bytes& answer : model_.Transmit(now)) device_->QueueIn(answer);
        if (model_.TakeCut()) Unplug();
    }
    return model_.NextEvent(now);
}

void UsbTransport::FollowIdentity(std::uint64_t now) {
    const std::optional<UsbIdentity> identity = model_.OnUsb(now);
    const bool leaves = device_ != nullptr && identity != device_->Description().identity;
    leaveAt_ = leaves ? std::min(leaveAt_, now) : DeviceModel::kNever;
    const bool lingers = leaves && device_->IsHeardLater() && now - leaveAt_ < kGraceMs;
    if (leaves && !lingers) Unplug();
    if (device_ == nullptr && identity) PlugIn(*identity);
}

void UsbTransport::PlugIn(const UsbIdentity& identity) {
    look_.identity = identity;
    UsbHandlers handlers;
    handlers.received = [this](const unsigned char* data, std::size_t size) {
        model_.Receive(data, size, NowMs());
        Turn();
        changed_.notify_all();
    };
    handlers.control = [this](const ControlRequest& request) {
        const bool taken = model_.Control(request, NowMs());
        changed_.notify_all();
        return taken;
    };
    handlers.claimed = [this](bool claimed) { model_.ConnectionChanged(claimed, NowMs()); };
    device_ = bus_.Plug(look_, std::move(handlers));
}

void UsbTransport::Unplug() {
    if (device_ == nullptr) return;
    bus_.Unplug(device_);
    device_ = nullptr;
    model_.ConnectionChanged(false, NowMs());
}

}  // namespace simulator

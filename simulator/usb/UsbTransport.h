#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <thread>

#include "simulator/DeviceModel.h"
#include "simulator/usb/UsbBus.h"

namespace simulator {

/// Carries a model over an emulated USB bus. The device is on the bus while the model says so and leaves and
/// comes back, with a new device number, when the model's identity changes. Runs on a thread of its own from
/// `Start` to `Stop` or the destructor; the model and the bus (not owned) are then shared with that thread
/// and the bus's: see SynchronizedModel.
class UsbTransport {
 public:
    /// `look`: where the device sits and what it looks like; its identity comes from the model.
    UsbTransport(UsbBus& bus, DeviceModel& model, UsbDescription look = {});
    ~UsbTransport() { Stop(); }
    UsbTransport(const UsbTransport&) = delete;
    UsbTransport& operator=(const UsbTransport&) = delete;

    /// The device is on the bus on return if the model says so now.
    void Start();
    /// Unplugs the device and ends the thread. Any number of times.
    void Stop();

 private:
    void Run();
    std::uint64_t Turn();
    void FollowIdentity(std::uint64_t now);
    void PlugIn(const UsbIdentity& identity);
    void Unplug();

    UsbBus& bus_;
    DeviceModel& model_;
    UsbDescription look_;
    std::shared_ptr<UsbDevice> device_;
    std::uint64_t leaveAt_ = DeviceModel::kNever;  ///< since when the model wants to leave the bus
    bool stop_ = true;
    std::condition_variable_any changed_;
    std::thread thread_;
};

}  // namespace simulator

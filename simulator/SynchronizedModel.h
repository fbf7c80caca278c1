#pragma once

#include <mutex>
#include <utility>

#include "simulator/DeviceModel.h"

namespace simulator {

/// A model that several threads share (two transports, or a transport and a test): each call holds one lock.
/// The model itself is not owned and is used through this only.
class SynchronizedModel final : public DeviceModel {
 public:
    explicit SynchronizedModel(DeviceModel& model) : model_(model) {}

    /// Runs `function` while no transport uses the model, and returns what it returns.
    template <class Function>
    auto Inspect(Function&& function) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::forward<Function>(function)();
    }

    void Receive(const unsigned char* data, std::size_t size, std::uint64_t now) override {
        Inspect([&] { model_.Receive(data, size, now); });
    }
    std::vector<Bytes> Transmit(std::uint64_t now) override {
        return Inspect([&] { return model_.Transmit(now); });
    }
    bool Control(const ControlRequest& request, std::uint64_t now) override {
        return Inspect([&] { return model_.Control(request, now); });
    }
    std::uint64_t NextEvent(std::uint64_t now) const override {
        return Inspect([&] { return model_.NextEvent(now); });
    }
    bool OnLine(std::uint64_t now) override {
        return Inspect([&] { return model_.OnLine(now); });
    }
    std::optional<UsbIdentity> OnUsb(std::uint64_t now) override {
        return Inspect([&] { return model_.OnUsb(now); });
    }
    void ConnectionChanged(bool connected, std::uint64_t now) override {
        Inspect([&] { model_.ConnectionChanged(connected, now); });
    }
    bool TakeCut() override {
        return Inspect([&] { return model_.TakeCut(); });
    }

 private:
    DeviceModel& model_;
    mutable std::mutex mutex_;
};

}  // namespace simulator

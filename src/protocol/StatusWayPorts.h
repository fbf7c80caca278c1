#pragma once

#include <cstdint>

/// The ways by which a printer's status can be read, as a bit set.
class StatusWayPorts {
 public:
    StatusWayPorts() = default;
    explicit StatusWayPorts(std::int32_t ways) : iWays(ways) {}

    bool AvailableStandardPort() const { return (iWays & kStandard) != 0; }
    bool AvailableUsb0Port() const { return (iWays & kUsb0) != 0; }
    bool AvailableUdpPort() const { return (iWays & kUdp) != 0; }
    bool Available() const { return (iWays & (kStandard | kUsb0 | kUdp)) != 0; }

    std::int32_t iWays = 0;

 private:
    static constexpr std::int32_t kStandard = 0x01;
    static constexpr std::int32_t kUsb0 = 0x02;
    static constexpr std::int32_t kUdp = 0x04;
};

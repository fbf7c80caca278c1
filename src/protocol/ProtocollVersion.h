#pragma once

#include <cstdint>

/// The protocol version that the printer reported: 100 is "1.00".
class ProtocollVersion {
 public:
    ProtocollVersion() = default;
    explicit ProtocollVersion(std::uint64_t version) : uiVersion(version) {}

    std::uint64_t uiVersion = 0;
};

#pragma once

#include <poll.h>
#include <unistd.h>

#include <string>

#include "simulator/Descriptor.h"

using OwnedDescriptor = simulator::Descriptor;

/// Reads `count` bytes at most at once; none when nothing comes for `waitMs` or the other side has closed.
inline std::string ReceiveSome(const OwnedDescriptor& from, std::size_t count, int waitMs) {
    std::string got(count, '\0');
    pollfd event{from.Get(), POLLIN, 0};
    const ssize_t bytes = poll(&event, 1, waitMs) == 1 ? read(from.Get(), got.data(), count) : 0;
    got.resize(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
    return got;
}

/// Reads `count` bytes, fewer when nothing comes for `waitMs` or the other side has closed.
inline std::string ReceiveFrom(const OwnedDescriptor& from, std::size_t count, int waitMs) {
    std::string all;
    for (std::string some = "?"; all.size() < count && !some.empty(); all += some)
        some = ReceiveSome(from, count - all.size(), waitMs);
    return all;
}

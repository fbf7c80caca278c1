#pragma once

#include <cstdint>
#include <vector>

#include "simulator/DeviceModel.h"

/// One thing that happened at a port, as whoever listens on the line saw it.
struct Said {
    enum Kind {
        kWrote,    ///< a write: what was to be sent
        kReport,   ///< a control request to a boot device: its data
        kRead,     ///< a read that brought bytes: these
        kDrained,  ///< everything written was said to have arrived
    };
    Kind kind = kWrote;
    bool whole = true;  ///< a write: the port took all of it
    simulator::Bytes bytes;
    std::uint64_t at = 0;  ///< milliseconds
};

using Conversation = std::vector<Said>;

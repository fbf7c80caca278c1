#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "simulator/PrinterOptions.h"

namespace simulator {

/// What the words of the command line ask for.
struct SimulatorArguments {
    PrinterOptions printer;
    std::optional<std::uint16_t> tcpPort;
    bool serial = false;
    bool usb = false;  ///< beside a line: only for the boot device
    std::optional<std::string> samples;
    bool help = false;
    unsigned int rate = 1;

    /// Reads the words. Throws std::invalid_argument with a line for the user.
    static SimulatorArguments Parse(int count, char** words);

    static std::string Help();
};

}  // namespace simulator

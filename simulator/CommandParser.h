#pragma once

#include <cstdint>

#include "simulator/DeviceModel.h"

namespace simulator {

/// The requests that a printer with its firmware running knows.
enum class Request {
    Incomplete,  ///< the bytes so far begin some request
    None,        ///< they begin none
    Cancel,
    Select,
    Status,
    ExtendedStatus,
    Release,
    ProtocolVersion,
    SetupHeader,
    DataAvailable,
    UpgradeInfo,
    ModulesList,
    StartBanks,    ///< 4 bytes: first and last bank at 2 and 3
    ProgramBanks,  ///< 8 bytes; it has its place only behind the banks
    BootRenesas,
    BootSiliconLabs,
};

/// Cuts the host's bytes into requests.
class CommandParser {
 public:
    /// Takes one byte more. After any result but Incomplete, `Bytes()` holds what came and `Clear` has to
    /// follow.
    Request Take(unsigned char byte);

    const Bytes& Collected() const { return bytes_; }
    void Clear() { bytes_.clear(); }

 private:
    Bytes bytes_;
};

}  // namespace simulator

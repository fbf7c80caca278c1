#pragma once

#include "simulator/PrinterOptions.h"

namespace simulator {

/// The requests that a printer with its firmware running knows.
enum class Request {
    Incomplete,  ///< the bytes so far begin some request
    None,        ///< they begin none
    Cancel,
    Select,
    Inquiry,       ///< `Asked()` tells which
    StartBanks,    ///< 4 bytes: first and last bank at 2 and 3
    ProgramBanks,  ///< 8 bytes; it has its place only behind the banks
    BootRenesas,
    BootSiliconLabs,
};

/// Cuts the host's bytes into requests.
class CommandParser {
 public:
    /// Takes one byte more. After any result but Incomplete, `Collected()` holds what came and `Clear` has to
    /// follow.
    Request Take(unsigned char byte);

    Exchange Asked() const { return asked_; }
    const Bytes& Collected() const { return bytes_; }
    void Clear() { bytes_.clear(); }

 private:
    Bytes bytes_;
    Exchange asked_ = Exchange::Status;
};

}  // namespace simulator

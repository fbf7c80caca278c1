#pragma once

#include <array>
#include <optional>
#include <string>

#include "simulator/DeviceModel.h"

namespace simulator {

struct PrinterOptions;

/// One kind of exchange between host and printer, as faults name it and as they are counted.
enum class Exchange {
    Status,
    ExtendedStatus,
    Release,
    ProtocolVersion,
    SetupHeader,
    DataAvailable,
    UpgradeInfo,
    ModulesList,
    Module,     ///< a whole module
    BankGroup,  ///< the firmware of U1 and U3, the code group of U5
    DataBank,   ///< one data bank of U5; the first one is occurrence 1
    BootEntry,
};

/// A row of the table of exchanges: its name, as events and the command line write it, and, of an inquiry,
/// the three bytes that ask and the content of a printer's answer.
struct ExchangeRow {
    static constexpr unsigned char kFramed = 0x1F;

    Exchange exchange;
    const char* name;
    std::array<unsigned char, 3> inquiry;  ///< zeros: none
    std::string (*content)(const PrinterOptions& printer);

    /// Whether the answer stands in a frame; such an inquiry wants the command set selected.
    bool IsFramed() const { return inquiry[0] == kFramed; }
    /// What a printer answers.
    Bytes Answer(const PrinterOptions& printer) const;
};

/// In the order of the enumeration.
extern const std::array<ExchangeRow, 12> kExchanges;

/// The exchange of that name; none when there is no such.
std::optional<Exchange> ExchangeNamed(const std::string& name);

/// A framed refusal of the exchange: NACK and an error code.
Bytes RefusalOf(Exchange exchange, int code);

}  // namespace simulator

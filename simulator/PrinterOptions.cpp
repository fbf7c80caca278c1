#include "simulator/PrinterOptions.h"

#include <array>
#include <utility>

#include "port/PrinterVendorId.h"
#include "simulator/AnswerBuilder.h"

namespace simulator {

namespace {

struct Name {
    Exchange exchange;
    const char* text;
    int request;  // nn of 1F FF nn; 0 for what is not framed
};

constexpr std::array<Name, 12> kNames{{
    {Exchange::Status, "status", 0},
    {Exchange::ExtendedStatus, "extended-status", 0},
    {Exchange::Release, "release", 0},
    {Exchange::ProtocolVersion, "protocol-version", 0x01},
    {Exchange::SetupHeader, "setup-header", 0x02},
    {Exchange::DataAvailable, "data-available", 0x28},
    {Exchange::UpgradeInfo, "upgrade-info", 0x70},
    {Exchange::ModulesList, "modules-list", 0x40},
    {Exchange::Module, "module", 0},
    {Exchange::BankGroup, "bank-group", 0},
    {Exchange::DataBank, "data-bank", 0},
    {Exchange::BootEntry, "boot-entry", 0},
}};

const Name& Row(Exchange exchange) {
    for (const Name& name : kNames) {
        if (name.exchange == exchange) return name;
    }
    return kNames[0];
}

Fault Plain(Exchange exchange) {
    Fault fault;
    fault.exchange = exchange;
    return fault;
}

}  // namespace

const char* ExchangeName(Exchange exchange) {
    return Row(exchange).text;
}

std::optional<Exchange> ExchangeNamed(const std::string& name) {
    for (const Name& row : kNames) {
        if (name == row.text) return row.exchange;
    }
    return std::nullopt;
}

Fault Fault::Silence(Exchange exchange) {
    return Plain(exchange);
}

Fault Fault::Says(Exchange exchange, Bytes answer) {
    Fault fault = Plain(exchange);
    fault.answers.push_back(std::move(answer));
    return fault;
}

Fault Fault::Late(Exchange exchange, std::uint64_t ms) {
    Fault fault = Plain(exchange);
    fault.ownAnswer = true;
    fault.delayMs = ms;
    return fault;
}

Fault Fault::Endless(Exchange exchange, Bytes portion, std::uint64_t everyMs) {
    Fault fault = Says(exchange, std::move(portion));
    fault.gapMs = everyMs;
    fault.endless = true;
    return fault;
}

Fault Fault::Refusal(Exchange exchange, int code) {
    return Says(exchange, AnswerBuilder::Refusal(Row(exchange).request, code));
}

Fault Fault::Cut(Exchange exchange, std::size_t afterBytes) {
    Fault fault = Plain(exchange);
    fault.cutAfter = afterBytes;
    return fault;
}

PrinterOptions::PrinterOptions()
    : setupLines{"TICKET PRINTER (SIMULATED)", "SERIAL 00000001", "FIRMWARE 1.05"},
      modules{"FNT-001", "DSK-001", "LGO-001"} {
    usb.vendor = static_cast<std::uint16_t>(std::stoul(PRINTER_VENDOR_ID, nullptr, 16));
    usb.product = 0x0205;
    usb.serial = "SIM0001";
}

}  // namespace simulator

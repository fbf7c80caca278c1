#include "simulator/Exchange.h"

#include <vector>

#include "simulator/PrinterOptions.h"

namespace simulator {

namespace {

/// The answer to request 1F FF `request`: STX, the command tag, the content, ETX.
Bytes Frame(int request, const std::string& content) {
    const std::string frame = "\x02<C" + std::to_string(request) + ">" + content + "\x03";
    return {frame.begin(), frame.end()};
}

/// A field between "<" and ">"; an empty text gives an empty field.
std::string Field(const std::string& text) {
    return "<" + text + ">";
}

/// How many lines there are, and each with its ending zero byte.
std::string Lines(const std::vector<std::string>& lines) {
    std::string content = Field(std::to_string(lines.size()));
    for (const std::string& line : lines) content += line + '\0';
    return content;
}

using Printer = const PrinterOptions&;

std::string Status(Printer printer) {
    return {printer.extendedStatus ? '\xFF' : static_cast<char>(printer.status)};
}

std::string ExtendedStatus(Printer printer) {
    const std::uint16_t status = printer.extendedStatus.value_or(printer.status);
    return {static_cast<char>(status >> 8U), static_cast<char>(status & 0xFFU)};
}

std::string UpgradeInfo(Printer printer) {
    const std::string ids = std::to_string(printer.family) + ";" + std::to_string(printer.model) + ";" +
                            std::to_string(printer.customization);
    return Field(printer.mode) + Field(printer.configuration) + Field(ids);
}

}  // namespace

const std::array<ExchangeRow, 12> kExchanges{{
    {Exchange::Status, "status", {0x1D, 0x49, 0x01}, Status},
    {Exchange::ExtendedStatus, "extended-status", {0x1D, 0x49, 0xFF}, ExtendedStatus},
    {Exchange::Release, "release", {0x1D, 0x49, 0x03}, [](Printer printer) { return printer.release; }},
    {Exchange::ProtocolVersion,
     "protocol-version",
     {0x1F, 0xFF, 0x01},
     [](Printer printer) { return Field(printer.protocolVersion); }},
    {Exchange::SetupHeader,
     "setup-header",
     {0x1F, 0xFF, 0x02},
     [](Printer printer) { return Lines(printer.setupLines); }},
    {Exchange::DataAvailable,
     "data-available",
     {0x1F, 0xFF, 0x28},
     [](Printer printer) { return Field(std::to_string(printer.dataAvailable)); }},
    {Exchange::UpgradeInfo, "upgrade-info", {0x1F, 0xFF, 0x70}, UpgradeInfo},
    {Exchange::ModulesList,
     "modules-list",
     {0x1F, 0xFF, 0x40},
     [](Printer printer) { return Lines(printer.modules); }},
    {Exchange::Module, "module", {}, nullptr},
    {Exchange::BankGroup, "bank-group", {}, nullptr},
    {Exchange::DataBank, "data-bank", {}, nullptr},
    {Exchange::BootEntry, "boot-entry", {}, nullptr},
}};

Bytes ExchangeRow::Answer(const PrinterOptions& printer) const {
    const std::string text = content(printer);
    return IsFramed() ? Frame(inquiry[2], text) : Bytes(text.begin(), text.end());
}

std::optional<Exchange> ExchangeNamed(const std::string& name) {
    for (const ExchangeRow& row : kExchanges) {
        if (name == row.name) return row.exchange;
    }
    return std::nullopt;
}

Bytes RefusalOf(Exchange exchange, int code) {
    const ExchangeRow& row = kExchanges[static_cast<std::size_t>(exchange)];
    return Frame(row.IsFramed() ? row.inquiry[2] : 0, "\x15" + Field("ERR" + std::to_string(code)));
}

}  // namespace simulator

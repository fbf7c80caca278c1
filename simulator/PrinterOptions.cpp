#include "simulator/PrinterOptions.h"

#include <utility>

#include "port/PrinterVendorId.h"

namespace simulator {

Fault Fault::Silence(Exchange exchange) {
    Fault fault;
    fault.exchange = exchange;
    return fault;
}

Fault Fault::Says(Exchange exchange, Bytes answer) {
    Fault fault = Silence(exchange);
    fault.answers.push_back(std::move(answer));
    return fault;
}

Fault Fault::Late(Exchange exchange, std::uint64_t ms) {
    Fault fault = Silence(exchange);
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
    return Says(exchange, RefusalOf(exchange, code));
}

Fault Fault::Cut(Exchange exchange, std::size_t afterBytes) {
    Fault fault = Silence(exchange);
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

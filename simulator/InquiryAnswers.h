#pragma once

#include <string>

#include "simulator/PrinterOptions.h"

namespace simulator {

/// What a printer answers to an inquiry; empty for an exchange that is none.
Bytes InquiryAnswer(Exchange exchange, const PrinterOptions& options, const std::string& release);

}  // namespace simulator

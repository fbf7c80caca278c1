#pragma once

#include <string>
#include <vector>

#include "fuzz/Conversation.h"
#include "simulator/PrinterOptions.h"

/// What was to be brought into the printer, and what the printer says of itself when it does not lie.
struct Errand {
    enum What { kUpgrade, kModule, kSetup };
    struct Module {
        simulator::Bytes image;
        bool after;  ///< its place is behind the firmware
    };
    What what = kUpgrade;
    simulator::Line line = simulator::Line::Serial;
    bool newForm = false;
    int components = 3;
    int timem = 1;
    std::string release;  ///< of the package, as a printer reports it
    simulator::Bytes firmware;
    std::size_t bankSize = 0;
    std::vector<Module> modules;  ///< in the package's order, as they are sent; or the module file
    simulator::PrinterOptions printer;
};

/// A second reading of a run that ended with success, from what was said on the line alone: empty when the
/// procedure gives success for it, else what is missing. It asks only for what the host can know: that
/// everything was handed over in the procedure's order, whole and once, and that the printer answered it as
/// the procedure wants. A printer whose answers say that it is well was not lied about.
std::string WhyNoSuccess(const Errand& errand, const Conversation& conversation);

#pragma once

#include "harness/Rig.h"

/// A row with a package of the old form.
inline RigRow BootRow(const char* what, Line line, Given given, RigEnd end, Lines lines = {}) {
    return Row(what, line, kOld, std::move(given), end, std::move(lines));
}
inline Given Chip(const std::vector<simulator::BootFault>& faults) {
    return [=](Rig& rig) { rig.renesas.faults = rig.silicon.faults = faults; };
}
inline Given NeverThere() {
    return Printer(&PrinterOptions::bootDelayMs, simulator::DeviceModel::kNever);
}

#pragma once

#include "harness/Rig.h"

/// A row with a package of the old form. `tookMs`: at least, and hardly more; 0: not looked at.
inline RigRow BootRow(const char* what, Line line, Given given, RigEnd end, Lines lines,
                      std::uint64_t tookMs = 0) {
    const auto took = [tookMs](const Rig& rig) {
        EXPECT_TRUE(tookMs == 0 || (rig.tookMs >= tookMs && rig.tookMs < tookMs + 1500)) << rig.tookMs;
    };
    return {what, line, kOld, std::move(given), end, std::move(lines), took};
}

inline Given Chip(const std::vector<simulator::BootFault>& faults) {
    return [=](Rig& rig) { rig.renesas.faults = rig.silicon.faults = faults; };
}
inline Given NeverThere() {
    return Printer(&PrinterOptions::bootDelayMs, simulator::DeviceModel::kNever);
}

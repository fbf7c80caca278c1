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
inline Given ListedBefore(const std::string& devices) {
    return [=](Rig& rig) { rig.line.listedBefore = devices; };
}
inline Given FailsOpen(int number) {
    return LineFaults({{"Open", LineFault::kError, number}});
}
inline int CallsOf(const Rig& rig, const std::string& call) {
    return static_cast<int>(std::count(rig.line.calls.begin(), rig.line.calls.end(), call));
}

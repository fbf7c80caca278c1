#pragma once

#include "harness/Rig.h"

/// A row of a boot procedure's table, in the old form.
struct BootRow {
    const char* what;
    Given given;
    bool verdict;
    Lines lines;
    std::uint64_t tookMs = 0;  ///< at least, and hardly more; 0: not looked at
    int banks = verdict ? RigRow::kAll : 0;
};

inline void PlayRows(const std::string& mode, simulator::Line line, const std::vector<BootRow>& table) {
    std::vector<RigRow> rows;
    for (const BootRow& row : table) {
        const auto took = [ms = row.tookMs](const Rig& rig) {
            EXPECT_TRUE(ms == 0 || (rig.tookMs >= ms && rig.tookMs < ms + 1500)) << rig.tookMs;
        };
        rows.push_back({row.what, line, RigRow::kOld, row.given, row.verdict, row.banks, 0, row.lines, took});
    }
    PlayRows(mode, rows);
}

/// What is otherwise than usual: of the chip, of its place on the bus, or how long things are waited for.
inline Given Chip(std::vector<simulator::BootFault> faults) {
    return [=](Rig& rig) { rig.renesas.faults = rig.silicon.faults = faults; };
}
inline Given Vendor(int vendor, int timem) {
    return [=](Rig& rig) {
        rig.renesas.usb.vendor = rig.silicon.usb.vendor = static_cast<std::uint16_t>(vendor);
        rig.timem = timem;
    };
}
inline Given Bus(const std::string& before, bool lists = true) {
    return [=](Rig& rig) {
        rig.bus = [=](ModelUsb& usb) {
            usb.before = before;
            usb.bLists = lists;
        };
    };
}
inline Given FailsOpen(int number) {
    return LineFaults({{"Open", LineFault::kError, number}});
}
inline int CallsOf(const Rig& rig, const std::string& call) {
    return static_cast<int>(std::count(rig.line.calls.begin(), rig.line.calls.end(), call));
}

// The flow around the firmware, which the procedures share: what is enabled, what fails, and how long it
// waits. The order of its steps is held by the recorded conversations.
#include <numeric>

#include "harness/Rig.h"

namespace {

Given Components(int components) {
    return [=](Rig& rig) { rig.components = components; };
}

TEST(UpgradeEngine, WhatIsEnabledAndWhatFails) {
    const Given refuses = PrinterFaults({Fault::Says(Exchange::Module, {0x77})});
    const auto tooShort = [](Rig& rig) {
        rig.package.modules.clear();
        rig.package.firmware = simulator::SampleFiles::MakeFirmware("106", 5 * rig.package.bankSize - 1);
    };
    const auto oneBank = [](Rig& rig) { rig.package.banks = rig.printer.bankCount = 1; };
    for (const char* mode : {"U1", "U3", "U5"})
        PlayRows(mode, {Row("a byte is missing", Line::Usb, kBoth, tooShort, kNothing)});
    const Given away = PrinterFaults({Fault::Silence(Exchange::Status).Between(2, 99)});
    PlayRows("U3", {Row("not back", Line::Ethernet, kNew, away, RigEnd{false, 0, 1})});
    PlayRows("U3", {Row("one bank", Line::Usb, kOld, oneBank, kWhole)});
    for (const std::string mode : {"U1", "U2", "U3", "U4", "U5", "U6"}) {
        const bool before = mode == "U1" || mode == "U3";  // the font goes before the firmware
        PlayRows(mode, {Row("firmware alone", Line::Usb, kNew, Components(1), RigEnd{true, kAll, 0}),
                        Row("modules alone", Line::Usb, kNew, Components(2), RigEnd{true, 0, kAll}),
                        Row("the first module fails", Line::Usb, kNew, refuses,
                            RigEnd{false, before ? 0 : kAll, 0})});
    }
    PlayRows("U2", {Row("no USB", Line::Serial, kNew, {}, kNothing)});
}

// All waits, the short ones too, in seconds. 20 s before the modules of U2 and U3 are not multiplied; without
// a multiplier the printer is back at once, and no boot device is found.
TEST(UpgradeEngine, WaitsAreMultiplied) {
    const struct {
        const char* mode;
        Line line;
        int timem;
        std::uint64_t seconds;
    } rows[] = {{"U1", Line::Serial, 0, 0}, {"U3", Line::Ethernet, 0, 20},  {"U1", Line::Serial, 3, 105},
                {"U2", Line::Usb, 3, 194},  {"U2", Line::Usb, 40, 2318},    {"U3", Line::Ethernet, 3, 215},
                {"U4", Line::Usb, 3, 143},  {"U5", Line::Ethernet, 3, 237}, {"U6", Line::Ethernet, 3, 135}};
    for (const auto& row : rows) {
        Rig rig(row.mode, row.line, true);
        rig.bSilent = true;
        rig.timem = row.timem;
        rig.renesas.newDialect = row.timem == 40;  // the answer that tells of it is followed by a pause too
        if (row.timem == 0) rig.printer.programMs = rig.printer.restartMs = 0;
        EXPECT_TRUE(rig.Run()) << row.mode;
        const std::uint64_t us = std::accumulate(rig.waits.begin(), rig.waits.end(), std::uint64_t{0});
        EXPECT_EQ(us / 1000000, row.seconds) << row.mode << " " << row.timem;
    }
}

}  // namespace

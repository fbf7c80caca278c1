// The flow around the firmware, which the procedures share: what is enabled, what fails, and how long it
// waits. The order of its steps is held by the recorded conversations.
#include "upgrade/UpgradeEngine.h"

#include "harness/Rig.h"

namespace {

const std::string kPsw1 = "[StartUpgrade_PSW1]";
const std::string kPsw2 = "[StartUpgrade_PSW2]";

Given Components(int components) {
    return [=](Rig& rig) { rig.components = components; };
}
Given Refuses(int module) {
    return PrinterFaults({Fault::Says(Exchange::Module, {0x77}).At(module)});
}

TEST(UpgradeEngine, WhatIsEnabledAndWhatFails) {
    const struct {
        const char* mode;
        bool before;        ///< the font goes before the firmware
        bool looksBefore;   ///< there is a step for modules before it
        const char* notOk;  ///< how a firmware that failed is told
        const char* psw1;   ///< and in the old form
        const char* noHandshake;
    } rows[] = {
        {"U1", true, true, "FW Upgrade error", "Send FW:0", "Handshake Communication Error"},
        {"U2", false, false, "Programming SW NOT OK!", "Send FW:{0}", "Handshake Communication Error"},
        {"U3", true, true, "Programming SW NOT OK!", "Send FW:{0}", "Handshake Communication Error"},
        {"U4", false, true, "Programming SW NOT OK!", "Send FW:{0}", "Handshake Communication Error"},
        {"U5", false, true, "Programming SW NOT OK!", "Send FW:{0}", "Handshake Communication Error."},
        {"U6", false, true, "Programming SW NOT OK!", "Send FW:{0}", "Handshake Communication Error."},
    };
    const std::string noBefore = kPsw2 + "Upgrade Before Modules not enabled in command line arguments ";
    const std::string noFw = "Upgrade FW not enabled in command line arguments ";
    const std::string failed = kPsw2 + "SendAllModules Failed...";
    for (const auto& row : rows) {
        const auto deaf = [&](int from) {
            return PrinterFaults({Fault::Silence(Exchange::Status).Between(from, Fault::kAlways)});
        };
        const auto fontAlone = [](Rig& rig) {
            rig.list = [](PSWComponents& list) {
                list.ResetList();
                list.Add(0x2002);
            };
        };
        PlayRows(row.mode,
                 {Row("firmware alone", Line::Usb, kNew, Components(1), Ends(true, kAll, 0),
                      {(row.looksBefore ? "" : "!") + noBefore, kPsw2 + "Send FW:1",
                       kPsw2 + "Upgrade After Modules not enabled in command line arguments "}),
                  Row("modules alone", Line::Usb, kNew, Components(2), Ends(true, 0, kAll), {kPsw2 + noFw}),
                  Row("the old form has no modules", Line::Usb, kOld, Components(2), Fails(0, 0),
                      {kPsw1 + noFw, "[PrnCom_UpgradePrinter]Upgrade Error!"}),
                  Row("no firmware in the list", Line::Usb, kNew, fontAlone, Ends(true, 0, 1),
                      {kPsw2 + "Skip Fw..."}),
                  Row("the first module fails", Line::Usb, kNew, Refuses(1), Fails(row.before ? 0 : kAll, 0),
                      {failed, "[PrnCom_UpgradePrinter]Upgrade Error!"}),
                  Row("the second one does", Line::Usb, kNew, Refuses(2), Fails(kAll, 1), {failed}),
                  Row("no handshake", Line::Usb, kOld, deaf(1), Fails(0, 0),
                      {std::string("[SendFW]") + row.noHandshake, kPsw1 + row.psw1}),
                  Row("no handshake", Line::Usb, kNew, deaf(row.before ? 2 : 1), Fails(0, row.before ? 1 : 0),
                      {std::string("[SendFW]") + row.noHandshake, kPsw2 + "Send FW:0", kPsw2 + row.notOk})});
    }
    const std::string usbOnly = "Upgrade U2 just support USB port error \\n";
    PlayRows("U2", {Row("no USB", Line::Serial, kNew, {}, Fails(0, 0), {kPsw2 + usbOnly}),
                    Row("no USB", Line::Ethernet, kOld, {}, Fails(0, 0), {"[SendFW]" + usbOnly}),
                    Row("no USB", Line::Serial, kNew, Components(2), Fails(0, 0), {kPsw2 + usbOnly})});
}

// Waits of a second or more, in all. 20 s before the modules of U2 and U3 are not multiplied; without a
// multiplier the printer is back at once, and no boot device is found.
TEST(UpgradeEngine, WaitsAreMultiplied) {
    const struct {
        const char* mode;
        Line line;
        int timem;
        std::uint64_t seconds;
    } rows[] = {{"U1", Line::Serial, 0, 0},     {"U3", Line::Ethernet, 0, 20},  {"U1", Line::Serial, 3, 105},
                {"U2", Line::Usb, 3, 186},      {"U3", Line::Ethernet, 3, 215}, {"U4", Line::Usb, 3, 136},
                {"U5", Line::Ethernet, 3, 237}, {"U6", Line::Ethernet, 3, 133}};
    for (const auto& row : rows) {
        Rig rig(row.mode, row.line, true);
        rig.bSilent = true;
        rig.timem = row.timem;
        if (row.timem == 0) rig.printer.programMs = rig.printer.restartMs = 0;
        EXPECT_TRUE(rig.Run()) << row.mode;
        EXPECT_EQ(rig.namedMs / 1000, row.seconds) << row.mode << " " << row.timem;
    }
}

}  // namespace

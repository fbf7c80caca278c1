// A module on its way to the printer: from a module file, and from a package before or after the firmware.
#include "harness/Rig.h"

namespace {

const std::string kNoAnswer = "Wait Answer Error";

/// A module file in the package's place.
Given Module(char kind, std::size_t size = 500, const char* code = "FNT-001") {
    return [=](Rig& rig) {
        rig.module = simulator::ModuleSample();
        rig.module->kind = kind;
        rig.module->bodySize = size;
        rig.module->code = code;
        if (size > 100000) rig.module->encodingMode = -1;  // the printer need not search for its key
        rig.line.bRecord = true;
    };
}
Given WithFault(Fault fault) {
    return Both(Module('F'), PrinterFaults({std::move(fault)}));
}
Given Answers(const Bytes& answer) {
    return WithFault(Fault::Says(Exchange::Module, answer));
}
/// The packets go with this write time-out, and it is put back.
Lines Timeout(int ms, const std::string& line) {
    return {line, "  (packet 4096, write " + std::to_string(ms) + " ms, read 500 ms)",
            "  (packet 1000, write 500 ms, read 500 ms)", "Read Answer len: 1"};
}

// Whatever the printer says of it, a module file was written.
TEST(ModuleDownload, FromAFile) {
    const std::string supported = "Module supported by this printer";
    const std::string large = "Add Timeout module size > 2MB ";
    const std::string rfid = "Add another Timeout due to RFID module ";
    const auto without = [](Rig& rig) { rig.components = 1; };
    const auto tenMinutes = [](const Rig& rig) { EXPECT_NEAR(static_cast<double>(rig.tookMs), 600200, 400); };
    PlayRows("U3",
             {Row("unknown to the printer", Line::Ethernet, kOld, Module('D', 500, "FNT"), RigEnd{true, 0, 1},
                  {"Module not supported by this printer,  proceed anyway!!!"}),
              Row("modules not enabled", Line::Ethernet, kOld, Both(Module('F'), without), RigEnd{true, 0, 0},
                  {supported, "Upgrade Modules not enabled in command line arguments ", "End"}),
              Row("silence", Line::Serial, kOld, WithFault(Fault::Silence(Exchange::Module)),
                  RigEnd{true, 0, 0}, {kNoAnswer}, tenMinutes),
              Row("RFID", Line::Ethernet, kOld, Module('H'), RigEnd{true, 0, 1}, Timeout(4000, rfid)),
              Row("Bluetooth", Line::Ethernet, kOld, Module('E'), RigEnd{true, 0, 1},
                  Timeout(22000, "Add another Timeout due to Bluetooth module ")),
              Row("large", Line::Ethernet, kOld, Module('C', 1100000), RigEnd{true, 0, 1}, {large}),
              Row("refused", Line::Ethernet, kOld, Answers({0x00, 0x44, 0xBB}), RigEnd{true, 0, 0},
                  {"Answer Error(0x44) : Module Error"}),
              Row("damaged", Line::Ethernet, kOld, Answers({0x00, 0x95, 0xBB}), RigEnd{true, 0, 0},
                  {"Answer Error(0x95) : Checksum Error"})});
}

/// The package brings this one module under `letter`, in a module file of `kind`.
Given Brings(char letter, char kind) {
    return [=](Rig& rig) {
        simulator::ModuleSample sample;
        sample.kind = kind;
        sample.encodingMode = -1;
        rig.package.modules = {{letter, simulator::SampleFiles::MakeModule(sample)}};
    };
}

TEST(ModuleDownload, FromAPackage) {
    const Given refuses = PrinterFaults({Fault::Says(Exchange::Module, {0x77})});
    const std::string failed = "[StartUpgrade_PSW2]SendAllModules Failed...";
    // A module of no kind of the package's own goes as what its own header says.
    const std::string rfid = "Add another Timeout due to RFID module ";
    PlayRows("U3",
             {Row("RFID", Line::Ethernet, kNew, Brings('x', 'H'), kWhole, {rfid, "Programming OK"}),
              Row("refused before", Line::Ethernet, kNew, Both(Brings('f', 'F'), refuses), kNothing,
                  {"Send Fonts...", "Programming Fonts Module Error", failed}),
              Row("refused after", Line::Ethernet, kNew, Both(Brings('l', 'L'), refuses),
                  RigEnd{false, kAll, 0}, {"Send Logos...", "Programming Logos Module Error", failed})});
}

}  // namespace

// A module on its way to the printer: from a module file, and from a package before or after the firmware.
#include "harness/Rig.h"

namespace {

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
// Whatever the printer says of it, a module file was written.
TEST(ModuleDownload, FromAFile) {
    const auto without = [](Rig& rig) { rig.components = 1; };
    PlayRows(
        "U3",
        {Row("unknown to the printer", Line::Ethernet, kOld, Module('D', 500, "FNT"), RigEnd{true, 0, 1},
             {"Module not supported by this printer,  proceed anyway!!!"}),
         Row("modules not enabled", Line::Ethernet, kOld, Both(Module('F'), without), RigEnd{true, 0, 0}),
         Row("silence", Line::Serial, kOld, WithFault(Fault::Silence(Exchange::Module)), RigEnd{true, 0, 0}),
         Row("RFID", Line::Ethernet, kOld, Module('H'), RigEnd{true, 0, 1}),
         Row("Bluetooth", Line::Ethernet, kOld, Module('E'), RigEnd{true, 0, 1}),
         Row("large", Line::Ethernet, kOld, Module('C', 1100000), RigEnd{true, 0, 1})});
    for (const unsigned char answer : Bytes{0x33, 0x44, 0x66, 0x77, 0x88, 0x95})
        PlayRows("U3", {Row("refused", Line::Ethernet, kOld,
                            WithFault(Fault::Says(Exchange::Module, {0x00, 0x99, answer, 0xBB})),
                            RigEnd{true, 0, 0})});
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

// One that the program cannot name goes as what its own header says.
TEST(ModuleDownload, FromAPackage) {
    const Given refuses = PrinterFaults({Fault::Says(Exchange::Module, {0x77})});
    for (const auto& [letter, kind] : {std::pair{'f', 'F'}, {'d', 'C'}, {'l', 'L'}, {'x', 'H'}}) {
        const Given brings = Brings(letter, kind);
        const int banks = letter == 'l' || letter == 'x' ? kAll : 0;
        PlayRows("U3",
                 {Row("taken", Line::Ethernet, kNew, brings, kWhole),
                  Row("refused", Line::Ethernet, kNew, Both(brings, refuses), RigEnd{false, banks, 0})});
    }
    for (const char letter : {'C', 'u', 'b'})  // kept: listed, but looked for under another kind
        PlayRows("U3", {Row("not found", Line::Ethernet, kNew, Brings(letter, 'L'), RigEnd{true, kAll, 0})});
}

}  // namespace

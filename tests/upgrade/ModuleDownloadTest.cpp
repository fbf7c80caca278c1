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
    // The size of the file in the line of it is a megabyte more than the body's step.
    constexpr std::size_t kOutside = 4120;
    PlayRows(
        "U3",
        {Row("unknown to the printer", Line::Ethernet, kOld, Module('D', 500, "FNT"), RigEnd{true, 0, 1},
             {"Module not supported by this printer,  proceed anyway!!!"}),
         Row("modules not enabled", Line::Ethernet, kOld, Both(Module('F'), without), RigEnd{true, 0, 0},
             {supported, "Upgrade Modules not enabled in command line arguments ", "End"}),
         Row("the first byte that is an answer", Line::Usb, kOld, Answers({0x99, 0x55, 0xAA, 0x33}),
             RigEnd{true, 0, 1}, {"Read Answer len: 4", "!Answer Error(0x33) : ID Module Error"}),
         Row("none of the bytes is one", Line::Ethernet, kOld,
             WithFault(Fault::Endless(Exchange::Module, {0x96, 0x06}, 400)), RigEnd{true, 0, 0}, {kNoAnswer}),
         Row("silence", Line::Serial, kOld, WithFault(Fault::Silence(Exchange::Module)), RigEnd{true, 0, 0},
             {kNoAnswer}, tenMinutes),
         Row("not multiplied", Line::Usb, kOld,
             Both(WithFault(Fault::Late(Exchange::Module, 598000)), Times(0)), RigEnd{true, 0, 1},
             {"Read Answer len: 1", "!" + kNoAnswer}),
         Row("no status", Line::Usb, kOld, WithFault(Fault::Silence(Exchange::Status)), RigEnd{true, 0, 0},
             {"Handshake Communication Error ", "close", "End"}),
         Row("a transfer that breaks off", Line::Ethernet, kOld,
             WithFault(Fault::Cut(Exchange::Module, 2000)), RigEnd{true, 0, 0},
             {"Error Write (1)", "Waiting Answer...", kNoAnswer}),
         Row("RFID", Line::Ethernet, kOld, Module('H'), RigEnd{true, 0, 1}, Timeout(4000, rfid)),
         Row("RFID, far", Line::Ethernet, kOld, Module('I'), RigEnd{true, 0, 1}, Timeout(4000, rfid)),
         Row("Bluetooth", Line::Ethernet, kOld, Module('E'), RigEnd{true, 0, 1},
             Timeout(22000, "Add another Timeout due to Bluetooth module ")),
         Row("not large", Line::Ethernet, kOld, Module('C', 1024000 - kOutside), RigEnd{true, 0, 1},
             {supported, "!" + large}),
         Row("large", Line::Ethernet, kOld, Module('C', 1024001 - kOutside), RigEnd{true, 0, 1}, {large}),
         Row("long", Line::Ethernet, kOld, Module('D', 2048001 - kOutside), RigEnd{true, 0, 1},
             {"Add Timeout : 40000", large})});
    const std::pair<unsigned char, std::string> refusals[] = {
        {0x33, "0x33) : ID Module Error"},   {0x44, "0x44) : Module Error"},
        {0x66, "0x66) : Ram Error"},         {0x77, "0x77) : Program Flash Error"},
        {0x88, "0x88) : Clear Flash Error"}, {0x95, "0x95) : Checksum Error"}};
    for (const auto& [answer, text] : refusals)
        PlayRows("U3", {Row("refused", Line::Ethernet, kOld, Answers({0x00, 0x12, answer, 0xBB}),
                            RigEnd{true, 0, 0}, {"Answer Error(" + text})});
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
    const struct {
        char letter, kind;
        bool before;
        const char *begin, *refused;
    } rows[] = {
        {'f', 'F', true, "Send Fonts...", "Programming Fonts Module Error"},
        {'d', 'D', true, "Send Flash Disk...", "Programming Flash Disk Module Error."},
        {'l', 'L', false, "Send Logos...", "Programming Logos Module Error"},
        {'x', 'H', false, "Send unknown module...", "Programming Logos Module Error"},
    };
    for (const auto& row : rows) {
        const Given refused =
            Both(Brings(row.letter, row.kind), PrinterFaults({Fault::Says(Exchange::Module, {0x77})}));
        PlayRows("U3", {Row("refused", Line::Ethernet, kNew, refused, RigEnd{false, row.before ? 0 : kAll, 0},
                            {row.begin, row.refused, "[StartUpgrade_PSW2]SendAllModules Failed..."})});
    }
    // The list decides: what it names and the package does not bring is passed over, on its side.
    const auto missing = [](Rig& rig) {
        rig.package.modules.clear();
        rig.list = [](PSWComponents& list) {
            for (const PSWCOMPONENTS one : {0x2004U, 0x2002U, 0x3008U, 0x3010U}) list.Add(one);
        };
    };
    // A module of no kind of the package's own goes as what its own header says.
    const std::string rfid = "Add another Timeout due to RFID module ";
    PlayRows(
        "U3",
        {Row("RFID", Line::Ethernet, kNew, Brings('x', 'H'), kWhole, {rfid, "Programming OK"}),
         Row("disk", Line::Ethernet, kNew, Brings('x', 'D'), kWhole, {"Programming OK", "!" + rfid}),
         Row("listed, not there", Line::Ethernet, kNew, missing, kWhole,
             {"Send Flash Disk...", "Flash Disk Module not found", "Send Fonts...", "Fonts Module not found",
              "Send FW:1", "Send Logos...", "Logos Module not found", "Send unknown module...",
              "Logos Module not found"}),
         Row("the port stays away", Line::Ethernet, kNew, LineFaults({{"ReOpen", LineFault::kError, 2, 10}}),
             kNothing,
             {"ReOpen Error. Retry", "ReOpen Error. Num Max Retry found. Throw Error", "!Send Fonts..."})});
}

}  // namespace

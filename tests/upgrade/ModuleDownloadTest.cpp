// A module on its way to the printer: from a module file, and from a package before or after the firmware.
#include <gtest/gtest.h>

#include "harness/Rig.h"
#include "package/PSWFile.h"
#include "upgrade/UpgradePrinter.h"

namespace {

const std::string kTag = "[SendModuleToDevice]";
const std::string kWrite = "[PrnCom_WriteModule]";
const std::string kNoAnswer = kTag + "Wait Answer Error";

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
            "  (packet 1000, write 500 ms, read 500 ms)", kTag + "Read Answer len: 1"};
}

// Whatever the printer says of it, a module file was written.
TEST(ModuleDownload, FromAFile) {
    const std::string supported = kWrite + "Module supported by this printer";
    const std::string large = kTag + "Add Timeout module size > 2MB ";
    const std::string rfid = kTag + "Add another Timeout due to RFID module ";
    const auto without = [](Rig& rig) { rig.components = 1; };
    // The size of the file in the line of it is a megabyte more than the body's step.
    constexpr std::size_t kOutside = 4120;
    PlayRows(
        "U3",
        {Row("kept", Line::Serial, kOld, Module('F'), Ends(true, 0, 1),
             {supported, kTag + "Read Answer len: 1"}),
         Row("unknown to the printer", Line::Ethernet, kOld, Module('D', 500, "FNT"), Ends(true, 0, 1),
             {kWrite + "Module not supported by this printer,  proceed anyway!!!"}),
         Row("modules not enabled", Line::Ethernet, kOld, Both(Module('F'), without), Ends(true, 0, 0),
             {supported, kWrite + "Upgrade Modules not enabled in command line arguments ", kWrite + "End"}),
         Row("the first byte that is an answer", Line::Usb, kOld, Answers({0x99, 0x55, 0xAA, 0x33}),
             Ends(true, 0, 1),
             {kTag + "Read Answer len: 4", "!" + kTag + "Answer Error(0x33) : ID Module Error"}),
         Row("none of the bytes is one", Line::Ethernet, kOld,
             WithFault(Fault::Endless(Exchange::Module, {0x96, 0x06}, 400)), Ends(true, 0, 0), {kNoAnswer}),
         Row("silence", Line::Serial, kOld, WithFault(Fault::Silence(Exchange::Module)), Ends(true, 0, 0),
             {kNoAnswer}, [](const Rig& rig) { EXPECT_NEAR(static_cast<double>(rig.tookMs), 600200, 400); }),
         Row("ten minutes, not multiplied", Line::Usb, kOld,
             Both(WithFault(Fault::Late(Exchange::Module, 598000)), [](Rig& rig) { rig.timem = 0; }),
             Ends(true, 0, 1), {kTag + "Read Answer len: 1", "!" + kNoAnswer}),
         Row("no status", Line::Usb, kOld, WithFault(Fault::Silence(Exchange::Status)), Ends(true, 0, 0),
             {kTag + "Handshake Communication Error ", "close", kWrite + "End"}),
         Row("a transfer that breaks off", Line::Ethernet, kOld,
             WithFault(Fault::Cut(Exchange::Module, 2000)), Ends(true, 0, 0),
             {"[WritePackets]Error Write (1)", kTag + "Waiting Answer...", kNoAnswer}),
         Row("RFID", Line::Ethernet, kOld, Module('H'), Ends(true, 0, 1), Timeout(4000, rfid)),
         Row("RFID, far", Line::Ethernet, kOld, Module('I'), Ends(true, 0, 1), Timeout(4000, rfid)),
         Row("Bluetooth", Line::Ethernet, kOld, Module('E'), Ends(true, 0, 1),
             Timeout(22000, kTag + "Add another Timeout due to Bluetooth module ")),
         Row("not large", Line::Ethernet, kOld, Module('C', 1024000 - kOutside), Ends(true, 0, 1),
             {supported, "!" + large}),
         Row("large", Line::Ethernet, kOld, Module('C', 1024001 - kOutside), Ends(true, 0, 1), {large}),
         Row("long", Line::Ethernet, kOld, Module('D', 2048001 - kOutside), Ends(true, 0, 1),
             {kWrite + "Add Timeout : 40000", large})});
    const std::pair<unsigned char, const char*> refusals[] = {
        {0x33, "0x33) : ID Module Error"},   {0x44, "0x44) : Module Error"},
        {0x66, "0x66) : Ram Error"},         {0x77, "0x77) : Program Flash Error"},
        {0x88, "0x88) : Clear Flash Error"}, {0x95, "0x95) : Checksum Error"}};
    for (const auto& [answer, text] : refusals)
        PlayRows("U3", {Row(text, Line::Ethernet, kOld, Answers({0x00, 0x12, answer, 0xBB}), Ends(true, 0, 0),
                            {kTag + "Answer Error(" + text})});
}

/// The package brings this one module under `letter`, in a module file of `kind`.
Given Brings(char letter, char kind) {
    return [=](Rig& rig) {
        simulator::ModuleSample sample;
        sample.kind = kind;
        sample.bodySize = 100;
        sample.encodingMode = -1;
        rig.package.modules = {{letter, simulator::SampleFiles::MakeModule(sample)}};
    };
}

TEST(ModuleDownload, FromAPackageEachKindTakenAndRefused) {
    const std::string all = "[SendAllModules]";
    const std::string logos = all + "Programming Logos Module Error";
    const struct {
        char letter, kind;
        bool before;
        std::string begin, refused;
    } rows[] = {
        {'f', 'F', true, all + "Send Fonts...", all + "Programming Fonts Module Error"},
        {'d', 'D', true, all + "Send Flash Disk...", all + "Programming Flash Disk Module Error."},
        {'l', 'L', false, all + "Send Logos...", logos},
        {'x', 'H', false, all + "Send unknown module...", logos},
    };
    const auto refuses = PrinterFaults({Fault::Says(Exchange::Module, {0x77})});
    for (const auto& row : rows) {
        const auto brings = Brings(row.letter, row.kind);
        PlayRows("U3",
                 {Row("taken", Line::Ethernet, kNew, brings, Ends(true, kAll, 1),
                      {row.begin, all + "Programming OK", "!" + row.refused}),
                  Row("refused", Line::Ethernet, kNew, Both(brings, refuses), Fails(row.before ? 0 : kAll, 0),
                      {row.begin, row.refused, "[StartUpgrade_PSW2]SendAllModules Failed..."})});
    }
    // A module of no kind of the package's own goes as what its own header says.
    PlayRows("U3", {Row("RFID", Line::Ethernet, kNew, Brings('x', 'H'), Ends(true, kAll, 1),
                        {kTag + "Add another Timeout due to RFID module "}),
                    Row("disk", Line::Ethernet, kNew, Brings('x', 'D'), Ends(true, kAll, 1),
                        {"!" + kTag + "Add another Timeout due to RFID module "}),
                    Row("the port stays away", Line::Ethernet, kNew,
                        LineFaults({{"ReOpen", LineFault::kError, 2, 10}}), Fails(0, 0),
                        {all + "ReOpen Error. Retry", all + "ReOpen Error. Num Max Retry found. Throw Error",
                         "!" + all + "Send Fonts..."})});
}

// The list decides: what it names and the package does not bring is passed over, on its side.
TEST(ModuleDownload, WhatIsListedAndMissing) {
    for (const bool after : {false, true}) {
        VirtualClock clock;
        simulator::PrinterModel model{PrinterOptions()};
        LinePlan line;
        PrinterPort port(clock, model, line, COMMPORT_ETHERNET);
        PSWFile package;
        PSWComponents list;
        for (const PSWCOMPONENTS one : {0x2004U, 0x2002U, 0U, 0x2020U, 0x3008U, 0x3010U, 0x1002U})
            list.Add(one);
        LogCapture log;
        EXPECT_TRUE(UpgradePrinter(3, 1).SendAllModules(port, package, list, nullptr, 10000, !after, after));
        EXPECT_EQ(
            Joined(log.Take("SendAllModules")),
            after ? "Send Logos...|Logos Module not found|Send unknown module...|Logos Module not found"
                  : "Send Flash Disk...|Flash Disk Module not found|Send Fonts...|Fonts Module not found");
        EXPECT_EQ(clock.WaitedUs(), 0U);
        EXPECT_EQ(line.calls.size(), 4U)
            << "one before each module of the side, and the loop of all but the disk";
    }
}

}  // namespace

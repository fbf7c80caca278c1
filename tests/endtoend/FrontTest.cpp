// What only the built program shows, whatever it upgrades: its files, streams and signals, how it finds a
// printer on USB.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>

#include <csignal>

#include "endtoend/EndToEnd.h"
#include "simulator/Descriptor.h"

using endtoend::kFailure;
using endtoend::kSuccess;
using endtoend::Printer;
using endtoend::Program;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using simulator::Exchange;
using simulator::Line;
using simulator::PrinterOptions;

namespace SampleFiles = simulator::SampleFiles;

namespace {

PrinterOptions On(Line line, const std::string& serial = "ABC1") {
    PrinterOptions options;
    options.line = line;
    options.usb = {0xF0F0, 0x0205, serial};
    options.setupLines = {"First line", "Second line"};
    return options;
}

simulator::UsbDescription At(const std::string& place) {
    simulator::UsbDescription look;
    look.port = place;
    return look;
}

simulator::PackageSample Package() {
    simulator::PackageSample sample;
    sample.firmware = SampleFiles::MakeFirmware(sample.release, sample.bankSize * sample.banks);
    sample.modules = SampleFiles::UsualModules();
    return sample;
}

const TemporaryFile& PackageFile() {
    static const TemporaryFile file("sample.pfw", SampleFiles::MakePackage(Package()));
    return file;
}

// Its reader leaves after the first line; its standard input and output were never there; the disk is full.
TEST(Front, StreamsThatAreGoneEndNothingAndGetNoByteOfThePrinters) {
    const std::string run = "\"$0\" \"$@\"", full = "exec " + run + " >/dev/full 2>&1";
    for (const std::string& shell : {run + " -v | head -n 1; exit ${PIPESTATUS[0]}",
                                     "exec " + run + " -v <&- >&- 2>&-", full, "set -- -v \"$@\"; " + full}) {
        Printer printer{On(Line::Serial), {}, {60, 1500, {"bash", "-c", shell}}};
        EXPECT_EQ(printer.Run({"-f", PackageFile().path}).status, kSuccess) << shell;
        printer.ExpectHas("1.06", Package());
    }
}

TEST(Front, AReaderOfTheLogThatStallsLosesLinesAndHoldsNoPrinter) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    simulator::Descriptor reader(ends[0]), writer(ends[1]);
    fcntl(writer.Get(), F_SETPIPE_SZ, 4096);
    const std::string shell = "exec \"$0\" \"$@\" >&" + std::to_string(writer.Get());
    Printer printer{On(Line::Serial), {}, {40, 1500, {"bash", "-c", shell}}};
    Program program = printer.Begin({"-f", PackageFile().path, "-v"});
    const auto modules = [](const auto& model) { return model.Modules().size(); };
    for (int turn = 0; turn < 2000 && printer.Inspect(modules) < 3; ++turn) poll(nullptr, 0, 10);
    reader.Reset();  // only the verdict waits for it
    EXPECT_EQ(program.End().status, kSuccess);
    printer.ExpectHas("1.06", Package());
}

#ifndef __SANITIZE_ADDRESS__
/// A run with so much memory. Nothing listens where it is to connect.
RunResult Limited(int kilobytes) {
    return Program(
               {"-f", PackageFile().path, "-t", "eth", "-d", "127.0.0.1:1"}, {},
               {100, 1500, {"bash", "-c", "ulimit -v " + std::to_string(kilobytes) + "; exec \"$0\" \"$@\""}})
        .End();
}

TEST(Front, ARunWithoutMemoryEndsWithALastLine) {
    constexpr int kNotLoaded = 127;
    int kilobytes = 4000;
    while (Limited(kilobytes).status == kNotLoaded) kilobytes += 500;
    for (int step = 0; step < 20; ++step) {
        const RunResult run = Limited(kilobytes -= 32);
        if (run.status == kNotLoaded) break;
        EXPECT_EQ(run.status, kFailure) << run;
        EXPECT_THAT(run.lines.back(), testing::AnyOf("UPGRADE FAILURE", "LoadPSWFromFile FAILURE"));
    }
}
#endif

TEST(Front, ARunThatIsEndedLeavesItsLinesAndAPrinterThatCanBeUpgraded) {
    PrinterOptions options = On(Line::Usb);
    options.faults = {simulator::Fault::Silence(Exchange::BankGroup)};
    options.mode = "U1";
    Printer printer{options, {}, {100, 10000, {}}};
    {
        Program program = printer.Begin({"-f", PackageFile().path, "-v"});
        EXPECT_TRUE(program.WaitForText("Sending flash block end  ...8/8"));
        program.Signal(SIGTERM);
        EXPECT_EQ(program.End().status, ChildProcess::kSignalled + SIGTERM);
        EXPECT_EQ(program.Output().back(), '\n');
    }
    EXPECT_TRUE(printer.Run({"--printerversion"}).Has("Second line"));
}

// What is named is damaged, is not there, or is none.
TEST(Front, WhatCannotBeLoadedOrOpenedIsAFailureThatTouchesNoPrinter) {
    Printer printer{On(Line::Ethernet)};
    simulator::UsbBus bus;
    simulator::Bytes package = SampleFiles::MakePackage(Package());
    package.pop_back();
    simulator::Bytes module = SampleFiles::MakeModule({});
    module[5000] ^= 1;
    const TemporaryFile cut("cut.pfw", package);
    const TemporaryFile wrong("wrong.mod", module);
    const struct {
        std::string file;
        Lines port;
        std::string last = "UPGRADE FAILURE";
    } rows[] = {{cut.path, printer.device, "LoadPSWFromFile FAILURE"},
                {wrong.path, printer.device, "LoadModuleFromFile FAILURE"},
                {PackageFile().path, {"-t", "usb", "-d", "ANY"}, "device argument not valid"},
                {PackageFile().path, {"-t", "usb", "-d", "F0F0|0205|ABC1"}},
                {PackageFile().path, {"-t", "eth", "-d", "127.0.0.1:1"}},
                {PackageFile().path, {"-t", "ser", "-d", cut.path + ":9600:HW"}}};
    for (const auto& row : rows) {
        Lines words{"-v", "-f", row.file};
        words.insert(words.end(), row.port.begin(), row.port.end());
        const RunResult run = Program(words, bus.ChildEnvironment()).End();
        EXPECT_EQ(run.status, kFailure);
        EXPECT_EQ(run.lines.back(), row.last);
    }
    EXPECT_EQ(printer.Inspect([](const auto& model) { return model.Count(Exchange::ProtocolVersion); }), 0);
    EXPECT_EQ(Program({"--printerversion", "-t", "eth", "-d", "127.0.0.1:1"}).End().status, kSuccess);
}

TEST(Front, PrintersOnUsbAreListedAndFoundByProductAndTheLastCharacterOfTheirSerialNumber) {
    Printer printer{On(Line::Usb)};
    Printer second{On(Line::Usb, "ABC2"), At("1-2"), {}, &printer};
    const RunResult list = printer.Run({"--usbdevlist"});
    EXPECT_EQ(list.status, kSuccess);
    ASSERT_EQ(list.lines.size(), 5U) << list;
    EXPECT_THAT(list.lines, testing::IsSupersetOf({"LIST USB DEVICES:", "F0F0|0205|ABC1", "F0F0|0205|ABC2"}));
    const bool first = list.lines[2] == "F0F0|0205|ABC1";
    int asked = 0;
    const auto count = [](const auto& model) { return model.Count(Exchange::SetupHeader); };
    for (const auto& [name, found] : {std::pair{"ANY", first},
                                      {"1234|0205|OTHER-1", true},
                                      {"F0F0|0205|ABC2", false},
                                      {"F0F0|0206|ABC1", false}}) {
        const RunResult run = printer.Run({"--printerversion", "-v", "-t", "usb", "-d", name});
        asked += found ? 1 : 0;
        EXPECT_EQ(printer.Inspect(count), asked) << name << "\n" << run;
    }
    EXPECT_EQ(second.Inspect(count), first ? 1 : 2);
}

}  // namespace

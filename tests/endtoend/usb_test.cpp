// Printers on USB: the built program with the real libusb on an emulated bus.
#include <gmock/gmock.h>

#include "endtoend/EndToEnd.h"
#include "simulator/SampleFiles.h"

using endtoend::ExpectRun;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using simulator::Bytes;
using simulator::Line;
using simulator::PackageSample;
using simulator::PrinterOptions;

namespace SampleFiles = simulator::SampleFiles;

namespace {

PrinterOptions OnUsb(const std::string& serial = "ABC1") {
    PrinterOptions options;
    options.line = Line::Usb;
    options.usb.serial = serial;
    return options;
}

TEST(Usb, ThePrintersOnTheBusAreListed) {
    Printer printer{OnUsb()};
    const RunResult run = endtoend::RunProgram({"--usbdevlist"}, printer.Bus().ChildEnvironment());
    EXPECT_EQ(run.status, 0) << run.Text();
    EXPECT_TRUE(run.Has("F0F0|0205|ABC1")) << run.Text();
}

TEST(Usb, TheSetupHeaderIsPrinted) {
    Printer printer{OnUsb()};
    const RunResult run = printer.Run({"--printerversion"});
    EXPECT_EQ(run.status, 0) << run.Text();
    printer.ExpectNoViolations();
}

}  // namespace

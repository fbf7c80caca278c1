// Printers on a serial line: the settings of the built program's line, and devices that are none.
#include <fcntl.h>
#include <termios.h>

#include "endtoend/EndToEnd.h"
#include "simulator/Descriptor.h"

using endtoend::ExpectRun;
using endtoend::Package;
using endtoend::Printer;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using simulator::PrinterOptions;

namespace {

PrinterOptions OnSerial() {
    PrinterOptions options;
    options.line = simulator::Line::Serial;
    return options;
}

/// The device alone, without rate and flow control.
std::string Path(const Printer& printer) {
    return printer.Device().substr(0, printer.Device().find(':'));
}

struct LineCase {
    const char* settings;
    speed_t speed;
};

// The settings outlive the program, since the printer holds the other end of the line. Its flow control is
// hardware whatever the device says.
TEST(Serial, TheLineIsSetAsTheDeviceSays) {
    const LineCase cases[] = {
        {":1200:NONE", B1200}, {":9600:SW", B9600}, {":19200:HW", B19200}, {":115200:NONE", B115200}};
    PrinterOptions options = OnSerial();
    options.setupLines = {"First line", "Second line"};
    Printer printer{options};
    const simulator::Descriptor line(open(Path(printer).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(line.IsOpen());
    for (const LineCase& c : cases) {
        SCOPED_TRACE(c.settings);
        const RunResult run =
            printer.Run({"--printerversion", "-t", "ser", "-d", Path(printer) + c.settings});
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(run.Has("First line")) << run.Text();
        EXPECT_TRUE(run.Has("Second line")) << run.Text();
        termios now{};
        ASSERT_EQ(tcgetattr(line.Get(), &now), 0);
        EXPECT_EQ(cfgetospeed(&now), c.speed);
        EXPECT_EQ(now.c_cflag & (CSIZE | CSTOPB | PARENB | CREAD | CRTSCTS), CS8 | CREAD | CRTSCTS);
        EXPECT_EQ(now.c_iflag & (IXON | IXOFF | IXANY | ICRNL | INLCR | ISTRIP), 0U);
        EXPECT_EQ(now.c_oflag & OPOST, 0U);
        EXPECT_EQ(now.c_lflag & (ICANON | ECHO | ISIG), 0U);
    }
    printer.ExpectNoViolations();
}

TEST(Serial, ADeviceThatIsNoneIsAFailure) {
    const TemporaryFile package("sample.pfw", simulator::SampleFiles::MakePackage(Package(false)));
    const TemporaryFile notATerminal("tty", {});
    struct Case {
        std::string device;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {package.Path() + ".none:115200:HW",
         {"[OpenCommunicationPort]COM Port", "[OpenPort]Error to open Serial port",
          "[Open]Open RS232 Device Error", "[OpenCommunicationPort]Open Port Error",
          "[OpenCommunicationPort]Error: Open RS232 Device Error", "[PrnCom_UpgradePrinter]Open Error"}},
        {notATerminal.Path() + ":115200:HW",
         {"[OpenPort]Error to tcsetattr", "[Open]Open RS232 Device Error",
          "[OpenCommunicationPort]Open Port Error", "[OpenCommunicationPort]Error: Open RS232 Device Error",
          "[PrnCom_UpgradePrinter]Open Error"}},
        {notATerminal.Path() + ":300:HW",
         {"[Init]Error invalid Baudrate", "[OpenCommunicationPort]Open Port Error",
          "[OpenCommunicationPort]Error: Error invalid Baudrate", "[PrnCom_UpgradePrinter]Open Error"}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.device);
        ExpectRun(endtoend::RunProgram({"-f", package.Path(), "-v", "-t", "ser", "-d", c.device}), false,
                  c.lines);
    }
}

}  // namespace

// Printers on a serial line: how the built program sets the line.
#include <fcntl.h>
#include <termios.h>

#include "endtoend/EndToEnd.h"
#include "simulator/Descriptor.h"

using endtoend::Printer;
using endtoend::RunResult;
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

}  // namespace

// The serial port against pseudo-terminals.
#include "port/ComPortRs232.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/PtyPair.h"
#include "harness/VirtualClock.h"
#include "port/TextIo.h"

namespace {

/// What the driver keeps back: a pseudo-terminal's own answer is 0 always.
std::function<int()> heldBack;

}  // namespace

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    int* const number = va_arg(arguments, int*);
    va_end(arguments);
    if (request != TIOCOUTQ || !heldBack) return static_cast<int>(syscall(SYS_ioctl, fd, request, number));
    *number = heldBack();
    return 0;
}

namespace {

/// A port open on a pseudo-terminal.
struct Line {
    explicit Line(int baudrate = 9600) {
        EXPECT_TRUE(port.Init(pty.Path(), baudrate, 0));
        EXPECT_TRUE(port.Open());
    }
    PtyPair pty;
    CComPortRs232 port;
    unsigned int err = 9;
};

TEST(ComPortRs232, InitChecksRateAndFlowControl) {
    const tcflag_t software = IXON | IXOFF | IXANY;
    const std::pair<int, speed_t> speeds[] = {{1200, B1200},   {2400, B2400},    {4800, B4800},
                                              {9600, B9600},   {19200, B19200},  {38400, B38400},
                                              {57600, B57600}, {115200, B115200}};
    PtyPair pty;
    CComPortRs232 port;
    for (const auto& [baudrate, speed] : speeds) {
        const int flow = static_cast<int>(speed % 3);  // each of them in turn
        EXPECT_TRUE(port.Init(pty.Path(), baudrate, flow) && port.Open());
        const termios line = pty.Settings();
        EXPECT_EQ(line.c_cflag, CS8 | CREAD | CLOCAL | speed | (flow == 1 ? CRTSCTS : 0)) << baudrate;
        EXPECT_EQ(line.c_iflag, flow == 2 ? software : 0);
        EXPECT_EQ(line.c_oflag | line.c_lflag, 0U);  // raw: no byte is changed or echoed
    }
    EXPECT_FALSE(port.Init(pty.Path(), 300, 1));
    EXPECT_STREQ(port.szLastError, "Error invalid Baudrate");
    EXPECT_FALSE(port.Init(pty.Path(), 9600, 3));
    EXPECT_STREQ(port.szLastError, "Error invalid Flow control");
}

TEST(ComPortRs232, ClosesItsLineWhenItGoes) {
    PtyPair pty;
    {
        CComPortRs232 port;
        EXPECT_TRUE(port.Init(pty.Path(), 9600, 0) && port.Open());
    }
    EXPECT_EQ(pty.Receive(1), "");
    EXPECT_EQ(errno, EIO);
}

TEST(ComPortRs232, WhatCannotBeOpenedOrSetIsAFailure) {
    for (std::string device : {"/nonexistent/tty", "/dev/null"}) {
        LogCapture log;
        CComPortRs232 port;
        port.Init(device.data(), 9600, 0);
        EXPECT_FALSE(port.Open());
        EXPECT_STREQ(port.szLastError, "Open RS232 Device Error");
        EXPECT_EQ(log.Take("OpenPort"),
                  Lines{device == "/dev/null" ? "Error to tcsetattr" : "Error to open Serial port"});
    }
}

TEST(ComPortRs232, PieceSizesFollowTheLineSpeed) {
    const struct {
        int baudrate, timeout;
        unsigned int packetSize;
    } rows[] = {{9600, 1000, 480}, {115200, 1000, 5760}, {115200, 100, 575}, {1200, 80, 0}};
    for (const auto& row : rows) {
        Line line(row.baudrate);
        line.port.SetTimeoutTX(row.timeout);
        EXPECT_EQ(Put(line.port, Pattern(1001), line.err), 1001U);
        EXPECT_EQ(line.err, 0U);
        EXPECT_EQ(line.port.GetWPacketSize(), row.packetSize);
        EXPECT_EQ(line.pty.Receive(1001), Pattern(1001));
    }
}

TEST(ComPortRs232, ALineThatRefusesIsTriedUntilItTakesOrIsGone) {
    for (const bool takes : {true, false}) {
        Line line(115200);
        const std::string data = Pattern(200000);  // more than a terminal holds
        std::string received;
        VirtualClock clock;
        clock.onWait = [&] {
            EXPECT_EQ(clock.waits.back(), 10000U);
            if (clock.waits.size() < 300) return;
            takes ? void(received += line.pty.Receive(data.size(), 0)) : line.pty.HangUp();
        };
        EXPECT_EQ(Put(line.port, data, line.err), takes ? data.size() : 0);
        EXPECT_GE(clock.waits.size(), 300U);
        EXPECT_EQ(line.err, takes ? 0U : 1U);
        EXPECT_STREQ(line.port.szLastError, takes ? "" : "Write Error");
        if (takes) received += line.pty.Receive(data.size() - received.size());
        EXPECT_EQ(received == data, takes);
    }
}

TEST(ComPortRs232, WhatTheDriverHoldsIsWaitedForWhileTheLineMoves) {
    const struct {
        std::uint64_t byteMs;  // 0: a line that is stopped
        int bytes;
        std::uint64_t waitMs;
    } rows[] = {{1, 0, 0}, {10, 4000, 40000}, {299990, 3, 3 * 299990}, {0, 4000, 300000}};
    for (const auto& row : rows) {
        Line line;
        VirtualClock clock;
        heldBack = [&] {
            const std::uint64_t gone = row.byteMs == 0 ? 0 : clock.waits.size() * 10 / row.byteMs;
            return row.bytes - static_cast<int>(gone);
        };
        EXPECT_EQ(line.port.Drain(), row.byteMs != 0);
        heldBack = nullptr;
        EXPECT_EQ(clock.WaitedUs(), row.waitMs * 1000);
        EXPECT_STREQ(line.port.szLastError, row.byteMs != 0 ? "" : "Write Error");
    }
}

TEST(ComPortRs232, AReadBringsUpTo1024WhateverItAsksAndMoreThanSevenBytesWaitForTheRest) {
    Line line;
    for (const std::size_t bytes : {7U, 8U, 1500U}) {
        const std::string data = Pattern(bytes);
        VirtualClock clock;
        clock.onWait = [&] { EXPECT_TRUE(clock.waits.back() == 10 || line.pty.Deliver("rest")); };
        ASSERT_TRUE(line.pty.Deliver(data));
        EXPECT_EQ(Get(line.port, 10, line.err), (bytes == 8 ? data + "rest" : data).substr(0, 1024));
        EXPECT_EQ(line.err, 0U);
        EXPECT_EQ(clock.WaitedUs(), bytes > 7 ? 80010U : 10U);
    }
    line.port.CleanRX();
    line.port.SetTimeoutRX(60);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(Get(line.port, 10, line.err), "");
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(55));
}

}  // namespace

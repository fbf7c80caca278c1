// The serial port against pseudo-terminals, and against a FIFO where the size of each device write counts.
#include "port/ComPortRs232.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "harness/Descriptors.h"
#include "harness/LogCapture.h"
#include "harness/PtyPair.h"
#include "harness/VirtualClock.h"

namespace {

using Lines = std::vector<std::string>;

unsigned int Put(CComPort& port, const std::string& text, unsigned int& err) {
    return port.Write(reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<unsigned int>(text.size()), &err);
}

std::string Get(CComPort& port, unsigned int length, unsigned int& err) {
    std::string buffer(CComPort::kReadSlack, '\0');
    buffer.resize(port.Read(reinterpret_cast<unsigned char*>(buffer.data()), length, &err));
    return buffer;
}

std::string Pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 251);
    return text;
}

/// A clock on which something happens during each wait.
class EventClock final : public Clock {
 public:
    explicit EventClock(std::function<void(std::uint64_t us)> event) : event_(std::move(event)) {
        Install(this);
    }
    ~EventClock() override { Install(nullptr); }
    bool Now(timeval& now) override {
        now = timeval{};
        return true;
    }
    void SleepMicroseconds(std::uint64_t us) override { event_(us); }
    unsigned int BlockingTimeout(unsigned int ms) override { return ms; }

 private:
    std::function<void(std::uint64_t)> event_;
};

/// A FIFO in the place of the device: opening leaves it open although it has no line settings. Each write of
/// the port is one packet for the reader.
class FifoDevice {
 public:
    FifoDevice() : path_(testing::TempDir() + "ticketflash-fifo-" + std::to_string(getpid())) {
        unlink(path_.c_str());
        mkfifo(path_.c_str(), 0600);
        reader_.Reset(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }
    ~FifoDevice() { unlink(path_.c_str()); }
    const char* Path() const { return path_.c_str(); }
    /// To be called once the port has opened it.
    void KeepWritesApart() const {
        for (int fd = 0; fd < FD_SETSIZE; ++fd) {
            char path[4096] = {};
            const std::string link = "/proc/self/fd/" + std::to_string(fd);
            if (fd == reader_.Get() || readlink(link.c_str(), path, sizeof(path) - 1) < 0 || path_ != path)
                continue;
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_DIRECT);
        }
    }
    std::string Receive() {
        std::string got(65536, '\0');
        const ssize_t bytes = read(reader_.Get(), got.data(), got.size());
        got.resize(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
        return got;
    }

 private:
    std::string path_;
    OwnedDescriptor reader_;
};

TEST(ComPortRs232, InitChecksRateAndFlowControl) {
    struct Case {
        int baudrate, flowcontrol;
        speed_t speed;
        tcflag_t control, input;
        const char* error;
    };
    const tcflag_t software = IXON | IXOFF | IXANY;
    const Case cases[] = {{1200, 0, B1200, 0, 0, ""},
                          {2400, 1, B2400, CRTSCTS, 0, ""},
                          {4800, 2, B4800, 0, software, ""},
                          {9600, 0, B9600, 0, 0, ""},
                          {19200, 1, B19200, CRTSCTS, 0, ""},
                          {38400, 2, B38400, 0, software, ""},
                          {57600, 0, B57600, 0, 0, ""},
                          {115200, 1, B115200, CRTSCTS, 0, ""},
                          {300, 0, 0, 0, 0, "Error invalid Baudrate"},
                          {300, 7, 0, 0, 0, "Error invalid Baudrate"},
                          {-1, 0, 0, 0, 0, "Error invalid Baudrate"},
                          {9600, 3, 0, 0, 0, "Error invalid Flow control"},
                          {9600, -1, 0, 0, 0, "Error invalid Flow control"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.baudrate) + " " + std::to_string(c.flowcontrol));
        const std::string error = c.error;
        PtyPair pty;
        CComPortRs232 port;
        LogCapture log;
        EXPECT_EQ(port.Init(pty.Path(), c.baudrate, c.flowcontrol), error.empty());
        EXPECT_EQ(port.szLastError, error);
        EXPECT_EQ(log.Take(), error.empty() ? Lines{} : Lines{"[Init]" + error});
        EXPECT_EQ(port.GetBaudrate(), error == "Error invalid Baudrate" ? -1 : c.baudrate);
        EXPECT_EQ(port.GetFlowControl(), error == "Error invalid Flow control" ? -1 : c.flowcontrol);
        if (!error.empty()) continue;
        ASSERT_TRUE(port.Open());
        const termios line = pty.Settings();
        EXPECT_EQ(line.c_cflag & ~static_cast<tcflag_t>(CBAUD), CS8 | CREAD | CLOCAL | c.control);
        EXPECT_EQ(line.c_cflag & CBAUD, c.speed);
        EXPECT_EQ(line.c_iflag, c.input);
        EXPECT_EQ(line.c_oflag | line.c_lflag, 0U);  // raw: no byte is changed or echoed
    }
}

TEST(ComPortRs232, FailuresOfOpenAndWhatStaysOpen) {
    LogCapture log;
    const int before = OpenDescriptors();
    {
        CComPortRs232 port;
        EXPECT_FALSE(port.Open());  // never named
        port.Init("/nonexistent/tty", 9600, 0);
        log.Take();
        EXPECT_FALSE(port.Open());
        EXPECT_STREQ(port.szLastError, "Open RS232 Device Error");
        EXPECT_EQ(log.Take(),
                  (Lines{"[OpenPort]Error to open Serial port", "[Open]Open RS232 Device Error"}));
        port.Init("/dev/null", 9600, 0);
        for (int attempt = 0; attempt < 3; ++attempt) {
            EXPECT_FALSE(port.Open());
            EXPECT_STREQ(port.szLastError, "Open RS232 Device Error");
            EXPECT_EQ(log.Take(), (Lines{"[OpenPort]Error to tcsetattr", "[Open]Open RS232 Device Error"}));
            EXPECT_EQ(OpenDescriptors(), before + 1);  // left open, but one only
        }
        EXPECT_TRUE(port.Close());
        EXPECT_STREQ(port.szLastError, "");
        EXPECT_EQ(OpenDescriptors(), before);
        port.Init("/dev/null", 9600, 0);
        port.Open();
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(ComPortRs232, CloseForgetsTheDeviceAndReOpenDoesNot) {
    PtyPair pty;
    CComPortRs232 port;
    EXPECT_FALSE(port.ReOpen());  // never named
    ASSERT_TRUE(port.Init(pty.Path(), 19200, 1));
    ASSERT_TRUE(port.Open());
    const int opened = OpenDescriptors();
    EXPECT_TRUE(port.Open());
    EXPECT_EQ(OpenDescriptors(), opened);
    EXPECT_TRUE(port.ReOpen());
    EXPECT_TRUE(port.Close());
    EXPECT_FALSE(port.Open());
    EXPECT_TRUE(port.ReOpen());
    EXPECT_EQ(pty.Settings().c_cflag & (CBAUD | CRTSCTS), B19200 | CRTSCTS);
    unsigned int err = 9;
    EXPECT_EQ(Put(port, "alive", err), 5U);
    EXPECT_EQ(pty.Receive(5), "alive");
}

TEST(ComPortRs232, TheKeptParametersComeBack) {
    PtyPair first;
    PtyPair second;
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(first.Path(), 9600, 0));
    EXPECT_TRUE(port.RestoreportInfo());  // nothing kept: nothing changes
    ASSERT_TRUE(port.Open());
    EXPECT_TRUE(port.BackupPortInfo());
    ASSERT_TRUE(port.Init(second.Path(), 115200, 1));
    EXPECT_TRUE(port.RestoreportInfo());
    EXPECT_EQ(port.GetBaudrate(), 9600);
    EXPECT_EQ(port.GetFlowControl(), 0);
    ASSERT_TRUE(port.ReOpen());
    unsigned int err = 9;
    EXPECT_EQ(Put(port, "here", err), 4U);
    EXPECT_EQ(first.Receive(4), "here");
    EXPECT_EQ(first.Settings().c_cflag & (CBAUD | CRTSCTS), B9600);
}

TEST(ComPortRs232, PieceSizesFollowTheLineSpeed) {
    struct Case {
        int baudrate, timeout;
        std::size_t length;
        unsigned int packetSize;
        std::vector<std::size_t> pieces;
    };
    const Case cases[] = {{9600, 1000, 1000, 480, {480, 480, 40}},
                          {9600, 1000, 400, 480, {400}},
                          {9600, 1000, 480, 480, {480}},
                          {9600, 1000, 481, 480, {480, 1}},
                          {9600, 1000, 960, 480, {480, 480}},
                          {115200, 100, 1200, 575, {575, 575, 50}},
                          {115200, 1000, 3000, 5760, {3000}},
                          {1200, 80, 3, 0, {3}},
                          {9600, 1000, 0, 480, {}}};
    for (const Case& c : cases) {
        FifoDevice fifo;
        CComPortRs232 port;
        ASSERT_TRUE(port.Init(fifo.Path(), c.baudrate, 0));
        EXPECT_FALSE(port.Open());
        fifo.KeepWritesApart();
        port.SetTimeoutTX(c.timeout);
        const std::string data = Pattern(c.length);
        unsigned int err = 9;
        EXPECT_EQ(Put(port, data, err), c.length);
        EXPECT_EQ(err, 0U);
        EXPECT_EQ(port.GetWPacketSize(), c.packetSize);
        std::vector<std::size_t> pieces;
        std::string all;
        for (std::string piece = fifo.Receive(); !piece.empty(); piece = fifo.Receive()) {
            pieces.push_back(piece.size());
            all += piece;
        }
        EXPECT_EQ(pieces, c.pieces);
        EXPECT_EQ(all, data);
    }
}

TEST(ComPortRs232, ALineThatRefusesIsTriedUntilItTakes) {
    FifoDevice fifo;
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(fifo.Path(), 115200, 0));
    port.Open();
    std::vector<std::uint64_t> waits;
    std::string received;
    const EventClock clock([&](std::uint64_t us) {
        waits.push_back(us);
        if (waits.size() > 300) received += fifo.Receive();
    });
    const std::string data = Pattern(100000);
    unsigned int err = 9;
    EXPECT_EQ(Put(port, data, err), data.size());
    EXPECT_EQ(err, 0U);
    received += fifo.Receive();
    EXPECT_TRUE(received == data);
    EXPECT_GT(waits.size(), 300U);
    EXPECT_EQ(waits, std::vector<std::uint64_t>(waits.size(), 10000));
}

TEST(ComPortRs232, AWriteThatFailsNamesItself) {
    struct Case {
        const char* what;
        std::size_t length;
        unsigned int written;
    };
    // The line is gone while it refuses: what went out counts in a single piece, not in several.
    for (const Case& c : {Case{"one piece", 100000, 65536}, Case{"pieces", 200000, 0}}) {
        SCOPED_TRACE(c.what);
        FifoDevice fifo;
        CComPortRs232 port;
        ASSERT_TRUE(port.Init(fifo.Path(), 115200, 0));
        port.Open();
        port.SetTimeoutTX(20000);  // pieces of 115200
        LogCapture log;
        const EventClock clock([&](std::uint64_t) { port.Close(); });
        unsigned int err = 0;
        EXPECT_EQ(Put(port, Pattern(c.length), err), c.written);
        EXPECT_EQ(err, 1U);
        EXPECT_STREQ(port.szLastError, "Write Error");
        EXPECT_EQ(log.Take(), Lines{"[ComWrite]Error ComWrite"});
    }
}

TEST(ComPortRs232, ADeviceThatIsGoneFailsWritesAndReads) {
    PtyPair pty;
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(pty.Path(), 9600, 0));
    ASSERT_TRUE(port.Open());
    pty.HangUp();
    LogCapture log;
    unsigned int err = 0;
    EXPECT_EQ(Put(port, "x", err), 0U);
    EXPECT_EQ(err, 1U);
    EXPECT_STREQ(port.szLastError, "Write Error");
    EXPECT_EQ(log.Take(), Lines{"[ComWrite]Error ComWrite"});
    EXPECT_EQ(Get(port, 10, err), "");
    port.CleanTX();
    port.CleanRX();
}

TEST(ComPortRs232, AClosedPortFailsWritesAndReads) {
    CComPortRs232 port;
    LogCapture log;
    unsigned int err = 0;
    EXPECT_EQ(Put(port, "x", err), 0U);
    EXPECT_EQ(err, 1U);
    EXPECT_STREQ(port.szLastError, "Write Error");
    EXPECT_EQ(log.Take(), Lines{"[ComWrite]Error ComWrite"});
    err = 0;
    EXPECT_EQ(Get(port, 10, err), "");
    EXPECT_EQ(err, 1U);
    EXPECT_STREQ(port.szLastError, "Read select() timeout! No data read");
    EXPECT_EQ(log.Take(), Lines{});
    port.CleanTX();
    port.CleanRX();
}

TEST(ComPortRs232, AReadBringsUpTo1024WhateverItAsks) {
    PtyPair pty;
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(pty.Path(), 9600, 0));
    ASSERT_TRUE(port.Open());
    const std::string data = Pattern(1500);
    ASSERT_TRUE(pty.Deliver(data));
    unsigned int err = 9;
    std::string got = Get(port, 10, err);
    EXPECT_EQ(got, data.substr(0, 1024));
    EXPECT_EQ(err, 0U);
    EXPECT_EQ(Get(port, 10, err), data.substr(1024));
    ASSERT_TRUE(pty.Deliver("stale"));
    port.CleanRX();
    port.SetTimeoutRX(1);
    EXPECT_EQ(Get(port, 10, err), "");
}

TEST(ComPortRs232, MoreThanSevenBytesWaitForTheRest) {
    struct Case {
        std::size_t bytes;
        std::vector<std::uint64_t> waits;
    };
    PtyPair pty;
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(pty.Path(), 9600, 0));
    ASSERT_TRUE(port.Open());
    for (const Case& c : {Case{1, {10}}, Case{7, {10}}, Case{8, {10, 80000}}}) {
        VirtualClock clock;
        clock.blockingMs = 5000;
        ASSERT_TRUE(pty.Deliver(std::string(c.bytes, 'x')));
        unsigned int err = 9;
        EXPECT_EQ(Get(port, 10, err).size(), c.bytes);
        EXPECT_EQ(clock.waits, c.waits);
    }
    ASSERT_TRUE(pty.Deliver("12345678"));
    const EventClock clock([&](std::uint64_t us) { EXPECT_TRUE(us == 10 || pty.Deliver("90")); });
    unsigned int err = 9;
    EXPECT_EQ(Get(port, 10, err), "1234567890");
}

TEST(ComPortRs232, ReadsWaitOnTheRealClock) {
    struct Case {
        const char *sent, *got;
        int timeout, least;
    };
    PtyPair pty;
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(pty.Path(), 9600, 0));
    ASSERT_TRUE(port.Open());
    for (const Case& c : {Case{"", "", 50, 45}, Case{"12345678", "12345678", 5000, 80}}) {
        port.SetTimeoutRX(c.timeout);
        EXPECT_EQ(port.GetTimeoutRX(), c.timeout);
        pty.Deliver(c.sent);
        unsigned int err = 9;
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(Get(port, 10, err), c.got);
        EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(c.least));
        EXPECT_EQ(err, *c.got == '\0' ? 1U : 0U);
        EXPECT_STREQ(port.szLastError, *c.got == '\0' ? "Read select() timeout! No data read" : "");
    }
}

TEST(ComPortRs232, ReadAllKeepsToItsBuffer) {
    PtyPair pty;
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(pty.Path(), 9600, 0));
    ASSERT_TRUE(port.Open());
    ASSERT_TRUE(pty.Deliver("0123456789"));
    char buffer[8] = "#######";
    unsigned int err = 9;
    EXPECT_EQ(port.ReadAll(reinterpret_cast<unsigned char*>(buffer), 4, 500, &err), 4U);
    EXPECT_STREQ(buffer, "0123###");
    EXPECT_EQ(err, 0U);
}

TEST(ComPortRs232, DescriptorsThatSelectCannotHoldAreNotWaitedFor) {
    PtyPair pty;
    const HighDescriptors high;
    if (!high.Reached()) GTEST_SKIP() << "the system allows too few descriptors";
    CComPortRs232 port;
    ASSERT_TRUE(port.Init(pty.Path(), 9600, 0));
    ASSERT_TRUE(port.Open());
    ASSERT_TRUE(pty.Deliver("x"));
    unsigned int err = 0;
    EXPECT_EQ(Get(port, 10, err), "");
    EXPECT_EQ(err, 1U);
}

TEST(ComPortRs232, HandshakeAsksFiveTimes) {
    for (const int silences : {0, 3, 5}) {
        VirtualClock clock;
        PtyPair pty;
        CComPortRs232 port;
        ASSERT_TRUE(port.Init(pty.Path(), 9600, 0));
        ASSERT_TRUE(port.Open());
        clock.blockingMs = silences == 5 ? 10 : 300;
        std::thread printer([&] {
            for (int i = 0; i < silences; ++i) pty.Receive(i % 2 == 0 ? 11 : 4);
            if (silences == 5) return;
            pty.Receive(silences % 2 == 0 ? 11 : 4);
            pty.Send("\x12");
            EXPECT_EQ(pty.Receive(4), "\x18\x1D\x49\x03");
            pty.Send("1.00");
        });
        LogCapture log;
        EXPECT_EQ(port.HandshakeCommunication(), silences < 5);
        printer.join();
        Lines expected(silences < 5 ? static_cast<std::size_t>(silences) : 4, "Read GSI Error... Retry");
        expected.push_back(silences < 5 ? "GSI 0x0112 " : "Read GSI Error");
        EXPECT_EQ(log.Take("HandshakeCommunication"), expected);
        EXPECT_GE(clock.WaitedUs(), (expected.size() - 1) * 1500000);
    }
}

}  // namespace

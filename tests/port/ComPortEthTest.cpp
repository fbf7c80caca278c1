// The Ethernet port against real sockets on the loopback.
#include "port/ComPortEth.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "harness/Descriptors.h"
#include "harness/LogCapture.h"
#include "harness/TcpPeer.h"
#include "harness/VirtualClock.h"

namespace {

using Lines = std::vector<std::string>;

unsigned int Put(CComPort& port, const std::string& text, unsigned int& err) {
    return port.Write(reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<unsigned int>(text.size()), &err);
}

unsigned int Put(CComPort& port, const std::string& text) {
    unsigned int err = 0;
    return Put(port, text, err);
}

/// One read of up to `length` bytes.
std::string Get(CComPort& port, unsigned int length, unsigned int& err) {
    std::string buffer(length + CComPort::kReadSlack, '\0');
    buffer.resize(port.Read(reinterpret_cast<unsigned char*>(buffer.data()), length, &err));
    return buffer;
}

std::string Pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 251);
    return text;
}

std::int64_t MsOf(const std::function<void()>& action) {
    const auto began = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began)
        .count();
}

/// Answers no connection: one waits to be accepted, and there is room for no more.
class FullListener {
 public:
    FullListener() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(Port()));
        for (int i = 0; i < 4; ++i) {
            waiting_.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            static_cast<void>(
                connect(waiting_.back().Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)));
        }
    }
    int Port() const { return listener_.Port(); }

 private:
    TcpListener listener_{0};
    std::vector<OwnedDescriptor> waiting_;
};

/// A port of the loopback where nobody listens.
int FreePort() {
    return TcpListener().Port();
}

TEST(ComPortEth, StartsWithItsDefaults) {
    CComPortEth port;
    EXPECT_EQ(port.GetPortType(), COMMPORT_ETHERNET);
    EXPECT_EQ(port.GetTimeoutTX(), 500);
    EXPECT_EQ(port.GetTimeoutRX(), 500);
    EXPECT_EQ(port.GetWPacketSize(), 1000U);
    EXPECT_TRUE(port.Init("anything", 0));
    EXPECT_TRUE(port.Init(std::string(5000, 'h').c_str(), -1));
    EXPECT_TRUE(port.Init(nullptr, 9100));
    EXPECT_TRUE(port.Close());
}

TEST(ComPortEth, EveryFailureOfAConnectionNamesItself) {
    const FullListener full;
    struct Case {
        const char* what;
        std::string host;
        int port;
        bool noDescriptors;
        const char* reason;
    };
    const Case cases[] = {{"empty name", "", 9, false, "Wrong hostname"},
                          {"name cut to its field", std::string(5000, 'h'), 9, false, "Wrong hostname"},
                          {"broadcast address", "255.255.255.255", 9, false, "Error to connect socket"},
                          {"nobody listens", "127.0.0.1", FreePort(), false, "Error in connection()"},
                          {"no answer", "127.0.0.1", full.Port(), false, "Timeout or error()"},
                          // Last: the undefined-behaviour checker needs descriptors for what it sees first.
                          {"no socket", "127.0.0.1", 9, true, "Error to create new socket"}};
    const int before = OpenDescriptors();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CComPortEth port;
        port.SetTimeoutTX(60);
        port.Init(c.host.c_str(), c.port);
        LogCapture log;
        const auto attempt = [&](auto action) {
            if (!c.noDescriptors) return action();
            const NoMoreDescriptors none;
            return action();
        };
        EXPECT_FALSE(attempt([&] { return port.Open(); }));
        EXPECT_EQ(log.Take(), (Lines{std::string("[OpenPort]") + c.reason, "[Open]Open ETH Device Error"}));
        EXPECT_STREQ(port.szLastError, "Open ETH Device Error");

        unsigned int err = 0;
        EXPECT_EQ(attempt([&] { return Put(port, "x", err); }), 0U);
        EXPECT_EQ(err, 1U);
        EXPECT_STREQ(port.szLastError, "Open Error (Device Error)");
        EXPECT_EQ(log.Take(),
                  (Lines{std::string("[OpenPort]") + c.reason, "[EthWrite]Open Error (Device Error)"}));

        err = 0;
        EXPECT_EQ(attempt([&] { return Get(port, 10, err); }), "");
        EXPECT_EQ(err, 1U);
        EXPECT_EQ(log.Take(),
                  (Lines{std::string("[OpenPort]") + c.reason, "[EthRead]Open Error (Device Error)"}));
        EXPECT_FALSE(attempt([&] { return port.ReOpen(); }));
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(ComPortEth, ConnectingWaitsForTheWriteTimeout) {
    const FullListener full;
    CComPortEth port;
    port.Init("127.0.0.1", full.Port());
    port.SetTimeoutTX(150);
    port.SetTimeoutRX(5000);
    bool opened = true;
    const std::int64_t took = MsOf([&] { opened = port.Open(); });
    EXPECT_FALSE(opened);
    EXPECT_GE(took, 145);
    EXPECT_LT(took, 2000);
}

TEST(ComPortEth, OpensOnceAndReOpensAnew) {
    TcpListener listener;
    CComPortEth port;
    port.Init("localhost", listener.Port());
    ASSERT_TRUE(port.Open());
    TcpConnection first = listener.Accept();
    EXPECT_TRUE(port.Open());
    EXPECT_FALSE(listener.Accept(50).Accepted());
    ASSERT_TRUE(port.ReOpen());
    EXPECT_TRUE(first.Ended());
    EXPECT_TRUE(listener.Accept().Accepted());
    EXPECT_TRUE(port.Close());
    EXPECT_TRUE(port.Open());  // the peer stays named
    EXPECT_TRUE(listener.Accept().Accepted());
}

TEST(ComPortEth, WritesEverythingWhateverThePacketSize) {
    TcpListener listener;
    const std::string data = Pattern(5000);
    for (const unsigned int packetSize : {1000U, 1U, 5000U, 57344U, 0U}) {
        CComPortEth port;
        port.Init("127.0.0.1", listener.Port());
        port.SetWPacketSize(packetSize);
        unsigned int err = 9;
        EXPECT_EQ(Put(port, data, err), data.size());  // connects by itself
        EXPECT_EQ(err, 0U);
        TcpConnection peer = listener.Accept();
        EXPECT_EQ(peer.Receive(data.size()), data) << packetSize;
        EXPECT_EQ(Put(port, ""), 0U);
    }
}

TEST(ComPortEth, AReadBringsAtMostWhatItAsks) {
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    ASSERT_TRUE(port.Open());
    TcpConnection peer = listener.Accept();
    peer.Send("abcdef");
    unsigned int err = 9;
    EXPECT_EQ(Get(port, 4, err), "abcd");
    EXPECT_EQ(err, 0U);
    EXPECT_EQ(Get(port, 0, err), "");  // says nothing about the connection
    EXPECT_EQ(Get(port, 4, err), "ef");
    EXPECT_FALSE(listener.Accept(0).Accepted());
}

TEST(ComPortEth, AReadTimeoutClosesAndTheNextWriteConnects) {
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    ASSERT_TRUE(port.Open());
    TcpConnection first = listener.Accept();
    port.SetTimeoutRX(30);  // in force at once, not at the next connection
    LogCapture log;
    unsigned int err = 0;
    EXPECT_LT(MsOf([&] { EXPECT_EQ(Get(port, 10, err), ""); }), 400);
    EXPECT_EQ(err, 1U);
    EXPECT_STREQ(port.szLastError, "EthRead Error");
    EXPECT_TRUE(first.Ended());
    EXPECT_EQ(Put(port, "again"), 5U);
    TcpConnection second = listener.Accept();
    EXPECT_EQ(second.Receive(5), "again");
    EXPECT_EQ(log.Take(), Lines{});
    port.SetTimeoutRX(0);
    EXPECT_LT(MsOf([&] { EXPECT_EQ(Get(port, 10, err), ""); }), 400);  // no wait, not one without end
}

TEST(ComPortEth, TheEndOfAConnectionIsNoErrorAndTheNextReadConnects) {
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    ASSERT_TRUE(port.Open());
    listener.Accept().Close();
    unsigned int err = 9;
    EXPECT_EQ(Get(port, 10, err), "");
    EXPECT_EQ(err, 0U);
    EXPECT_STREQ(port.szLastError, "");
    std::thread answer([&] { listener.Accept().Send("back"); });
    EXPECT_EQ(Get(port, 10, err), "back");
    EXPECT_EQ(err, 0U);
    answer.join();
}

TEST(ComPortEth, APeerThatGoesAwayInTheMiddleOfAWriteIsAnError) {
    std::signal(SIGPIPE, SIG_DFL);  // would end the test
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    port.SetTimeoutTX(100);
    port.SetWPacketSize(57344);
    ASSERT_TRUE(port.Open());
    TcpConnection peer = listener.Accept();
    listener.Close();
    std::thread gone([&] {
        peer.Receive(100000);
        peer.Abort();
    });
    LogCapture log;
    unsigned int err = 0;
    EXPECT_EQ(Put(port, Pattern(32U << 20), err), 0U);
    gone.join();
    EXPECT_EQ(err, 1U);
    EXPECT_STREQ(port.szLastError, "Open Error (Device Error)");
    EXPECT_EQ(log.Take(), (Lines{"[OpenPort]Error in connection()", "[EthWrite]Open Error (Device Error)"}));
}

TEST(ComPortEth, APeerThatHungUpEndsNoProgram) {
    std::signal(SIGPIPE, SIG_DFL);
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    ASSERT_TRUE(port.Open());
    listener.Accept().Close();
    listener.Close();
    unsigned int err = 0;
    EXPECT_EQ(Put(port, Pattern(20000), err),
              0U);  // the first piece still goes out, the next meets a broken pipe
    EXPECT_EQ(err, 1U);
}

TEST(ComPortEth, APeerThatComesBackGetsTheRest) {
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    ASSERT_TRUE(port.Open());
    listener.Accept().Abort();
    unsigned int err = 9;
    EXPECT_EQ(Put(port, "rest", err), 4U);
    EXPECT_EQ(err, 0U);
    EXPECT_EQ(listener.Accept().Receive(4), "rest");
}

TEST(ComPortEth, ASlowPeerIsWaitedForBeyondTheWriteTimeout) {
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    port.SetTimeoutTX(30);
    port.SetWPacketSize(57344);
    ASSERT_TRUE(port.Open());
    TcpConnection peer = listener.Accept();
    const std::string data = Pattern(16U << 20);  // more than the sockets hold
    std::string received;
    std::thread slow([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        received = peer.Receive(data.size());
    });
    unsigned int err = 9;
    EXPECT_EQ(Put(port, data, err), data.size());
    slow.join();
    EXPECT_EQ(err, 0U);
    EXPECT_TRUE(received == data);
}

TEST(ComPortEth, ASignalEndsNoRead) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction was {};
    sigaction(SIGUSR1, &action, &was);
    TcpListener listener;
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    port.SetTimeoutRX(3000);
    ASSERT_TRUE(port.Open());
    TcpConnection peer = listener.Accept();
    const pthread_t reader = pthread_self();
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        pthread_kill(reader, SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        peer.Send("late");
    });
    unsigned int err = 9;
    EXPECT_EQ(Get(port, 10, err), "late");
    EXPECT_EQ(err, 0U);
    other.join();
    sigaction(SIGUSR1, &was, nullptr);
}

TEST(ComPortEth, DescriptorsThatSelectCannotHoldAreRefused) {
    TcpListener listener;
    const HighDescriptors high;
    if (!high.Reached()) GTEST_SKIP() << "the system allows too few descriptors";
    CComPortEth port;
    port.Init("127.0.0.1", listener.Port());
    LogCapture log;
    EXPECT_FALSE(port.Open());
    EXPECT_EQ(log.Take("OpenPort"), Lines{"Timeout or error()"});
}

TEST(ComPortEth, HandshakeAsksFifteenTimes) {
    struct Case {
        int silences;
        bool result;
    };
    for (const Case& c : {Case{3, true}, Case{14, true}, Case{15, false}}) {
        VirtualClock clock;
        TcpListener listener;
        CComPortEth port;
        port.Init("127.0.0.1", listener.Port());
        clock.blockingMs = 5000;
        // The printer hangs up instead of answering, so every attempt comes over a new connection.
        std::thread printer([&] {
            for (int i = 0; i < c.silences; ++i) {
                const std::size_t request = i % 2 == 0 ? 7 + 1 + 3 : 1 + 3;
                TcpConnection attempt = listener.Accept();
                EXPECT_EQ(attempt.Receive(request).substr(request - 4), "\x18\x1D\x49\x01");
            }
            if (!c.result) return;
            TcpConnection last = listener.Accept();
            last.Receive(c.silences % 2 == 0 ? 11 : 4);
            last.Send("\x12");
            EXPECT_EQ(last.Receive(4), "\x18\x1D\x49\x03");
            last.Send("1.00");
        });
        LogCapture log;
        EXPECT_EQ(port.HandshakeCommunication(), c.result);
        printer.join();
        Lines expected(static_cast<std::size_t>(c.result ? c.silences : c.silences - 1),
                       "Read GSI Error... Retry");
        EXPECT_EQ(clock.waits, std::vector<std::uint64_t>(expected.size(), 3000000));
        if (c.result) expected.insert(expected.end(), {"Read GSI OK", "GSI 0x0112 "});
        if (!c.result) expected.push_back("Read GSI Error");
        EXPECT_EQ(log.Take("HandshakeCommunication"), expected);
    }
}

}  // namespace

// The Ethernet port against real sockets on the loopback.
#include "port/ComPortEth.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "harness/Descriptors.h"
#include "harness/LogCapture.h"
#include "harness/TcpPeer.h"
#include "port/TextIo.h"

namespace {

/// A port and what it is connected to.
struct Line {
    Line() {
        port.Init(std::string("localhost").data(), listener.Port());
        EXPECT_TRUE(port.Open());
        peer = listener.Accept();
    }
    TcpListener listener;
    CComPortEth port;
    TcpConnection peer;
    unsigned int err = 9;
};

TEST(ComPortEth, EveryFailureOfAConnectionNamesItself) {
    TcpListener full(0);  // one connection waits to be accepted, and there is room for no more
    CComPortEth waiting[2];
    for (CComPortEth& port : waiting) {
        port.Init(std::string("127.0.0.1").data(), full.Port());
        port.SetTimeoutTX(20);
        port.Open();
    }
    const struct {
        std::string host;
        int port;
        const char* reason;
    } rows[] = {{std::string(5000, 'h'), 9, "Wrong hostname"},
                {"255.255.255.255", 9, "Error to connect socket"},
                {"127.0.0.1", 65536 + full.Port(), "Error to connect socket"},
                {"127.0.0.1", TcpListener().Port(), "Error in connection()"},
                {"127.0.0.1", full.Port(), "Timeout or error()"}};
    const int before = OpenDescriptors();
    for (const auto& row : rows) {
        CComPortEth port;
        EXPECT_TRUE(port.Init(std::string(row.host).data(), row.port));
        port.SetTimeoutTX(30);  // bounds the connecting too
        LogCapture log;
        unsigned int err = 0;
        EXPECT_FALSE(port.Open());
        EXPECT_STREQ(port.szLastError, "Open ETH Device Error");
        EXPECT_EQ(Put(port, "x", err), 0U);
        EXPECT_EQ(Get(port, 10, err), "");
        const std::string reason = std::string("[OpenPort]") + row.reason;
        EXPECT_EQ(log.Take(),
                  (Lines{reason, "[Open]Open ETH Device Error", reason, "[EthWrite]Open Error (Device Error)",
                         reason, "[EthRead]Open Error (Device Error)"}));
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(ComPortEth, WritesEverythingAndReadsAtMostWhatItAsks) {
    Line line;
    const std::string data = Pattern(5000);
    for (const unsigned int packetSize : {1000U, 1U, 0U}) {
        line.port.SetWPacketSize(packetSize);
        EXPECT_EQ(Put(line.port, data, line.err), data.size());
        EXPECT_EQ(line.err, 0U);
        EXPECT_EQ(line.peer.Receive(data.size()), data) << packetSize;
    }
    line.peer.Send("abcdef");
    EXPECT_EQ(Get(line.port, 4, line.err), "abcd");
    EXPECT_EQ(Get(line.port, 0, line.err), "");  // says nothing about the connection
    EXPECT_EQ(Get(line.port, 4, line.err), "ef");
    EXPECT_EQ(line.err, 0U);
    EXPECT_FALSE(line.listener.Accept(0).Accepted());
}

TEST(ComPortEth, AReadTimeoutClosesAndTheNextWriteConnects) {
    Line line;
    LogCapture log;
    line.port.SetTimeoutRX(60);        // in force at once, not at the next connection
    std::signal(SIGALRM, [](int) {});  // a signal ends no read
    const itimerval soon{{}, {0, 20000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(Get(line.port, 10, line.err), "");
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(55));
    EXPECT_EQ(line.err, 1U);
    EXPECT_STREQ(line.port.szLastError, "EthRead Error");
    EXPECT_TRUE(line.peer.Ended());
    EXPECT_EQ(Put(line.port, "again", line.err), 5U);
    line.peer = line.listener.Accept();
    EXPECT_EQ(line.peer.Receive(5), "again");
    EXPECT_EQ(log.Take(), Lines{});
    line.port.SetTimeoutRX(-1);
    EXPECT_EQ(Get(line.port, 10, line.err), "");  // no wait, not one without end
}

TEST(ComPortEth, TheEndOfAConnectionIsNoErrorAndWhatFollowsConnects) {
    Line line;
    line.peer.Close();
    EXPECT_EQ(Get(line.port, 10, line.err), "");
    EXPECT_EQ(line.err, 0U);
    EXPECT_STREQ(line.port.szLastError, "");
    std::thread answer([&] { (line.peer = line.listener.Accept()).Send("back"); });
    EXPECT_EQ(Get(line.port, 10, line.err), "back");
    answer.join();
    EXPECT_TRUE(line.port.Open());  // is open
    EXPECT_FALSE(line.listener.Accept(20).Accepted());
    EXPECT_TRUE(line.port.ReOpen());
    EXPECT_TRUE(line.peer.Ended());
    EXPECT_TRUE(line.listener.Accept().Accepted());
    EXPECT_TRUE(line.port.Close() && line.port.Open());  // the peer stays named
    EXPECT_TRUE(line.listener.Accept().Accepted());
}

TEST(ComPortEth, AWriteThatBreaksFailsAndTheNextConnects) {
    std::signal(SIGPIPE, SIG_DFL);  // would end the test
    Line line;
    EXPECT_EQ(Put(line.port, "bytes", line.err), 5U);
    EXPECT_TRUE(line.port.Drain());
    EXPECT_EQ(line.peer.Receive(5), "bytes");
    line.peer.Close();
    EXPECT_TRUE(line.port.Drain());  // acknowledged is arrived, whatever the peer does then
    EXPECT_STREQ(line.port.szLastError, "");
    LogCapture log;
    // The first piece still goes out, the next meets a broken pipe.
    EXPECT_EQ(Put(line.port, Pattern(20000), line.err), 0U);
    EXPECT_EQ(line.err, 1U);
    EXPECT_STREQ(line.port.szLastError, "EthWrite Error");
    EXPECT_FALSE(line.listener.Accept(0).Accepted());
    EXPECT_FALSE(line.port.Drain());
    EXPECT_EQ(Put(line.port, "again", line.err), 5U);
    EXPECT_EQ(line.listener.Accept().Receive(5), "again");
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(ComPortEth, ASlowPeerIsWaitedForBeyondTheWriteTimeout) {
    Line line;
    line.port.SetTimeoutTX(10);
    const std::string data = Pattern(16U << 20);  // more than the sockets hold
    std::string received;
    std::thread slow([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(80));
        received = line.peer.Receive(data.size());
    });
    line.port.SetWPacketSize(57344);
    EXPECT_EQ(Put(line.port, data, line.err), data.size());
    slow.join();
    EXPECT_TRUE(received == data);
}

}  // namespace

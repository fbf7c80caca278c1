// The Ethernet port against real sockets on the loopback.
#include "port/ComPortEth.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

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
    CComPortEth waiting;
    waiting.Init(std::string("127.0.0.1").data(), full.Port());
    waiting.Open();
    const struct {
        std::string host;
        int port;
        const char* reason;
    } rows[] = {{std::string(5000, 'h'), 9, "Wrong hostname"},
                {"127.0.0.1", 65536, "Error to connect socket"},
                {"127.0.0.1", 65535, "Error in connection()"},
                {"127.0.0.1", TcpListener().Port(), "Error in connection()"},
                {"127.0.0.1", full.Port(), "Timeout or error()"}};
    for (const auto& row : rows) {
        CComPortEth port;
        EXPECT_TRUE(port.Init(std::string(row.host).data(), row.port));
        port.SetTimeoutTX(30);  // bounds the connecting too
        LogCapture log;
        EXPECT_FALSE(port.Open() || port.ReOpen());
        EXPECT_STREQ(port.szLastError, "Open ETH Device Error");
        EXPECT_EQ(log.Take("OpenPort"), (Lines{row.reason, row.reason}));
    }
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
}

TEST(ComPortEth, AReadTimeoutClosesAndTheNextWriteConnects) {
    Line line;
    line.port.SetTimeoutRX(60);  // in force at once, not at the next connection
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(Get(line.port, 10, line.err), "");
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(55));
    EXPECT_EQ(line.err, 1U);
    EXPECT_STREQ(line.port.szLastError, "EthRead Error");
    EXPECT_TRUE(line.peer.Ended());
    EXPECT_EQ(Put(line.port, "again", line.err), 5U);
    line.peer = line.listener.Accept();
    EXPECT_EQ(line.peer.Receive(5), "again");
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
    EXPECT_TRUE(line.port.ReOpen());
    EXPECT_TRUE(line.peer.Ended());
}

TEST(ComPortEth, AWriteThatBreaksFailsAndTheNextConnects) {
    std::signal(SIGPIPE, SIG_DFL);  // would end the test
    Line line;
    EXPECT_EQ(Put(line.port, "bytes", line.err), 5U);
    EXPECT_TRUE(line.port.Drain());
    EXPECT_EQ(line.peer.Receive(5), "bytes");
    line.peer.Close();
    // The first piece still goes out, the next meets a broken pipe.
    EXPECT_EQ(Put(line.port, Pattern(20000), line.err), 0U);
    EXPECT_EQ(line.err, 1U);
    EXPECT_STREQ(line.port.szLastError, "EthWrite Error");
    EXPECT_EQ(Put(line.port, "again", line.err), 5U);
    EXPECT_EQ(line.listener.Accept().Receive(5), "again");
    EXPECT_FALSE(CComPortEth().Drain());  // nothing arrives over what is closed
}

}  // namespace

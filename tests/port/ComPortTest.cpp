// What every kind of port shares: settings, packets, answers, the status handshake.
#include "port/ComPort.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/VirtualClock.h"
#include "port/ComPortEth.h"
#include "port/ComPortRs232.h"
#include "port/ComPortUsb.h"
#include "port/TextIo.h"

namespace {

/// Reads bring the texts of a queue one by one, whatever they ask; an empty text, and an empty queue, are a
/// time-out. Writes are kept.
class QueuePort final : public CComPort {
 public:
    explicit QueuePort(std::deque<std::string> texts = {}) : answers(std::move(texts)) {}
    using CComPort::Write;
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override {
        writes.emplace_back(buf, buf + len);
        const bool fails = writes.size() == failingWrite;
        *err = fails ? failure : 0;
        return fails ? len - 1 : len;
    }
    unsigned int Read(unsigned char* buf, unsigned int, unsigned int* err) override {
        ++reads;
        *err = 0;
        if (answers.empty()) answers.push_back(endless);
        const std::string text = answers.front();
        answers.pop_front();
        std::copy(text.begin(), text.end(), buf);
        return static_cast<unsigned int>(text.size());
    }
    /// What ReadProtocollData brings, nothing without an answer.
    std::string Answer() {
        int length = -1;
        unsigned char* const answer = ReadProtocollData(&length);
        const std::string text(answer, answer + length);
        std::free(answer);
        return text;
    }
    bool HandshakeCommunication() override { return RunHandshake({5, 1500, true}); }

    VirtualClock clock;
    std::deque<std::string> answers;
    std::string endless;  ///< what reads bring after that
    Lines writes;
    std::size_t failingWrite = 0;  ///< counted from 1, takes one byte less and reports `failure`
    unsigned int failure = 0;
    int reads = 0;
};

TEST(EveryKind, FailsWhileItIsClosedAndAsksForTheStatusAsOftenAsItsKindDoes) {
    CComPortEth eth;
    CComPortRs232 serial;
    CComPortUsb usb(1);
    const std::vector<std::uint64_t> fourWaits(4, 1500000);
    const struct {
        CComPort& port;
        unsigned int packetSize;
        int timeout;
        std::vector<std::uint64_t> waits;
    } rows[] = {{eth, 1000, 500, std::vector<std::uint64_t>(14, 3000000)},
                {serial, 1000, 1000, fourWaits},
                {usb, 64, 1000, fourWaits}};
    for (const auto& row : rows) {
        VirtualClock clock;
        EXPECT_EQ(row.port.GetTimeoutTX(), row.timeout);
        EXPECT_EQ(row.port.GetTimeoutRX(), row.timeout);
        EXPECT_EQ(row.port.GetWPacketSize(), row.packetSize);
        unsigned int errs[2] = {};
        EXPECT_EQ(Put(row.port, "x", errs[0]), 0U);
        EXPECT_EQ(Get(row.port, 10, errs[1]), "");
        EXPECT_EQ(errs[0] * errs[1], 1U);
        EXPECT_FALSE(row.port.HandshakeCommunication());
        EXPECT_EQ(clock.waits, row.waits);
    }
    // Without a descriptor none can be had.
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{3, usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_TRUE(eth.Init(std::string("127.0.0.1").data(), 9));
    EXPECT_TRUE(serial.Init(std::string("/dev/null").data(), 9600, 1));
    EXPECT_FALSE(eth.Open() || serial.Open() || usb.InitWithVid(std::string("F0F0").data()));
    setrlimit(RLIMIT_NOFILE, &usual);
}

TEST(WritePackets, CutsPausesAndStopsAtTheFirstShortWrite) {
    const struct {
        unsigned int length;
        int wait, packetSize;
        unsigned int failure;  // of the third write, short in any case
        std::size_t packets;
        unsigned int err;
        std::uint64_t waited;
    } rows[] = {{0, 5, 10, 0, 1, 0, 5},   {20, 5, 10, 0, 2, 0, 10}, {11, -1, 10, 0, 2, 0, 0},
                {40, 5, 10, 7, 3, 7, 10}, {40, 5, 10, 0, 3, 1, 10},  // short is a failure, reported or not
                {40, 5, 0, 0, 0, 1, 0}};                             // would never end
    for (const auto& row : rows) {
        QueuePort port;
        port.failingWrite = 3;
        port.failure = row.failure;
        const std::string data = Pattern(40);
        unsigned int err = 9;
        EXPECT_EQ(port.WritePackets(reinterpret_cast<const unsigned char*>(data.data()), row.length, row.wait,
                                    row.packetSize, &err),
                  row.err != 0 ? 0 : row.length);
        EXPECT_EQ(err, row.err);
        const std::string written = Joined(port.writes, "");
        EXPECT_EQ(written, data.substr(0, written.size()));
        EXPECT_EQ(port.writes.size(), row.packets);
        EXPECT_EQ(port.clock.WaitedUs(), row.waited * 1000);
    }
}

TEST(ReadAll, CollectsExactlyWhatWasAskedUntilItsTimeoutWithoutSpinning) {
    const struct {
        std::deque<std::string> answers;
        std::string got;
        int turns, reads;  // of its time-out; made
    } rows[] = {{{"ab", "c", "de"}, "abcde", 9, 3},
                {{"ab", "cdefgh"}, "abcde", 9, 2},  // what is beyond is dropped
                {{"abc"}, "abc", 9, 10},
                {{}, "", 10, 10},
                {{}, "", 0, 1}};
    for (const auto& row : rows) {
        QueuePort port(row.answers);
        char buffer[8] = "#######";
        unsigned int err = 9;
        EXPECT_EQ(port.ReadAll(reinterpret_cast<unsigned char*>(buffer), 5,
                               row.turns * static_cast<int>(ReadPacer::kTurnMs), &err),
                  row.got.size());
        EXPECT_EQ(buffer, row.got + std::string(7 - row.got.size(), '#'));
        EXPECT_EQ(err, row.got.size() < 5 ? 1U : 0U);
        EXPECT_EQ(port.reads, row.reads);
    }
}

TEST(ReadProtocollData, EndsAtTheEndOfTheAnswerOrAtTheThirdEmptyRead) {
    std::vector<std::pair<std::deque<std::string>, std::string>> rows{
        // What one read brought is judged as a whole: the marker outweighs the ETX before it.
        {{"\x03<DATABYTES>", "</DATABYTES>", "\x03"}, "\x03<DATABYTES></DATABYTES>\x03"},
        {{"</DATABYTES>\x03 and more"}, "</DATABYTES>\x03 and more"},
        {{"", "", "ab", "\x03"}, "ab\x03"},
        {{"", "<DATABYTES>\x03", "", "</DATABYTES>", "", "\x03"}, ""}};
    const std::string answer = "\x02<A><DATABYTES>\x03\x03</DATABYTE\x03</DATABYTES>.\x03";
    rows.push_back({{}, answer});
    for (std::size_t i = 0; i < answer.size(); ++i) {
        rows.push_back({{answer.substr(0, i), answer.substr(i)}, answer});
        rows[4].first.push_back(answer.substr(i, 1));
    }
    for (const auto& [reads, expected] : rows) {
        QueuePort port(reads);
        EXPECT_EQ(port.Answer(), expected);
    }
    QueuePort port;
    port.endless = std::string(1024, 'x');
    EXPECT_EQ(port.Answer(), "");
    EXPECT_EQ(port.reads, 16 * 1024);  // 16 MiB
}

TEST(Handshake, AsksUntilAnsweredThenForTheRelease) {
    const std::pair<std::deque<std::string>, std::string> rows[] = {
        // what comes, the last line that is logged
        {{std::string("\0w", 2), "1.00"}, "GSI 0x0100 "},
        {{"\xFF", "\x12\x34", "1.00"}, "GSI 0x1234 "},
        {{"\xFF", ""}, "Read GSI FF Error"},
        {{"\x12", ""}, "Read FW Release Error"},
        {{"", "", "", "", "\x12", "1.00"}, "GSI 0x0112 "},
        {{}, "Read GSI Error"}};
    for (const auto& [answers, last] : rows) {
        QueuePort port(answers);
        LogCapture log;
        EXPECT_EQ(port.HandshakeCommunication(), last[0] == 'G') << last;
        EXPECT_EQ(log.Take("HandshakeCommunication").back(), last);
        EXPECT_EQ(std::count(port.writes.begin(), port.writes.end(), "\x1C<EPOS>"),
                  static_cast<int>(port.clock.waits.size() / 2 + 1));
    }
}

}  // namespace

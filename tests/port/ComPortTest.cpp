// What every kind of port shares: settings, packets, answers, the status handshake.
#include "port/ComPort.h"

#include <gtest/gtest.h>
#include <sys/select.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/VirtualClock.h"
#include "port/PortWaits.h"
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
        clock.Advance(msPerRead);
        if (answers.empty()) answers.push_back(endless);
        const std::string text = answers.front();
        answers.pop_front();
        std::copy(text.begin(), text.end(), buf);
        return static_cast<unsigned int>(text.size());
    }
    bool HandshakeCommunication() override { return RunHandshake({5, 1500, false}); }

    VirtualClock clock;
    std::deque<std::string> answers;
    std::string endless;  ///< what reads bring after that
    unsigned int msPerRead = 0;
    Lines writes;
    std::size_t failingWrite = 0;  ///< counted from 1, takes one byte less and reports `failure`
    unsigned int failure = 0;
    int reads = 0;
};

TEST(CommPortSettings, IsValidWhenTheDeviceOfItsTypeIsNamed) {
    constexpr int kDeviceOf[] = {-1, 0, 1, 2, 2, -1};  // of the types -1 to 4
    for (int row = 0; row < 18; ++row) {
        CommPortSettings settings;
        settings.type = static_cast<COMMPORTTYPE>(row / 3 - 1);
        char* const devices[] = {settings.szSerDevice, settings.szEthAddress, settings.szUsbDevice};
        devices[row % 3][0] = 'x';
        EXPECT_EQ(settings.IsValid(), kDeviceOf[row / 3] == row % 3) << row;
        EXPECT_EQ(settings.bValid, kDeviceOf[row / 3] == row % 3) << row;
    }
}

TEST(ReadPacer, WaitsForTheRestOfAnEmptyTurn) {
    VirtualClock clock;
    ReadPacer pacer;
    clock.Advance(5);
    pacer.AfterRead(0);
    clock.Advance(ReadPacer::kTurnMs);
    pacer.AfterRead(0);
    pacer.AfterRead(1);
    EXPECT_EQ(clock.waits, std::vector<std::uint64_t>{(ReadPacer::kTurnMs - 5) * 1000});
    // What select cannot hold is not waited for.
    EXPECT_FALSE(WaitForDescriptor(FD_SETSIZE, DescriptorEvent::Writable, 0));
    EXPECT_FALSE(WaitForDescriptor(-1, DescriptorEvent::Writable, 0));
}

TEST(WritePackets, CutsPausesAndStopsAtTheFirstShortWrite) {
    const struct {
        unsigned int length;
        int wait, packetSize;
        unsigned int failure;  // of the third write, short in any case
        std::vector<std::size_t> packets;
        unsigned int err;
        std::uint64_t waited;
    } rows[] = {{0, 5, 10, 0, {0}, 0, 5},
                {20, 5, 10, 0, {10, 10}, 0, 10},
                {11, -1, 10, 0, {10, 1}, 0, 0},
                {40, 5, 10, 7, {10, 10, 10}, 7, 10},
                {40, 5, 10, 0, {10, 10, 10}, 1, 10},  // short is a failure, reported or not
                {40, 5, 0, 0, {}, 1, 0}};             // would never end
    for (const auto& row : rows) {
        QueuePort port;
        port.failingWrite = 3;
        port.failure = row.failure;
        port.uiWPacketSize = 1000;
        const std::string data = Pattern(40);
        unsigned int err = 9;
        EXPECT_EQ(port.WritePackets(reinterpret_cast<const unsigned char*>(data.data()), row.length, row.wait,
                                    row.packetSize, &err),
                  row.err != 0 ? 0 : row.length);
        EXPECT_EQ(err, row.err);
        std::vector<std::size_t> packets;
        std::string written;
        for (const std::string& packet : port.writes) {
            packets.push_back(packet.size());
            written += packet;
        }
        EXPECT_EQ(written, data.substr(0, written.size()));
        EXPECT_EQ(packets, row.packets);
        EXPECT_EQ(port.clock.WaitedUs(), row.waited * 1000);
        EXPECT_EQ(port.uiWPacketSize, 1000U);
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

/// What ReadProtocollData brings; "null" for nothing.
std::string ProtocolAnswer(QueuePort& port) {
    int length = -1;
    const std::unique_ptr<unsigned char, decltype(&std::free)> answer(port.ReadProtocollData(&length),
                                                                      &std::free);
    if (answer == nullptr) return length == 0 ? "null" : "null with a length";
    return {answer.get(), answer.get() + length};
}
std::string AnswerOf(const std::deque<std::string>& reads) {
    QueuePort port(reads);
    return ProtocolAnswer(port);
}

TEST(ReadProtocollData, EndsAtTheEndOfTheAnswerOrAtTheThirdEmptyRead) {
    for (const std::string answer :
         {"\x02<A>1<B>\x03", "\x02<A><DATABYTES>\x03\x03</DATABYTE\x03</DATABYTES>.\x03"}) {
        std::deque<std::string> bytes;
        for (std::size_t i = 0; i < answer.size(); ++i) {
            EXPECT_EQ(AnswerOf({answer.substr(0, i), answer.substr(i)}), answer) << i;
            bytes.push_back(answer.substr(i, 1));
        }
        EXPECT_EQ(AnswerOf(bytes), answer);
    }
    const std::pair<std::deque<std::string>, const char*> rows[] = {
        // What one read brought is judged as a whole: the marker outweighs the ETX before it.
        {{"\x03<DATABYTES>", "</DATABYTES>", "\x03"}, "\x03<DATABYTES></DATABYTES>\x03"},
        {{"</DATABYTES>\x03 and more"}, "</DATABYTES>\x03 and more"},
        {{"", "", "ab", "\x03"}, "ab\x03"},
        {{"", "<DATABYTES>\x03", "", "</DATABYTES>", "", "\x03"}, "null"}};
    for (const auto& [reads, answer] : rows) EXPECT_EQ(AnswerOf(reads), answer);
    for (const unsigned int ms : {0U, 300U}) {
        QueuePort port;
        port.endless = std::string(1024, 'x');
        port.msPerRead = ms;
        EXPECT_EQ(ProtocolAnswer(port), "null");
        EXPECT_EQ(port.reads, ms == 0 ? 16 * 1024 : 2000);  // 16 MiB, or ten minutes
    }
}

TEST(Handshake, AsksUntilAnsweredThenForTheRelease) {
    const struct {
        std::size_t silences;             // attempts without an answer
        std::deque<std::string> answers;  // to the questions after them
        std::string last;                 // of what is logged
    } rows[] = {{0, {std::string("\0w", 2), "1.00"}, "GSI 0x0100 "},
                {0, {"\xFF", "\x12\x34", "1.00"}, "GSI 0x1234 "},
                {0, {"\xFF", "\x12", "1.00"}, "GSI 0x1200 "},
                {0, {"\xFF", ""}, "Read GSI FF Error"},
                {0, {"\x12", ""}, "Read FW Release Error"},
                {4, {"\x12", "1.00"}, "GSI 0x0112 "},
                {5, {}, "Read GSI Error"}};
    for (const auto& row : rows) {
        QueuePort port(row.answers);
        LogCapture log;
        for (std::size_t i = 0; i < row.silences; ++i) port.answers.emplace_front();
        EXPECT_EQ(port.HandshakeCommunication(), row.last[0] == 'G') << row.last;
        EXPECT_EQ(log.Take("HandshakeCommunication").back(), row.last);
        const std::size_t pauses = std::min<std::size_t>(row.silences, 4);
        EXPECT_EQ(port.clock.waits, std::vector<std::uint64_t>(pauses, 1500000));
        EXPECT_EQ(std::count(port.writes.begin(), port.writes.end(), "\x1C<EPOS>"),
                  static_cast<int>(pauses / 2 + 1));
    }
}

}  // namespace

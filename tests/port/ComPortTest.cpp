// What every kind of port shares: settings, packets, answers, the status handshake.
#include "port/ComPort.h"

#include <gtest/gtest.h>
#include <sys/select.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/ScriptedPort.h"
#include "harness/VirtualClock.h"
#include "port/DescriptorWait.h"
#include "port/ReadPacer.h"

namespace {

/// Reads bring nothing, at once, or bytes without end.
class RawPort final : public CComPort {
 public:
    explicit RawPort(bool endless) : endless_(endless) {}
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int*) override {
        ++reads;
        if (slowly != nullptr) slowly->Advance(300);
        std::fill_n(buf, endless_ ? len : 0, static_cast<unsigned char>('x'));
        return endless_ ? len : 0;
    }
    int reads = 0;
    VirtualClock* slowly = nullptr;  ///< each read takes 300 ms of this clock

 private:
    const bool endless_;
};

TEST(CommPortSettings, IsValidWhenTheDeviceOfItsTypeIsNamed) {
    constexpr int kDeviceOf[] = {-1, 0, 1, 2, 2, -1};  // of the types -1 to 4
    for (int type = -1; type <= 4; ++type) {
        for (int named = 0; named < 3; ++named) {
            CommPortSettings settings;
            settings.type = static_cast<COMMPORTTYPE>(type);
            char* const devices[] = {settings.szSerDevice, settings.szEthAddress, settings.szUsbDevice};
            devices[named][0] = 'x';
            const bool valid = kDeviceOf[type + 1] == named;
            settings.bValid = !valid;
            EXPECT_EQ(settings.IsValid(), valid) << type << " " << named;
            EXPECT_EQ(settings.bValid, valid);
        }
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
}

TEST(DescriptorWait, RefusesWhatSelectCannotHold) {
    EXPECT_FALSE(WaitForDescriptor(FD_SETSIZE, DescriptorEvent::Writable, 0));
    EXPECT_FALSE(WaitForDescriptor(-1, DescriptorEvent::Writable, 0));
}

TEST(WritePackets, CutsPausesAndStopsAtTheFirstShortWrite) {
    const struct {
        unsigned int length, err;
        int wait, failure;  // failure: what the write after the expected ones reports; -1 when there is none
        std::vector<std::size_t> packets;
        const char* line;
    } rows[] = {{0, 0, 5, -1, {0}, "End"},
                {30, 0, 5, -1, {10, 10, 10}, "End"},
                {31, 0, 0, -1, {10, 10, 10, 1}, "End"},
                {11, 0, -1, -1, {10, 1}, "End"},
                {20, 7, 5, 7, {10, 10, 10}, "Error Write (7)"},
                {20, 1, 5, 0, {10, 10, 10}, "Error Write (0)"}};  // short is a failure, reported or not
    for (const auto& row : rows) {
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        Bytes data(row.length, 0x5A);
        if (row.length != 0) port.Expect(data);
        if (row.failure >= 0) port.FailWrite(row.failure, 9);
        data.resize(row.failure >= 0 ? 40 : row.length);
        unsigned int err = 9;
        EXPECT_EQ(port.WritePackets(data.data(), static_cast<unsigned int>(data.size()), row.wait, 10, &err),
                  row.failure >= 0 ? 0 : row.length);
        EXPECT_EQ(err, row.err);
        std::vector<std::size_t> packets;
        for (const ScriptedPort::Sent& sent : port.sent) {
            packets.push_back(sent.bytes.size());
            EXPECT_EQ(sent.uiWPacketSize, 10U);
        }
        EXPECT_EQ(packets, row.packets);
        EXPECT_EQ(clock.WaitedUs(), row.wait < 1 ? 0U : (packets.size() - (row.err != 0 ? 1 : 0)) * 5000);
        EXPECT_EQ(port.uiWPacketSize, 1000U);
        EXPECT_EQ(log.Take("WritePackets"), (Lines{"Begin", row.line}));
    }
    unsigned int err = 0;
    EXPECT_EQ(ScriptedPort().WritePackets(BytesOf("ab").data(), 2, 0, 0, &err), 0U);  // no endless loop
    EXPECT_EQ(err, 1U);
}

TEST(ReadAll, CollectsExactlyWhatWasAsked) {
    const struct {
        std::vector<const char*> answers;
        std::string got;
    } rows[] = {{{"ab", "c", "de"}, "abcde"}, {{"ab", "cdefgh"}, "abcde"}, {{"abc"}, "abc"}, {{}, ""}};
    for (const auto& row : rows) {
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        port.bReadsWhole = true;  // a serial line brings more than is asked
        for (const char* answer : row.answers) port.Answer(answer);
        port.SilenceUntilAsked();
        char buffer[8] = "#######";
        unsigned int err = 9;
        EXPECT_EQ(port.ReadAll(reinterpret_cast<unsigned char*>(buffer), 5, 1200, &err), row.got.size());
        EXPECT_EQ(buffer, row.got + std::string(7 - row.got.size(), '#'));
        const bool isShort = row.got.size() < 5;
        EXPECT_EQ(err, isShort ? 1U : 0U);
        Lines lines{"Begin", "End"};
        if (isShort) lines.push_back("Read Only " + std::to_string(row.got.size()) + " Bytes of 5");
        EXPECT_EQ(log.Take("ReadAll"), lines);
    }
}

TEST(ReadAll, EndsByItsOwnTimeoutWithoutSpinning) {
    for (const int turns : {0, 1, 10}) {
        VirtualClock clock;
        RawPort port(false);
        unsigned char buffer[4];
        unsigned int err = 0;
        EXPECT_EQ(port.ReadAll(buffer, 4, turns * static_cast<int>(ReadPacer::kTurnMs), &err), 0U);
        EXPECT_EQ(port.reads, std::max(turns, 1));
    }
}

/// What ReadProtocollData brings; "null" for nothing.
std::string ProtocolAnswer(CComPort& port) {
    int length = -1;
    const std::unique_ptr<unsigned char, decltype(&std::free)> answer(port.ReadProtocollData(&length),
                                                                      &std::free);
    if (answer == nullptr) return length == 0 ? "null" : "null with a length";
    return {answer.get(), answer.get() + length};
}

/// The same of a port whose reads bring these texts one by one, an empty one being a time-out.
std::string AnswerOf(const Lines& reads) {
    VirtualClock clock;
    ScriptedPort port(&clock);
    for (const std::string& read : reads) read.empty() ? port.Silence() : port.Answer(read);
    return ProtocolAnswer(port);
}

TEST(ReadProtocollData, EndsAtTheEndOfTheAnswer) {
    const std::string plain = "\x02<A>1<B>\x03";
    const std::string data = "\x02<A><DATABYTES>\x03\x03</DATABYTE\x03</DATABYTES>.\x03";
    for (const std::string& answer : {plain, data}) {
        Lines bytes;
        for (std::size_t i = 0; i < answer.size(); ++i) {
            EXPECT_EQ(AnswerOf({answer.substr(0, i), answer.substr(i)}), answer) << i;
            bytes.push_back(answer.substr(i, 1));
        }
        EXPECT_EQ(AnswerOf(bytes), answer);
    }
    // What one read brought is judged as a whole: the marker outweighs the ETX before it.
    EXPECT_EQ(AnswerOf({"\x03<DATABYTES>", "</DATABYTES>", "\x03"}), "\x03<DATABYTES></DATABYTES>\x03");
    EXPECT_EQ(AnswerOf({"</DATABYTES>\x03 and more"}), "</DATABYTES>\x03 and more");
}

TEST(ReadProtocollData, GivesUpAtTheThirdEmptyRead) {
    LogCapture log;
    EXPECT_EQ(AnswerOf({"", "", "ab", "\x03"}), "ab\x03");
    EXPECT_EQ(log.Take(), (Lines{"[ReadProtocollData]Begin", "[ReadProtocollData]End"}));
    EXPECT_EQ(AnswerOf({"", "<DATABYTES>\x03", "", "</DATABYTES>", ""}), "null");
    EXPECT_EQ(log.Take(), Lines{"[ReadProtocollData]Begin"});
}

TEST(ReadProtocollData, BoundsAnAnswerThatNeverEnds) {
    RawPort port(true);
    EXPECT_EQ(ProtocolAnswer(port), "null");
    EXPECT_EQ(port.reads, 16 * 1024);  // looking at all 16 MiB after each read would take minutes
    VirtualClock clock;
    RawPort dripping(true);
    dripping.slowly = &clock;
    EXPECT_EQ(ProtocolAnswer(dripping), "null");
    EXPECT_EQ(dripping.reads, 2000);  // ten minutes
}

TEST(Handshake, AsksUntilAnsweredThenForTheRelease) {
    const std::string retry = "Read GSI Error... Retry";
    const struct {
        int silences;          // attempts without an answer
        Bytes status;          // empty: none comes
        const char* extended;  // the answer to the question that a status of 0xFF leads to; null: not asked
        const char* release;   // null: not asked
        Lines log;
    } rows[] = {{0, {0xFE}, nullptr, "1.00", {"GSI 0x01fe "}},
                {0, {0x00, 0x77}, nullptr, "1.00", {"GSI 0x0100 "}},
                {0, {0xFF}, "\x12\x34", "1.00", {"GSI 0x1234 "}},
                {0, {0xFF}, "\x12", "1.00", {"GSI 0x1200 "}},
                {0, {0xFF}, "", nullptr, {"Read GSI FF Error"}},
                {0, {0x12}, nullptr, "", {"GSI 0x0112 ", "Read FW Release Error"}},
                {3, {0x12}, nullptr, "1.00", {retry, retry, retry, "GSI 0x0112 "}},
                {4, {0x12}, nullptr, "1.00", {retry, retry, retry, retry, "GSI 0x0112 "}},
                {5, {}, nullptr, nullptr, {retry, retry, retry, retry, "Read GSI Error"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.log.back());
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        port.bHandshakeOnTheWire = true;
        const auto answer = [&port](const std::string& text) {
            text.empty() ? port.Silence() : port.Answer(text);
        };
        const int attempts = row.silences + (row.status.empty() ? 0 : 1);
        for (int i = 0; i < attempts; ++i) {
            if (i % 2 == 0) port.Expect("\x1C<EPOS>");
            port.Expect("\x18\x1DI\x01");
            answer(i < row.silences ? "" : std::string(row.status.begin(), row.status.end()));
        }
        if (row.extended != nullptr) answer((port.Expect("\x18\x1DI\xFF"), row.extended));
        if (row.release != nullptr) answer((port.Expect("\x18\x1DI\x03"), row.release));
        EXPECT_EQ(port.HandshakeCommunication(), row.release != nullptr && *row.release != '\0');
        EXPECT_EQ(log.Take("HandshakeCommunication"), row.log);
        EXPECT_EQ(clock.waits, std::vector<std::uint64_t>(static_cast<std::size_t>(attempts - 1), 1500000));
        EXPECT_EQ(port.Calls("CleanRX"), attempts);
    }
}

}  // namespace

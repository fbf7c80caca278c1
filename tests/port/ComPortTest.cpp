// What every kind of port shares: settings, packets, answers, the status handshake; and the two test ports.
#include "port/ComPort.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "harness/FaultPort.h"
#include "harness/LogCapture.h"
#include "harness/ScriptedPort.h"
#include "harness/VirtualClock.h"
#include "port/PortSettingsGuard.h"
#include "port/ReadPacer.h"

namespace {

using Lines = std::vector<std::string>;

class BarePort final : public CComPort {
 public:
    /// Reads come from here; the default reads nothing.
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int*) override {
        ++reads;
        if (!endless) return 0;
        std::fill(buf, buf + len, static_cast<unsigned char>('x'));
        return len;
    }
    int reads = 0;
    bool endless = false;
};

TEST(CommPortSettings, IsValidWhenTheDeviceOfItsTypeIsNamed) {
    struct Case {
        int type;
        bool valid;
        const char *serial, *ethernet, *usb;
    };
    const Case cases[] = {{-1, false, "s", "e", "u"}, {0, true, "s", "", ""},   {0, false, "", "e", "u"},
                          {1, true, "", "e", ""},     {1, false, "s", "", "u"}, {2, true, "", "", "u"},
                          {2, false, "s", "e", ""},   {3, true, "", "", "u"},   {3, false, "s", "e", ""},
                          {4, false, "s", "e", "u"}};
    for (const Case& c : cases) {
        CommPortSettings settings;
        settings.type = static_cast<COMMPORTTYPE>(c.type);
        settings.bValid = !c.valid;
        std::snprintf(settings.szSerDevice, sizeof(settings.szSerDevice), "%s", c.serial);
        std::snprintf(settings.szEthAddress, sizeof(settings.szEthAddress), "%s", c.ethernet);
        std::snprintf(settings.szUsbDevice, sizeof(settings.szUsbDevice), "%s", c.usb);
        EXPECT_EQ(settings.IsValid(), c.valid) << c.type;
        EXPECT_EQ(settings.bValid, c.valid) << c.type;
    }
}

TEST(PortSettingsGuard, PutsBackUnlessDismissed) {
    ScriptedPort port;
    const auto change = [&](int value) {
        port.uiTimeoutTX = port.uiTimeoutRX = port.uiWPacketSize = static_cast<unsigned int>(value);
    };
    {
        PortSettingsGuard guard(port);
        change(1);
        guard.Restore();
        EXPECT_EQ(port.uiWPacketSize, 1000U);
        change(2);
    }
    EXPECT_EQ(port.uiTimeoutTX, 500U);
    EXPECT_EQ(port.uiTimeoutRX, 500U);
    EXPECT_EQ(port.uiWPacketSize, 1000U);
    {
        PortSettingsGuard guard(port);
        change(3);
        guard.Dismiss();
    }
    EXPECT_EQ(port.uiTimeoutTX + port.uiTimeoutRX + port.uiWPacketSize, 9U);
}

TEST(ReadPacer, OnlyTurnsThatBroughtNothingAtOnceWait) {
    VirtualClock clock;
    ReadPacer pacer;
    pacer.AfterRead(1);
    clock.Advance(ReadPacer::kTurnMs);
    pacer.AfterRead(0);
    EXPECT_EQ(clock.WaitedUs(), 0U);
    clock.Advance(5);
    pacer.AfterRead(0);
    EXPECT_EQ(clock.WaitedUs(), (ReadPacer::kTurnMs - 5) * 1000U);
    pacer.AfterRead(0);
    EXPECT_EQ(clock.waits.back(), ReadPacer::kTurnMs * 1000U);
    clock.readable = false;
    pacer.AfterRead(0);  // from a readable clock to one that is not: set back, as far as can be told
    pacer.AfterRead(0);
    EXPECT_EQ(clock.WaitedUs(), (4 * ReadPacer::kTurnMs - 5) * 1000U);
}

TEST(WritePackets, CutsPausesAndRestores) {
    struct Case {
        unsigned int length;
        int packetSize, wait;
        std::vector<std::size_t> packets;
    };
    const Case cases[] = {{0, 10, 5, {0}},
                          {1, 10, 5, {1}},
                          {10, 10, 5, {10}},
                          {30, 10, 5, {10, 10, 10}},
                          {31, 10, 0, {10, 10, 10, 1}},
                          {3, 1, -1, {1, 1, 1}}};
    for (const Case& c : cases) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        Bytes data;
        for (unsigned int i = 0; i < c.length; ++i) data.push_back(static_cast<unsigned char>(i));
        if (c.length != 0) port.Expect(data);
        unsigned int err = 9;
        EXPECT_EQ(port.WritePackets(data.data(), c.length, c.wait, c.packetSize, &err), c.length);
        EXPECT_EQ(err, 0U);
        std::vector<std::size_t> packets;
        for (const ScriptedPort::Sent& sent : port.sent) {
            packets.push_back(sent.bytes.size());
            EXPECT_EQ(sent.uiWPacketSize, static_cast<unsigned int>(c.packetSize));
        }
        EXPECT_EQ(packets, c.packets);
        EXPECT_EQ(clock.waits, std::vector<std::uint64_t>(c.wait > 0 ? c.packets.size() : 0, 5000))
            << c.length;
        EXPECT_EQ(port.uiWPacketSize, 1000U);
    }
}

TEST(WritePackets, StopsAtTheFirstShortWrite) {
    struct Case {
        int reported;
        unsigned int err;
        const char* line;
    };
    // A device that takes fewer bytes without an error of its own is a failure all the same.
    for (const Case& c : {Case{7, 7, "Error Write (7)"}, Case{0, 1, "Error Write (0)"}}) {
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        port.Expect("abcd").FailWrite(c.reported, 3);
        unsigned int err = 0;
        EXPECT_EQ(port.WritePackets(BytesOf("abcdefghij").data(), 10, 5, 4, &err), 0U);
        EXPECT_EQ(err, c.err);
        EXPECT_EQ(clock.waits.size(), 1U);
        EXPECT_EQ(port.uiWPacketSize, 1000U);
        EXPECT_EQ(log.Take("WritePackets"), (Lines{"Begin", c.line}));
    }
    ScriptedPort port;
    unsigned int err = 0;
    EXPECT_EQ(port.WritePackets(BytesOf("ab").data(), 2, 0, 0, &err), 0U);  // no packet size: no endless loop
    EXPECT_EQ(err, 1U);
}

TEST(ReadAll, CollectsExactlyWhatWasAsked) {
    struct Case {
        const char* what;
        std::vector<const char*> answers;
        bool whole;
        const char* got;
    };
    const Case cases[] = {{"one read", {"abcde"}, false, "abcde"},
                          {"in pieces", {"ab", "c", "de"}, false, "abcde"},
                          {"short", {"abc"}, false, "abc"},
                          {"surplus of a serial line", {"ab", "cdefgh"}, true, "abcde"},
                          {"nothing", {}, false, ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        port.bReadsWhole = c.whole;
        for (const char* answer : c.answers) port.Answer(answer);
        port.SilenceUntilAsked();
        char buffer[8] = "#######";
        unsigned int err = 9;
        const unsigned int got = port.ReadAll(reinterpret_cast<unsigned char*>(buffer), 5, 1200, &err);
        const std::string expected = c.got;
        EXPECT_EQ(std::string(buffer, 7), expected + std::string(7 - expected.size(), '#'));
        EXPECT_EQ(got, expected.size());
        EXPECT_EQ(err, expected.size() < 5 ? 1U : 0U);
        Lines lines{"Begin", "End"};
        if (got < 5) lines.push_back("Read Only " + std::to_string(got) + " Bytes of 5");
        EXPECT_EQ(log.Take("ReadAll"), lines);
    }
}

TEST(ReadAll, EndsByItsOwnTimeoutWithoutSpinning) {
    struct Case {
        int timeout, reads;
        bool clockReadable;
    };
    // Reads that come back at once take a turn of the pacer each. At least one is always made.
    const int turn = static_cast<int>(ReadPacer::kTurnMs);
    for (const Case& c :
         {Case{0, 1, true}, Case{-5, 1, true}, Case{10 * turn, 10, true}, Case{1000, 1, false}}) {
        VirtualClock clock;
        clock.readable = c.clockReadable;
        BarePort port;
        unsigned char buffer[4];
        unsigned int err = 0;
        EXPECT_EQ(port.ReadAll(buffer, 4, c.timeout, &err), 0U);
        EXPECT_EQ(port.reads, c.reads) << c.timeout;
        EXPECT_EQ(err, 1U);
    }
}

/// What ReadProtocollData makes of the port's rows; "null" for none.
std::string ProtocolAnswer(CComPort& port) {
    int length = -1;
    const std::unique_ptr<unsigned char, decltype(&std::free)> answer(port.ReadProtocollData(&length),
                                                                      &std::free);
    if (answer == nullptr) return length == 0 ? "null" : "null with a length";
    return {answer.get(), answer.get() + length};
}

TEST(ReadProtocollData, EndsAtTheEndOfTheAnswer) {
    const std::string plain = "\x02<A>1<B>\x03";
    const std::string data = "\x02<A><DATABYTES>\x03\x03</DATABYTE\x03</DATABYTES>.\x03";
    for (const std::string& answer : {plain, data}) {
        for (std::size_t cut = 1; cut < answer.size(); ++cut) {
            VirtualClock clock;
            LogCapture log;
            ScriptedPort port(&clock);
            port.Answer(answer.substr(0, cut)).Answer(answer.substr(cut));
            ASSERT_EQ(ProtocolAnswer(port), answer) << cut;
            EXPECT_EQ(log.Take("ReadProtocollData"), (Lines{"Begin", "End"}));
        }
        VirtualClock clock;
        ScriptedPort port(&clock);
        for (const char byte : answer) port.Answer(std::string(1, byte));
        EXPECT_EQ(ProtocolAnswer(port), answer);
    }
}

TEST(ReadProtocollData, WhatOneReadBroughtIsJudgedAsAWhole) {
    VirtualClock clock;
    ScriptedPort port(&clock);
    port.Answer("\x03<DATABYTES>")
        .Answer("</DATABYTES>")
        .Answer("\x03");  // the marker outweighs the ETX before it
    EXPECT_EQ(ProtocolAnswer(port), "\x03<DATABYTES></DATABYTES>\x03");
    ScriptedPort second(&clock);
    second.Answer("</DATABYTES>\x03 and what came with it");
    EXPECT_EQ(ProtocolAnswer(second), "</DATABYTES>\x03 and what came with it");
}

TEST(ReadProtocollData, GivesUpAtTheThirdEmptyRead) {
    VirtualClock clock;
    LogCapture log;
    ScriptedPort silent(&clock);
    silent.Silence(3);
    const std::uint64_t before = clock.NowMs();
    EXPECT_EQ(ProtocolAnswer(silent), "null");
    EXPECT_EQ(clock.NowMs() - before, 1500U);
    EXPECT_EQ(log.Take("ReadProtocollData"), Lines{"Begin"});

    ScriptedPort twice(&clock);
    twice.Silence(2).Answer("ab").Answer("\x03");
    EXPECT_EQ(ProtocolAnswer(twice), "ab\x03");

    ScriptedPort counted(&clock);
    counted.Silence(1).Answer("<DATABYTES>\x03").Silence(1).Answer("</DATABYTES>").Silence(1);
    EXPECT_EQ(ProtocolAnswer(counted), "null");
}

TEST(ReadProtocollData, BoundsAnAnswerThatNeverEnds) {
    BarePort port;
    port.endless = true;
    EXPECT_EQ(ProtocolAnswer(port), "null");
    EXPECT_EQ(port.reads,
              16 * 1024);  // 16 MiB in reads of 1024; looking at all of it each time would take minutes
}

/// Rows of one attempt to read the status, with the printer-language switch that every other attempt begins
/// with.
void AskStatus(ScriptedPort& port, bool select) {
    if (select) port.Expect(BytesOf(GenericConst::kSelectEscPos));
    port.Expect(BytesOf(GenericConst::kCancel) + BytesOf(GenericConst::kGetGsi));
}

TEST(Handshake, AsksUntilAnsweredThenForTheRelease) {
    struct Case {
        const char* what;
        int silences;      // attempts without an answer
        bool asksRelease;  // whether it comes so far
        bool release;
        Bytes status;    // empty: never
        Bytes extended;  // empty: no answer
        Lines log;
    };
    const std::string retry = "Read GSI Error... Retry";
    const Case cases[] = {
        {"plain status", 0, true, true, {0xFE}, {}, {"GSI 0x01fe "}},
        {"a status of 0", 0, true, true, {0x00, 0x77}, {}, {"GSI 0x0100 "}},
        {"extended status", 0, true, true, {0xFF}, {0x12, 0x34}, {"GSI 0x1234 "}},
        {"extended status of one byte", 0, true, true, {0xFF}, {0x12}, {"GSI 0x1200 "}},
        {"no extended status", 0, false, false, {0xFF}, {}, {"Read GSI FF Error"}},
        {"no release", 0, true, false, {0x12}, {}, {"GSI 0x0112 ", "Read FW Release Error"}},
        {"at the fourth try", 3, true, true, {0x12}, {}, {retry, retry, retry, "GSI 0x0112 "}},
        {"at the last try", 4, true, true, {0x12}, {}, {retry, retry, retry, retry, "GSI 0x0112 "}},
        {"never", 5, false, false, {}, {}, {retry, retry, retry, retry, "Read GSI Error"}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        VirtualClock clock;
        LogCapture log;
        ScriptedPort port(&clock);
        port.bHandshakeOnTheWire = true;
        for (int i = 0; i < c.silences; ++i) {
            AskStatus(port, i % 2 == 0);
            port.Silence();
        }
        if (!c.status.empty()) {
            AskStatus(port, c.silences % 2 == 0);
            port.Answer(c.status);
            if (c.status[0] == 0xFF)
                port.Expect(BytesOf(GenericConst::kCancel) + BytesOf(GenericConst::kGetGsiFf));
            if (!c.extended.empty()) port.Answer(c.extended);
            if (c.asksRelease) {
                port.Expect(BytesOf(GenericConst::kCancel) + BytesOf(GenericConst::kGetFirmwareRelease));
            }
            if (c.release) port.Answer("1.00");
            if (!c.release) port.Silence();
        }
        EXPECT_EQ(port.HandshakeCommunication(), c.release);
        EXPECT_EQ(log.Take("HandshakeCommunication"), c.log);
        const std::size_t pauses = static_cast<std::size_t>(c.silences) - (c.status.empty() ? 1 : 0);
        EXPECT_EQ(clock.waits, std::vector<std::uint64_t>(pauses, 1500000));
        EXPECT_EQ(port.Calls("CleanRX"), c.silences + (c.status.empty() ? 0 : 1));
    }
}

TEST(FaultPort, FailsTheNamedCallOfAHandshake) {
    struct Case {
        int failAt;
        FaultPort::Fault fault;
        bool result;
        int calls;
    };
    // Three writes and the status, two writes and the release. The status is asked again, the release is not.
    const Case cases[] = {{0, FaultPort::Fault::Once, true, 7},
                          {4, FaultPort::Fault::Once, true, 10},
                          {7, FaultPort::Fault::Once, false, 7},
                          {4, FaultPort::Fault::FromThenOn, false, 18},
                          {5, FaultPort::Fault::FromThenOn, false, 7}};
    for (const Case& c : cases) {
        VirtualClock clock;
        BarePort printer;
        printer.endless = true;
        FaultPort port(printer, c.failAt, c.fault);
        EXPECT_EQ(port.HandshakeCommunication(), c.result) << c.failAt;
        EXPECT_EQ(port.Calls(), c.calls) << c.failAt;
    }
}

TEST(ScriptedPort, ReportsWhatDoesNotFollowTheScript) {
    unsigned int err = 0;
    unsigned char buffer[8];
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedPort port;
            port.Expect("abc");
            EXPECT_EQ(port.Write(BytesOf("aXc").data(), 3, &err), 0U);
            EXPECT_EQ(port.Read(buffer, 1, &err), 0U);
        },
        "differs at byte 1");
    EXPECT_NONFATAL_FAILURE({ ScriptedPort().Expect("abc"); }, "not played to its end");
    EXPECT_NONFATAL_FAILURE({ ScriptedPort().Answer("a").Write(BytesOf("b").data(), 1, &err); }, "a write");
    EXPECT_NONFATAL_FAILURE({ ScriptedPort().Read(buffer, 1, &err); }, "after the end");
    EXPECT_NONFATAL_FAILURE({ ScriptedPort().OnReOpen().OnHandshake().HandshakeCommunication(); },
                            "call of HandshakeCommunication");
}

}  // namespace

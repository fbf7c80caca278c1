#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "harness/Bytes.h"
#include "harness/VirtualClock.h"
#include "port/ComPort.h"

/// A port that plays the printer's side of a conversation from rows: what must be written, what is then read.
///
///     VirtualClock clock;
///     ScriptedPort port(&clock);
///     port.Expect({0x18}).Expect({0x1D, 0x49, 0x03}).Answer("1.00").Silence(2).OnReOpen(false).OnReOpen();
///
/// Anything else than the script fails the test with the conversation so far and what was due; from then on
/// writes fail and reads bring nothing, so that the code under test comes to its end. So do rows that remain
/// when the port goes away. How many writes carry the bytes of a row, and how many reads fetch an answer, is
/// free.
class ScriptedPort final : public CComPort {
 public:
    /// A write, with the settings in force when it was made.
    struct Sent {
        Bytes bytes;
        unsigned int uiTimeoutTX = 0;
        unsigned int uiTimeoutRX = 0;
        unsigned int uiWPacketSize = 0;
    };

    /// Reads that bring nothing advance `clock` (may be null) by the read time-out.
    explicit ScriptedPort(VirtualClock* clock = nullptr, COMMPORTTYPE type = COMMPORT_ETHERNET)
        : clock_(clock) {
        iPortType = type;
        uiTimeoutTX = 500;
        uiTimeoutRX = 500;
        uiWPacketSize = 1000;
    }
    ~ScriptedPort() {
        EndOpenSilence();
        if (!rows_.empty()) Mismatch("the script was not played to its end");
    }

    // ---- rows ----

    /// These bytes must be written next.
    ScriptedPort& Expect(Bytes bytes) { return Add({Kind::Expect, std::move(bytes)}); }
    ScriptedPort& Expect(std::string_view text) { return Expect(BytesOf(text)); }
    /// The next reads bring these bytes; one read brings at most what it asks (or 1024, `bReadsWhole`).
    ScriptedPort& Answer(Bytes bytes) { return Add({Kind::Answer, std::move(bytes)}); }
    ScriptedPort& Answer(std::string_view text) { return Answer(BytesOf(text)); }
    /// So many reads time out.
    ScriptedPort& Silence(int reads = 1) { return Add({Kind::Silence, {}, reads}); }
    /// Any number of reads, none too, time out until something is written or a scripted operation is called.
    ScriptedPort& SilenceUntilAsked() { return Add({Kind::SilenceUntilAsked}); }
    /// The next write takes `taken` of its bytes and fails with `error`.
    ScriptedPort& FailWrite(int error = 1, std::size_t taken = 0) {
        return Add({Kind::FailWrite, Bytes(taken), error});
    }
    /// The next thing must be this operation, which gives `result`. Once an operation is named in a script,
    /// each call of it must be; the ones that never are succeed (see `Calls`).
    ScriptedPort& OnInit(bool result = true) { return AddCall("Init", result); }
    ScriptedPort& OnOpen(bool result = true) { return AddCall("Open", result); }
    ScriptedPort& OnClose() { return AddCall("Close", true); }
    ScriptedPort& OnReOpen(bool result = true) { return AddCall("ReOpen", result); }
    ScriptedPort& OnHandshake(bool result = true) { return AddCall("HandshakeCommunication", result); }
    ScriptedPort& OnSaveLocation(bool result = true) { return AddCall("SaveLocationCurrentDevice", result); }
    ScriptedPort& OnRestoreLocation(bool result = true) {
        return AddCall("RestoreAddrNumFrmLocatio", result);
    }

    /// How often an operation was called, by its name ("ReOpen", "BackupPortInfo", ...).
    int Calls(const std::string& operation) const {
        const auto found = calls_.find(operation);
        return found == calls_.end() ? 0 : found->second;
    }
    Bytes AllSent() const {
        Bytes all;
        for (const Sent& one : sent) all = std::move(all) + one.bytes;
        return all;
    }

    std::string named;                 ///< what the last Init named, its values joined by ":" ("|" on USB)
    std::vector<Sent> sent;            ///< every write that was made, taken or not
    bool bHandshakeOnTheWire = false;  ///< the handshake exchanges bytes instead of being a mere call
    bool bReadsWhole = false;          ///< a read brings up to 1024 bytes whatever it asks

    // ---- the port ----

    using CComPort::InitWithVid;
    using CComPort::Write;
    bool Init(char* pid, char* serial) override { return Named(std::string(pid) + "|" + serial); }
    bool Init(char* device, int baudrate, int flowcontrol) override {
        return Named(device + (":" + std::to_string(baudrate)) + ":" + std::to_string(flowcontrol));
    }
    bool Init(char* host, int tcpPort) override { return Named(host + (":" + std::to_string(tcpPort))); }
    bool Open() override { return Called("Open"); }
    bool Close() override { return Called("Close"); }
    bool ReOpen() override { return Called("ReOpen"); }
    bool BackupPortInfo() override { return Called("BackupPortInfo"); }
    bool RestoreportInfo() override { return Called("RestoreportInfo"); }
    bool DumpPortInfo() override { return Called("DumpPortInfo"); }
    bool SaveLocationCurrentDevice() override { return Called("SaveLocationCurrentDevice"); }
    bool RestoreAddrNumFrmLocatio() override { return Called("RestoreAddrNumFrmLocatio"); }
    void CleanRX() override {
        ++calls_["CleanRX"];
        DropStartedAnswer();
    }
    void SetTimeoutTX(int ms) override { uiTimeoutTX = static_cast<unsigned int>(ms); }
    void SetTimeoutRX(int ms) override { uiTimeoutRX = static_cast<unsigned int>(ms); }
    int GetTimeoutRX() override { return static_cast<int>(uiTimeoutRX); }
    bool HandshakeCommunication() override {
        return bHandshakeOnTheWire ? RunHandshake({5, 1500, false}) : Called("HandshakeCommunication");
    }

    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override {
        sent.push_back({{buf, buf + len}, uiTimeoutTX, uiTimeoutRX, uiWPacketSize});
        Note("write", sent.back().bytes);
        *err = 0;
        EndOpenSilence();
        for (unsigned int taken = 0; taken < len;) {
            if (bBroken_ || rows_.empty()) return Surprise("a write", err);
            Row& row = rows_.front();
            const std::size_t part = std::min<std::size_t>(len - taken, row.bytes.size() - row.used);
            const auto due = row.bytes.begin() + static_cast<std::ptrdiff_t>(row.used);
            const bool fails = row.kind == Kind::FailWrite;
            if (!fails && (row.kind != Kind::Expect || !std::equal(buf + taken, buf + taken + part, due))) {
                return Surprise("a write", err);
            }
            taken += static_cast<unsigned int>(part);
            if (fails) {
                *err = static_cast<unsigned int>(row.number);
                rows_.pop_front();
                return taken;
            }
            Use(row, part);
        }
        return len;
    }

    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override {
        if (bBroken_) return Silent(err);
        if (rows_.empty()) return Surprise("a read", err);
        Row& row = rows_.front();
        if (row.kind == Kind::Silence && --row.number <= 0) {
            rows_.pop_front();
            return Silent(err);
        }
        if (row.kind == Kind::Silence || row.kind == Kind::SilenceUntilAsked) return Silent(err);
        if (row.kind != Kind::Answer) return Surprise("a read", err);
        const std::size_t part =
            std::min(bReadsWhole ? std::size_t{kReadSlack} : len, row.bytes.size() - row.used);
        std::copy_n(row.bytes.begin() + static_cast<std::ptrdiff_t>(row.used), part, buf);
        Note("read", Bytes(buf, buf + part));
        Use(row, part);
        *err = 0;
        return static_cast<unsigned int>(part);
    }

 private:
    enum class Kind { Expect, Answer, Silence, SilenceUntilAsked, FailWrite, Call };
    struct Row {
        Kind kind = Kind::Expect;
        Bytes bytes = {};
        int number = 0;  ///< reads of a silence, error of a failed write, result of a call
        std::string operation = {};
        std::size_t used = 0;
    };

    ScriptedPort& Add(Row row) {
        rows_.push_back(std::move(row));
        return *this;
    }
    ScriptedPort& AddCall(const char* operation, bool result) {
        scripted_.insert(operation);
        return Add({Kind::Call, {}, result ? 1 : 0, operation});
    }

    // Empty rows (an empty answer) are used up by one call as well.
    void Use(Row& row, std::size_t part) {
        row.used += part;
        if (row.used >= row.bytes.size()) rows_.pop_front();
    }

    bool Called(const std::string& operation) {
        ++calls_[operation];
        Note(operation, {});
        if (bBroken_) return false;
        DropStartedAnswer();
        if (scripted_.count(operation) == 0) return true;
        EndOpenSilence();
        if (rows_.empty() || rows_.front().operation != operation) {
            Mismatch("a call of " + operation);
            return false;
        }
        const bool result = rows_.front().number != 0;
        rows_.pop_front();
        return result;
    }
    bool Named(const std::string& device) {
        named = device;
        return Called("Init");
    }

    void EndOpenSilence() {
        if (!rows_.empty() && rows_.front().kind == Kind::SilenceUntilAsked) rows_.pop_front();
    }
    void DropStartedAnswer() {
        if (!rows_.empty() && rows_.front().kind == Kind::Answer && rows_.front().used != 0)
            rows_.pop_front();
    }
    unsigned int Silent(unsigned int* err) {
        Note("read nothing", {});
        if (clock_ != nullptr) clock_->Advance(uiTimeoutRX);
        *err = 1;
        return 0;
    }
    unsigned int Surprise(const std::string& what, unsigned int* err) {
        Mismatch(what);
        *err = 1;
        return 0;
    }

    void Note(const std::string& what, const Bytes& bytes) {
        transcript_.push_back("\n    " + what + " " + Dump(bytes));
        if (transcript_.size() > 40) transcript_.pop_front();
    }

    void Mismatch(const std::string& what) {
        if (bBroken_) return;
        bBroken_ = true;
        static const char* const names[] = {"write",         "answer", "silence", "silence until asked",
                                            "failing write", "call"};
        std::string text = "ScriptedPort: " + what + "\n  conversation so far:";
        for (const std::string& line : transcript_) text += line;
        text += "\n  due (" + std::to_string(rows_.size()) + " rows):";
        if (!rows_.empty()) {
            const Row& row = rows_.front();
            text = text + "\n    " + names[static_cast<int>(row.kind)] + " " + row.operation +
                   Dump(row.bytes) + ", " + std::to_string(row.used) + " of them gone";
        }
        ADD_FAILURE() << text;
    }

    // Their number and the first ones in hex.
    static std::string Dump(const Bytes& bytes) {
        std::string text = std::to_string(bytes.size()) + " bytes";
        for (std::size_t i = 0; i < bytes.size() && i < 48; ++i) {
            char digits[4];
            std::snprintf(digits, sizeof(digits), " %02X", static_cast<unsigned int>(bytes[i]));
            text += digits;
        }
        return text;
    }

    VirtualClock* clock_;
    std::deque<Row> rows_;
    std::deque<std::string> transcript_;
    std::map<std::string, int> calls_;
    std::set<std::string> scripted_;
    bool bBroken_ = false;
};

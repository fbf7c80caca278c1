#include "port/ComPort.h"

#include <sys/select.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>

#include "support/GenericConst.h"
#include "support/Log.h"
#include "support/Owned.h"
#include "support/Text.h"

namespace {

constexpr unsigned int kStatusReadSize = 511;
constexpr int kMaxEmptyReads = 3;
constexpr std::int64_t kLongestAnswerMs =
    600000;  // a printer that drips bytes for ever must not hold the run

using StatusAnswer = std::array<unsigned char, kStatusReadSize + CComPort::kReadSlack>;

constexpr std::size_t kGrowBy = 4096;

/// Collects one protocol answer read by read and tells when it is complete: at the first ETX, or, once
/// "<DATABYTES>" has come, at the first ETX behind the "</DATABYTES>" that follows it. Every byte is looked
/// at a fixed number of times, however many reads bring it.
class AnswerBuffer {
 public:
    /// Free bytes at `Room()`: more than a read may ask, as much as any read may bring.
    static constexpr std::size_t kReadSize = 1024;
    /// No printer's answer comes near this: a peer that sends more is not answering.
    static constexpr std::size_t kMaxSize = std::size_t{16} * 1024 * 1024;

    /// Where the next read puts up to kReadSize bytes. Null when the answer has outgrown kMaxSize or memory
    /// is out.
    unsigned char* Room();

    /// Takes over the `bytes` that a read put at `Room()`. True when the answer is complete.
    bool Add(std::size_t bytes);

    std::size_t Size() const { return used_; }

    /// Hands the answer over, to be released with `free`.
    unsigned char* Release() { return data_.release(); }

 private:
    enum class Awaited { DataBytesBegin, DataBytesEnd, Etx };

    template <class Pattern>
    bool PassOver(const Pattern& pattern);
    bool HasEtxFrom(std::size_t position) const;

    OwnedBytes data_;
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;
    Awaited awaited_ = Awaited::DataBytesBegin;
    std::size_t scanFrom_ = 0;  ///< where what is awaited may begin at the earliest
};

unsigned char* AnswerBuffer::Room() {
    if (used_ + kReadSize > kMaxSize) return nullptr;
    if (capacity_ < used_ + kReadSize) {
        // Half as much again once the answer is long, so that a long one is not copied for every 4096 bytes.
        const std::size_t capacity = capacity_ + std::max(kGrowBy, capacity_ / 2);
        void* const grown = std::realloc(data_.get(), capacity);
        if (grown == nullptr) return nullptr;
        static_cast<void>(data_.release());
        data_.reset(static_cast<unsigned char*>(grown));
        capacity_ = capacity;
    }
    return data_.get() + used_;
}

bool AnswerBuffer::Add(std::size_t bytes) {
    const std::size_t before = used_;
    used_ += std::min(bytes, kReadSize);
    if (awaited_ == Awaited::DataBytesBegin) {
        // An ETX of an earlier read would have ended the answer.
        if (!PassOver(GenericConst::kDataBytesBegin)) return HasEtxFrom(before);
        awaited_ = Awaited::DataBytesEnd;
    }
    if (awaited_ == Awaited::DataBytesEnd) {
        if (!PassOver(GenericConst::kDataBytesEnd)) return false;
        awaited_ = Awaited::Etx;
    }
    const bool complete = HasEtxFrom(scanFrom_);
    scanFrom_ = used_;
    return complete;
}

// Looks for the pattern from scanFrom_ on and moves that behind it. When it is not there, moves it to where
// the pattern may begin once more bytes have come.
template <class Pattern>
bool AnswerBuffer::PassOver(const Pattern& pattern) {
    const unsigned char* const from = data_.get() + scanFrom_;
    const unsigned char* const end = data_.get() + used_;
    const unsigned char* const found = std::search(from, end, std::begin(pattern), std::end(pattern));
    if (found != end) {
        scanFrom_ = static_cast<std::size_t>(found - data_.get()) + std::size(pattern);
        return true;
    }
    if (used_ >= scanFrom_ + std::size(pattern)) scanFrom_ = used_ - (std::size(pattern) - 1);
    return false;
}

bool AnswerBuffer::HasEtxFrom(std::size_t position) const {
    return std::memchr(data_.get() + position, GenericConst::kEtx, used_ - position) != nullptr;
}

/// Cancels what the printer may still be at, sends a request and makes one read of its answer. False when
/// nothing came.
template <std::size_t N>
bool Ask(CComPort& port, const unsigned char (&request)[N], StatusAnswer& answer) {
    port.SendCommand(GenericConst::kCancel);
    port.SendCommand(request);
    answer = {};
    unsigned int err = 0;
    return port.Read(answer.data(), kStatusReadSize, &err) > 0;
}

}  // namespace

unsigned int CComPort::Write(unsigned char*, unsigned int, unsigned int*) {
    return 0;
}
unsigned int CComPort::Read(unsigned char*, unsigned int, unsigned int*) {
    return 0;
}

bool CComPort::ConnectionBroke() const {
    return std::strcmp(szLastError, kConnectionBroke) == 0;
}

unsigned int CComPort::WritePackets(const unsigned char* buf, unsigned int len, int wait, int packetSize,
                                    unsigned int* err) {
    static constexpr char kTag[] = "WritePackets";
    Log::WriteLog(kTag, "Begin");
    *err = 0;
    if (packetSize < 1) {  // would never end
        *err = 1;
        Log::WriteLogP(kTag, "Error Write (%d)", 1);
        return 0;
    }
    const PortSettingsGuard guard(*this);
    uiWPacketSize = static_cast<unsigned int>(packetSize);
    unsigned int sent = 0;
    do {
        const unsigned int packet = std::min(static_cast<unsigned int>(packetSize), len - sent);
        unsigned int writeErr = 0;
        if (Write(buf + sent, packet, &writeErr) < packet) {
            Log::WriteLogP(kTag, "Error Write (%d)", static_cast<int>(writeErr));
            *err = std::max(writeErr, 1U);  // a device may take fewer bytes without calling it an error
            return 0;
        }
        Sleep({wait});
        sent += packet;
    } while (sent < len);
    Log::WriteLog(kTag, "End");
    return sent;
}

unsigned int CComPort::ReadAll(unsigned char* buf, int len, int timeout, unsigned int* err) {
    static constexpr char kTag[] = "ReadAll";
    Log::WriteLog(kTag, "Begin");
    const Deadline deadline(Wait{timeout});
    *err = 0;
    const unsigned int wanted = static_cast<unsigned int>(std::max(len, 0));
    const std::size_t size = std::size_t{wanted} + kReadSlack;
    const std::unique_ptr<unsigned char[]> arrived(new unsigned char[size]);
    unsigned int got = 0;
    ReadPacer pacer;
    do {
        unsigned int readErr = 0;
        const unsigned int bytes = Read(arrived.get(), wanted - got, &readErr);
        // What a serial read brings beyond what was asked cannot be given back and is dropped: the exchanges
        // that read so know the length of the answer, and nothing that follows it is meant for the next one.
        const unsigned int taken = std::min(bytes, wanted - got);
        if (taken > 0) std::memcpy(buf + got, arrived.get(), taken);
        got += taken;
        if (got == wanted) break;
        pacer.AfterRead(bytes);
    } while (!deadline.IsOver());
    Log::WriteLog(kTag, "End");
    if (got < wanted) {
        Log::WriteLogP(kTag, "Read Only %d Bytes of %d", static_cast<int>(got), len);
        *err = 1;
    }
    return got;
}

unsigned char* CComPort::ReadProtocollData(int* len) {
    static constexpr char kTag[] = "ReadProtocollData";
    Log::WriteLog(kTag, "Begin");
    *len = 0;
    const Deadline deadline(Wait{kLongestAnswerMs});
    AnswerBuffer answer;
    ReadPacer pacer;
    int emptyReads = 0;  // over the whole answer: bytes in between do not start the count anew
    while (emptyReads < kMaxEmptyReads) {
        unsigned char* const room = answer.Room();
        if (room == nullptr) return nullptr;
        unsigned int err = 0;
        const unsigned int bytes = Read(room, AnswerBuffer::kReadSize, &err);
        if (bytes == 0) {
            ++emptyReads;
        } else if (answer.Add(bytes)) {
            Log::WriteLog(kTag, "End");
            *len = static_cast<int>(answer.Size());
            return answer.Release();
        }
        if (deadline.IsOver()) break;
        pacer.AfterRead(bytes);
    }
    return nullptr;
}

bool CComPort::RunHandshake(const HandshakeKind& kind) {
    static constexpr char kTag[] = "HandshakeCommunication";
    StatusAnswer answer{};
    for (int attempt = 0;;) {
        if (attempt % 2 == 0) SendCommand(GenericConst::kSelectEscPos);
        CleanRX();
        if (Ask(*this, GenericConst::kGetGsi, answer)) break;
        if (++attempt >= kind.iAttempts) return Log::Fail(kTag, "Read GSI Error");
        Log::WriteLog(kTag, "Read GSI Error... Retry");
        Sleep({kind.uiPauseMs});
    }
    if (kind.bLogsGsiOk) Log::WriteLog(kTag, "Read GSI OK");
    unsigned int status = 0x100U | answer[0];
    if (answer[0] == 0xFF) {
        if (!Ask(*this, GenericConst::kGetGsiFf, answer)) return Log::Fail(kTag, "Read GSI FF Error");
        status = answer[0] * 256U + answer[1];  // an answer of one byte leaves the second 0
    }
    Log::WriteLogP(kTag, "GSI 0x%04x ", status);
    return Ask(*this, GenericConst::kGetFirmwareRelease, answer) || Log::Fail(kTag, "Read FW Release Error");
}

bool CComPort::Fail(const char* tag, const char* text) {
    CopyText(szLastError, text);
    return Log::Fail(tag, text);
}

unsigned int CComPort::FailTransfer(const char* text, unsigned int* err) {
    CopyText(szLastError, text);
    *err = 1;
    return 0;
}

bool WaitForDescriptor(int fd, DescriptorEvent event, unsigned int ms) {
    if (fd < 0 || fd >= FD_SETSIZE) return false;
    const unsigned int limit = Clock::Get().BlockingTimeout(ms);
    timeval left{static_cast<time_t>(limit / 1000), static_cast<suseconds_t>(limit % 1000) * 1000};
    for (;;) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(fd, &set);
        const bool reading = event == DescriptorEvent::Readable;
        // Linux leaves the time that remains in `left`, so a wait that a signal broke goes on where it stood.
        const int ready = select(fd + 1, reading ? &set : nullptr, reading ? nullptr : &set, nullptr, &left);
        if (ready >= 0 || errno != EINTR) return ready > 0;
    }
}

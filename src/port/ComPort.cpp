#include "port/ComPort.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

#include "port/AnswerBuffer.h"
#include "port/PortSettingsGuard.h"
#include "port/ReadPacer.h"
#include "support/Clock.h"
#include "support/Deadline.h"
#include "support/GenericConst.h"
#include "support/Log.h"

namespace {

constexpr unsigned int kStatusReadSize = 511;
constexpr int kMaxEmptyReads = 3;
constexpr std::int64_t kLongestAnswerMs =
    600000;  // a printer that drips bytes for ever must not hold the run

using StatusAnswer = std::array<unsigned char, kStatusReadSize + CComPort::kReadSlack>;

}  // namespace

bool CComPort::Init(char*, char*) {
    return false;
}
bool CComPort::Init(char*, int, int) {
    return false;
}
bool CComPort::Init(char*, int) {
    return false;
}
bool CComPort::InitWithVid(char*, char*, char*) {
    return false;
}
bool CComPort::InitWithVid(char*) {
    return false;
}
bool CComPort::Open() {
    return false;
}
bool CComPort::Close() {
    return false;
}
unsigned int CComPort::Write(unsigned char*, unsigned int, unsigned int*) {
    return 0;
}
unsigned int CComPort::Read(unsigned char*, unsigned int, unsigned int*) {
    return 0;
}
void CComPort::CleanTX() {}
void CComPort::CleanRX() {}
void CComPort::SetTimeoutTX(int) {}
void CComPort::SetTimeoutRX(int) {}
int CComPort::GetTimeoutRX() {
    return 0;
}
bool CComPort::HandshakeCommunication() {
    return false;
}
bool CComPort::ReOpen() {
    return false;
}
bool CComPort::BackupPortInfo() {
    return false;
}
bool CComPort::RestoreportInfo() {
    return false;
}
bool CComPort::DumpPortInfo() {
    return false;
}
bool CComPort::SaveLocationCurrentDevice() {
    return false;
}
bool CComPort::RestoreAddrNumFrmLocatio() {
    return false;
}
bool CComPort::Drain() {
    return true;
}

bool CComPort::ConnectionBroke() const {
    return std::strcmp(szLastError, kConnectionBroke) == 0;
}

unsigned int CComPort::WritePackets(const unsigned char* buf, unsigned int len, int wait, int packetSize,
                                    unsigned int* err) {
    static const char* const tag = "WritePackets";
    Log::WriteLog(tag, "Begin");
    *err = 0;
    if (packetSize < 1) {  // would never end
        *err = 1;
        Log::WriteLogP(tag, "Error Write (%d)", 1);
        return 0;
    }
    const PortSettingsGuard guard(*this);
    uiWPacketSize = static_cast<unsigned int>(packetSize);
    unsigned int sent = 0;
    do {
        const unsigned int packet = std::min(static_cast<unsigned int>(packetSize), len - sent);
        unsigned int writeErr = 0;
        if (Write(buf + sent, packet, &writeErr) < packet) {
            Log::WriteLogP(tag, "Error Write (%d)", static_cast<int>(writeErr));
            *err = std::max(writeErr, 1U);  // a device may take fewer bytes without calling it an error
            return 0;
        }
        SleepMs(wait);
        sent += packet;
    } while (sent < len);
    Log::WriteLog(tag, "End");
    return sent;
}

unsigned int CComPort::ReadAll(unsigned char* buf, int len, int timeout, unsigned int* err) {
    static const char* const tag = "ReadAll";
    Log::WriteLog(tag, "Begin");
    const Deadline deadline(timeout);
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
    Log::WriteLog(tag, "End");
    if (got < wanted) {
        Log::WriteLogP(tag, "Read Only %d Bytes of %d", static_cast<int>(got), len);
        *err = 1;
    }
    return got;
}

unsigned char* CComPort::ReadProtocollData(int* len) {
    static const char* const tag = "ReadProtocollData";
    Log::WriteLog(tag, "Begin");
    *len = 0;
    const Deadline deadline(kLongestAnswerMs);
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
            Log::WriteLog(tag, "End");
            *len = static_cast<int>(answer.Size());
            return answer.Release();
        }
        if (deadline.IsOver()) break;
        pacer.AfterRead(bytes);
    }
    return nullptr;
}

bool CComPort::RunHandshake(const HandshakeKind& kind) {
    unsigned int status = 0;
    if (!AskStatus(kind, status)) return false;
    Log::WriteLogP("HandshakeCommunication", "GSI 0x%04x ", status);
    return AskFirmwareRelease();
}

bool CComPort::AskStatus(const HandshakeKind& kind, unsigned int& status) {
    static const char* const tag = "HandshakeCommunication";
    for (int attempt = 0;;) {
        if (attempt % 2 == 0) SendCommand(GenericConst::kSelectEscPos);
        CleanRX();
        SendCommand(GenericConst::kCancel);
        SendCommand(GenericConst::kGetGsi);
        StatusAnswer answer{};
        unsigned int err = 0;
        if (Read(answer.data(), kStatusReadSize, &err) > 0) {
            if (kind.bLogsGsiOk) Log::WriteLog(tag, "Read GSI OK");
            status = 0x100U | answer[0];
            return answer[0] != 0xFF || AskExtendedStatus(status);
        }
        if (++attempt >= kind.iAttempts) {
            Log::WriteLog(tag, "Read GSI Error");
            return false;
        }
        Log::WriteLog(tag, "Read GSI Error... Retry");
        SleepMs(kind.uiPauseMs);
    }
}

bool CComPort::AskExtendedStatus(unsigned int& status) {
    SendCommand(GenericConst::kCancel);
    SendCommand(GenericConst::kGetGsiFf);
    StatusAnswer answer{};
    unsigned int err = 0;
    if (Read(answer.data(), kStatusReadSize, &err) == 0) {
        Log::WriteLog("HandshakeCommunication", "Read GSI FF Error");
        return false;
    }
    status = answer[0] * 256U + answer[1];  // an answer of one byte leaves the second 0
    return true;
}

bool CComPort::AskFirmwareRelease() {
    SendCommand(GenericConst::kCancel);
    SendCommand(GenericConst::kGetFirmwareRelease);
    StatusAnswer answer{};
    unsigned int err = 0;
    if (Read(answer.data(), kStatusReadSize, &err) > 0) return true;
    Log::WriteLog("HandshakeCommunication", "Read FW Release Error");
    return false;
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "port/CommPortSettings.h"
#include "support/Clock.h"

/// A connection to a printer, of one of three kinds: CComPortRs232, CComPortEth, CComPortUsb.
///
/// The contract that every kind keeps:
/// - An operation that fails returns false or fewer bytes, sets `*err` non-zero where it takes one, and
///   leaves the reason in `szLastError`, which most operations empty first. Nothing throws.
/// - `Read` makes one read that waits at most `uiTimeoutRX` milliseconds. 0 bytes means that nothing came,
///   whether by time-out, by a closed connection or by an error; `*err` tells a failure from silence only
///   where the kind can. A serial read may bring up to kReadSlack bytes whatever `len` asks: every buffer
///   handed to `Read` holds at least that many.
/// - `Write` returns the bytes that were taken. Fewer than asked is a failure. Taken is not arrived: a kernel
///   keeps what a slow line has not carried yet, which is what `Drain` asks about.
/// - An operation called on a closed or unnamed port fails; it never crashes. The Ethernet port alone
///   connects by itself when it is read or written.
///
/// The texts and bytes handed to `Init`, `InitWithVid` and `Write` are not changed, although their types
/// would allow it.
///
/// Ports are created by the front end, handed down by pointer or reference, and neither copied nor deleted
/// through the base (its destructor is not virtual; each kind's closes its device).
class CComPort {
 public:
    /// What a serial read may bring whatever was asked.
    static constexpr std::size_t kReadSlack = 1024;
    /// `szLastError` of a connection that broke under a write.
    static constexpr char kConnectionBroke[] = "EthWrite Error";

    CComPort() = default;
    CComPort(const CComPort&) = delete;
    CComPort& operator=(const CComPort&) = delete;
    ~CComPort() = default;

    /// The operations of the kinds; the base's do nothing and return 0 or false.
    virtual bool Init(char* /*device*/, char* /*serial*/) { return false; }
    virtual bool Init(char* /*device*/, int /*baudrate*/, int /*flowcontrol*/) { return false; }
    virtual bool Init(char* /*host*/, int /*port*/) { return false; }
    virtual bool InitWithVid(char* /*vid*/, char* /*pid*/, char* /*serial*/) { return false; }
    virtual bool InitWithVid(char* /*vid*/) { return false; }
    virtual bool Open() { return false; }
    virtual bool Close() { return false; }
    virtual unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err);
    virtual unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err);
    virtual void CleanTX() {}
    virtual void CleanRX() {}
    virtual void SetTimeoutTX(int /*ms*/) {}
    virtual void SetTimeoutRX(int /*ms*/) {}
    virtual int GetTimeoutRX() { return 0; }
    /// Status handshake: asks for the printer's status until it answers (each kind has its number of attempts
    /// and its pause), then for its release. False when one of the answers did not come.
    virtual bool HandshakeCommunication() { return false; }
    /// Closes and opens again with the same parameters.
    virtual bool ReOpen() { return false; }
    virtual bool BackupPortInfo() { return false; }
    virtual bool RestoreportInfo() { return false; }
    virtual bool DumpPortInfo() { return false; }
    virtual bool SaveLocationCurrentDevice() { return false; }
    virtual bool RestoreAddrNumFrmLocatio() { return false; }
    /// Waits until everything written has arrived; false when it never will or cannot be known to, with the
    /// reason in `szLastError`. Does not wait when it has arrived already. The base's answer is true, which
    /// is USB's too: a bulk transfer ends only when the device has taken its bytes.
    virtual bool Drain() { return true; }

    /// Whether the last operation failed because its connection broke under what was written.
    bool ConnectionBroke() const;

    /// The virtual `Write` with bytes that are constant. A kind keeps it visible with a using-declaration. A
    /// template, so that a null pointer means the virtual one.
    template <class Constant, std::enable_if_t<std::is_same_v<Constant, const unsigned char>, int> = 0>
    unsigned int Write(Constant* buf, unsigned int len, unsigned int* err) {
        return Write(const_cast<unsigned char*>(buf), len, err);  // no kind changes what it writes
    }

    COMMPORTTYPE GetPortType() const { return iPortType; }
    int GetTimeoutTX() const { return static_cast<int>(uiTimeoutTX); }
    unsigned int GetTimeoutWrite() const { return uiTimeoutTX; }
    void SetTimeoutWrite(unsigned int ms) { uiTimeoutTX = ms; }
    unsigned int GetWPacketSize() const { return uiWPacketSize; }
    void SetWPacketSize(unsigned int size) { uiWPacketSize = size; }

    /// Sends `len` bytes as writes of at most `packetSize`, with `wait` milliseconds after each (the last one
    /// too). Returns the bytes sent, or 0 with `*err` set at the first short write. A length of 0 still makes
    /// one empty write and returns 0.
    unsigned int WritePackets(const unsigned char* buf, unsigned int len, int wait, int packetSize,
                              unsigned int* err);

    /// Reads until exactly `len` bytes are in `buf` (which holds `len` bytes, no more are ever written) or
    /// `timeout` milliseconds have passed; at least one read is made. Returns the bytes read; `*err` is 1
    /// when they are fewer than `len`. What the last read brought beyond `len` is dropped.
    unsigned int ReadAll(unsigned char* buf, int len, int timeout, unsigned int* err);

    /// Reads one whole protocol answer into a buffer that the caller releases with `free`. Null, and `*len`
    /// 0, after three reads that brought nothing, or when the answer outgrows 16 MiB or takes ten minutes.
    unsigned char* ReadProtocollData(int* len);

    /// Writes one fixed request. Returns the bytes taken; 0 is a failure.
    template <std::size_t N>
    unsigned int SendCommand(const unsigned char (&command)[N]) {
        unsigned int err = 0;
        return Write(command, static_cast<unsigned int>(N), &err);
    }

    COMMPORTTYPE iPortType = COMMPORT_NONE;
    char szLastError[1024] = {};
    unsigned int uiTimeoutTX = 0;    ///< milliseconds
    unsigned int uiTimeoutRX = 0;    ///< milliseconds
    unsigned int uiWPacketSize = 0;  ///< most bytes that one low-level write hands to the device

 protected:
    /// What the status handshake of a kind has of its own.
    struct HandshakeKind {
        int iAttempts = 0;           ///< attempts without an answer before it fails
        unsigned int uiPauseMs = 0;  ///< pause after each of them but the last
        bool bLogsGsiOk = false;     ///< whether "Read GSI OK" is logged
    };

    /// The status handshake of every kind, made with the virtual `Write`, `Read` and `CleanRX`: a kind's
    /// HandshakeCommunication is one call of it with the kind's record.
    bool RunHandshake(const HandshakeKind& kind);

    /// Logs the text and leaves it in `szLastError`: always false.
    bool Fail(const char* tag, const char* text);

    /// Leaves the text in `szLastError`, and 1 in `*err`: always 0.
    unsigned int FailTransfer(const char* text, unsigned int* err);
};

/// Remembers the time-outs and the write packet size of a port and puts them back at the end of its scope,
/// for procedures that change them for a while. The port must outlive the guard. Guards may be nested.
class PortSettingsGuard {
 public:
    explicit PortSettingsGuard(CComPort& port)
        : port_(port),
          timeoutTX_(port.uiTimeoutTX),
          timeoutRX_(port.uiTimeoutRX),
          packetSize_(port.uiWPacketSize) {}
    PortSettingsGuard(const PortSettingsGuard&) = delete;
    PortSettingsGuard& operator=(const PortSettingsGuard&) = delete;
    ~PortSettingsGuard() {
        if (active_) Restore();
    }

    /// Puts the remembered values back now; may be called again after further changes. The end of the scope
    /// puts them back once more unless the guard was dismissed.
    void Restore() {
        port_.uiTimeoutTX = timeoutTX_;
        port_.uiTimeoutRX = timeoutRX_;
        port_.uiWPacketSize = packetSize_;
    }

    /// Leaves the port as it is at the end of the scope, where the changed values are to stay.
    void Dismiss() { active_ = false; }

 private:
    CComPort& port_;
    const unsigned int timeoutTX_;
    const unsigned int timeoutRX_;
    const unsigned int packetSize_;
    bool active_ = true;
};

/// What WaitForDescriptor waits for.
enum class DescriptorEvent { Readable, Writable };

/// Waits with `select` until the descriptor is ready, at most `ms` milliseconds of the program's clock.
/// False on time-out, on error and on a descriptor that is closed (-1) or beyond what `select` can hold.
/// Signals do not end the wait early.
bool WaitForDescriptor(int fd, DescriptorEvent event, unsigned int ms);

/// Keeps a polling loop from spinning: a read normally waits for the port's read time-out, but on a closed or
/// refused connection it comes back at once with nothing. Make one before the loop and call `AfterRead` once
/// in each turn; a turn that brought nothing then lasts at least kTurnMs, and turns that bring bytes or that
/// waited by themselves are not delayed.
class ReadPacer {
 public:
    static constexpr std::int64_t kTurnMs = 20;

    /// `bytes`: what the turn's read (or write) moved. Waits for the rest of the turn when that is nothing.
    void AfterRead(unsigned int bytes) {
        if (bytes == 0) Sleep({turn_.LeftMs()});
        turn_ = Deadline(Wait{kTurnMs});
    }

 private:
    Deadline turn_{Wait{kTurnMs}};
};

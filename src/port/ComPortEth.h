#pragma once

#include <netinet/in.h>

#include "port/ComPort.h"

/// A printer on the network: one TCP connection to its raw port. A read or write that finds the connection
/// closed (never opened, lost, or given up after a read time-out) connects again by itself.
///
/// Connecting waits at most `uiTimeoutTX`. The time-outs in force when a read or write starts are the ones
/// that bound it, also when they changed since the connection was made; a time-out of 0 does not wait.
///
/// A peer that acknowledges nothing, or keeps its window shut, for kPeerLostMs is given up: the connection is
/// over then, whatever was waiting on it.
class CComPortEth final : public CComPort {
 public:
    /// Milliseconds of the clock in force; long, because a printer that erases flash may read nothing for
    /// minutes.
    static constexpr unsigned int kPeerLostMs = 300000;

    CComPortEth();
    ~CComPortEth();

    using CComPort::Init;
    using CComPort::Write;
    /// Names the peer: a host name or dotted IPv4 address, cut to 255 characters, and a TCP port. Checks
    /// neither, does not connect and leaves a connection that is up alone; always true.
    bool Init(char* host, int port) override;

    /// Connects unless connected. False with "Open ETH Device Error"; the reason before it is in the log.
    bool Open() override;

    /// Ends the connection; the peer stays named. Always true.
    bool Close() override;

    /// Sends all `len` bytes in pieces of at most `uiWPacketSize`, over one connection. 0 with `*err` 1 when
    /// there is none to be had, or, with "EthWrite Error", when it breaks: what it still held is lost, so it
    /// is closed and nothing of this write goes over another. A peer that takes nothing is tried, paced, for
    /// as long as the connection lasts: a busy printer holds the line.
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override;

    /// One read of at most `len` bytes. 0 with `*err` 1 and a closed connection on failure and on time-out; 0
    /// without an error, and closed too, when the peer ended the connection.
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override;

    /// Waits, paced, until the peer has acknowledged every byte; what became of the connection after that
    /// does not matter. False with a closed connection and "EthWrite Error" when it ends before, and on a
    /// closed port.
    bool Drain() override;

    /// A socket has no queues to discard.
    void CleanTX() override {}
    void CleanRX() override {}

    void SetTimeoutTX(int ms) override { uiTimeoutTX = static_cast<unsigned int>(ms > 0 ? ms : 0); }
    void SetTimeoutRX(int ms) override { uiTimeoutRX = static_cast<unsigned int>(ms > 0 ? ms : 0); }
    int GetTimeoutRX() override { return static_cast<int>(uiTimeoutRX); }
    bool HandshakeCommunication() override { return RunHandshake({15, 3000, true}); }
    bool ReOpen() override;

    // The steps of Open, Write and Read.

    /// Connects unless connected.
    bool OpenPort();
    /// One piece. Returns what went out; 0 without an error is tried again.
    unsigned int EthWrite(unsigned char* buf, unsigned int len, unsigned int* err);
    unsigned int EthRead(unsigned char* buf, unsigned int len, unsigned int* err);

    int iSocket = -1;  ///< -1 when closed
    int iPort = 9100;
    char szHost[256] = {};

 private:
    const char* Connect();
    const char* ConnectWithinTimeout(const sockaddr_in& peer);
    const char* SetBlocking(bool blocking);
    void ApplyTimeout(int option, unsigned int ms, unsigned int& applied);
    bool OpenFor(const char* tag, unsigned int* err);

    // What the socket's time-outs are now, in real milliseconds.
    static constexpr unsigned int kNotApplied = 0xFFFFFFFF;
    unsigned int uiAppliedTX = kNotApplied;
    unsigned int uiAppliedRX = kNotApplied;
};

#pragma once

#include <termios.h>

#include "port/ComPort.h"

/// A printer on a serial line: 8 data bits, no parity, one stop bit, raw. The descriptor never blocks; reads
/// wait with `select`, and a write that the line refuses is tried again every 10 ms for as long as it takes.
class CComPortRs232 final : public CComPort {
 public:
    static constexpr unsigned int kLineStoppedMs = 300000;  ///< of the clock in force

    CComPortRs232();
    ~CComPortRs232();

    using CComPort::Init;
    using CComPort::Write;
    /// Names the device (cut to 1023 characters) and builds the line settings; opens nothing. False with
    /// "Error invalid Baudrate" (1200, 2400, 4800, 9600, 19200, 38400, 57600 and 115200 are known) or
    /// "Error invalid Flow control" (0 none, 1 RTS/CTS, 2 XON/XOFF).
    bool Init(char* device, int baudrate, int flowcontrol) override;

    /// Opens the named device anew; one that was open is closed first. False with "Open RS232 Device Error";
    /// when only the line settings were refused, the device stays open until it is closed.
    bool Open() override;

    /// Closes the device and forgets its name, so that Open fails until Init or ReOpen. Always true.
    bool Close() override;

    /// Writes in pieces that take about half of `uiTimeoutTX` on the line; `uiWPacketSize` is recomputed for
    /// that. 0, or for a single piece the bytes that went out, with `*err` 1 and "Write Error" on failure.
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override;

    /// Waits, paced, until the driver has nothing left to send: a line that is stopped leaves what `Write`
    /// handed over lying there. False with "Write Error" when no byte leaves for kLineStoppedMs, or when the
    /// line is gone.
    bool Drain() override;

    /// One read of up to 1024 bytes WHATEVER `len` is: `buf` must hold 1024. 0 with `*err` 1 when nothing
    /// came within `uiTimeoutRX` or the line is gone.
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override;

    void CleanTX() override;
    void CleanRX() override;
    void SetTimeoutTX(int ms) override { uiTimeoutTX = static_cast<unsigned int>(ms > 0 ? ms : 0); }
    void SetTimeoutRX(int ms) override { uiTimeoutRX = static_cast<unsigned int>(ms > 0 ? ms : 0); }
    int GetTimeoutRX() override { return static_cast<int>(uiTimeoutRX); }
    bool HandshakeCommunication() override { return RunHandshake({5, 1500, false}); }

    /// Closes and opens again with the parameters in force, after a Close with the device that Init last
    /// named.
    bool ReOpen() override;

    /// Keeps the device, rate and flow control, and puts them back. Always true; without a copy nothing
    /// changes.
    bool BackupPortInfo() override;
    bool RestoreportInfo() override;

    // The steps of Open, Close, Write and Read.

    bool OpenPort();
    void ClosePort();
    /// Sets `uiWPacketSize` to half of what the line carries in one write time-out.
    void CalcMaxPacketSize();
    /// One piece. Returns what went out; fewer than `len` with `*err` 1 when the line is gone.
    unsigned int ComWrite(unsigned char* buf, unsigned int len, unsigned int* err);
    unsigned int ComRead(unsigned char* buf, unsigned int len, unsigned int* err);

    int iFd = -1;              ///< -1 when closed
    char szDevice[1024] = {};  ///< empty when closed
    int iBaudrate = -1;        ///< -1 when invalid
    int iFlowControl = -1;     ///< -1 when invalid
    termios tty{};             ///< as Open sets the line
    char szDeviceBak[1024] = {};
    int iBaudrateBak = -1;
    int iFlowControlBak = -1;

 private:
    bool bKept = false;             ///< the three above hold a copy
    char szDeviceNamed[1024] = {};  ///< as Init last named it: Close does not empty it
};

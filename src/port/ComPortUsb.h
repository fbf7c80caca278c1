#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "port/ComPort.h"
#include "port/UsbDevices.h"

/// A printer (or its boot loader) on USB, over libusb's default context: interface 0, one bulk OUT and one
/// bulk IN endpoint, and control transfers.
///
/// Constructed -> Init/InitWithVid (device found and opened, kernel driver detached) -> Open (interface
/// claimed) -> transfers -> Close. Every Init initialises libusb once more, and only Close exits, once (kept:
/// libusb counts them; the devices and the handle of the Init before are released all the same).
///
/// The address number of a device is the last character of its serial-number text.
class CComPortUsb final : public CComPort {
 public:
    /// Time-outs and the pause in writes are multiplied by `timeMultiplier`. 0 means transfers without
    /// time-out and writes without a pause; a negative one leaves the time-outs as they are.
    explicit CComPortUsb(int timeMultiplier);
    ~CComPortUsb();

    using CComPort::Init;
    using CComPort::Write;
    /// Finds the printer of the printer vendor ID with this product ID (four upper-case hex digits) and
    /// address number. A device with an empty serial-number text has every address number.
    bool Init(char* pid, char* addrNum) override;
    /// Finds the device with these IDs whose whole serial-number text is `serial`, or empty.
    bool InitWithVid(char* vid, char* pid, char* serial) override;
    /// Finds the first device of this vendor.
    bool InitWithVid(char* vid) override;
    bool Open() override;
    /// Releases the interface, the device and libusb. Always true.
    bool Close() override;
    /// Sends pieces of `uiWPacketSize` bytes with a pause of `iTimeMultiplier` ms after each 1024 bytes or
    /// more. A port whose interface is not claimed is found again and opened first.
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override;
    /// One transfer of at most `len` bytes. `*err` is 1 on every failure, the time-out included; what came
    /// before a time-out is dropped.
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override;
    void CleanTX() override {}
    void CleanRX() override {}
    // 0 is a transfer without time-out: a negative number does not become one.
    void SetTimeoutTX(int ms) override { uiTimeoutTX = static_cast<unsigned int>(ms < 0 ? 1 : ms); }
    void SetTimeoutRX(int ms) override { uiTimeoutRX = static_cast<unsigned int>(ms < 0 ? 1 : ms); }
    int GetTimeoutRX() override { return static_cast<int>(uiTimeoutRX); }
    bool HandshakeCommunication() override { return RunHandshake({5, 1500, false}); }
    /// Closes, finds the device again and opens it. The choice is the reverse of the one in `Write` (kept:
    /// the upgrade procedures rely on it): after Init or InitWithVid(vid, pid, serial) it looks for the
    /// printer vendor ID and an address number.
    bool ReOpen() override;
    bool BackupPortInfo() override;
    bool RestoreportInfo() override;
    /// Prints the device parameters on standard output.
    bool DumpPortInfo() override;
    /// Remembers the port numbers of the last device that has the recorded IDs and address number. True also
    /// when none has; the place is then the one saved before.
    bool SaveLocationCurrentDevice() override;
    /// Takes over the address number of the device with the recorded IDs that sits at the remembered place.
    /// True also when none does; false without a remembered place.
    bool RestoreAddrNumFrmLocatio() override;

    /// Writes a line "vendor|product|serial\n" into `list` for each device of the vendor `vid` (null: the
    /// printer vendor ID) and the text of the last failure into `error` (which may be null). The sizes are
    /// those of the buffers; lines that do not fit are left out as a whole. False when the bus cannot be
    /// listed or, without a `vid`, a serial number cannot be read.
    static bool GetDeviceList(char* list, std::size_t listSize, char* error, std::size_t errorSize,
                              const char* vid);

    /// The same for buffers of at least 1024 characters each (`error` may be null), which the caller vouches
    /// for.
    static bool GetDeviceList(char* list, char* error, const char* vid) {
        return GetDeviceList(list, kListSize, error, kListSize, vid);
    }
    static constexpr std::size_t kListSize = 1024;

    /// Searches of the held device list: 1 found (device open, endpoints known), 0 not found or failed.
    /// FindDevice ends the program when the device has no readable configuration (kept: required).
    int FindDevice(const char* vid, const char* pid, int addrNum);
    int FindDeviceWithVid(const char* vid, const char* pid, const char* serial);
    int FindDeviceWithVid(const char* vid);

    /// One control transfer; `data` holds `length` bytes, `timeout` is in milliseconds (0: none) and not
    /// multiplied.
    bool ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                         unsigned short index, unsigned char* data, unsigned short length,
                         unsigned int timeout);

    /// One bulk OUT transfer. Returns the bytes taken; 0 and `*err` 1 on any failure.
    unsigned int UsbWrite(unsigned char* buf, unsigned int len, unsigned int* err);

    /// Releases the interface and closes the device; the list and libusb stay.
    void ClosePort();

    bool bClaimed = false;   ///< interface 0 is claimed
    bool bListHeld = false;  ///< libusb is initialised
    char szPid[1024] = {};
    char szVid[1024] = {};
    char szAddrNum[1024] = {};  ///< address number (Init) or serial-number text (InitWithVid)
    char szPidBak[1024] = {};
    char szVidBak[1024] = {};
    char szAddrNumBak[1024] = {};
    unsigned int uiEpIn = 0;   ///< bulk IN endpoint address, 0 when the device has none
    unsigned int uiEpOut = 0;  ///< bulk OUT endpoint address, 0 when the device has none
    int iTimeMultiplier;
    std::uint8_t aucLocation[8] = {};  ///< port numbers on the way to the device, 0 where absent
    UsbDeviceList pDevList;
    UsbHandle pHandle;
    static char m_strSerial[1024];  ///< emptied by every port that is made; nothing reads it
    bool bIdentified = false;  ///< a product ID was given; chooses how Write and ReOpen find the device again

 private:
    using DeviceVisitor = std::function<void(libusb_device* device, const std::string& address)>;

    bool TakeList(const char* tag);
    int RunSearch(UsbSearch& search);
    bool VisitLikeDevices(const char* tag, const DeviceVisitor& visit);
    bool InitAgainForWrite();
    unsigned int WritePieces(unsigned char* buf, unsigned int len, unsigned int* err);
    unsigned int TransferTimeout(unsigned int ms) const;
};

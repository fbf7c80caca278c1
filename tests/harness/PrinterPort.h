#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "harness/VirtualClock.h"
#include "port/ComPort.h"
#include "simulator/DeviceModel.h"
#include "upgrade/BootUsb.h"

/// What the line does otherwise than it should, at some calls of a port.
struct LineFault {
    enum How {
        kNone,
        kError,           ///< the call fails and moves nothing
        kShort,           ///< a write takes half of its bytes
        kSilence,         ///< what a read was to bring is lost
        kWrongByte,       ///< one byte is turned over
        kConnectionGone,  ///< the connection breaks (Ethernet; other lines know none)
        kDeviceGone,      ///< the device is out of reach from here on
        kEnds,            ///< the program is ended in the midst of the call, by a RunEnded
    };
    std::string call;  ///< "Open", "ReOpen", "Write", "Drain", "Read", "Control"; empty: each of them
    How how = kError;
    int first = 1;  ///< of those calls, counted from 1
    int last = first;
};

struct RunEnded {};

/// What the ports of one run share: the faults of its lines, the calls that they can hit, and where each
/// port's side of the conversation goes.
struct LinePlan {
    std::vector<LineFault> faults;
    std::vector<std::string> calls;            ///< in order
    bool bGone = false;                        ///< the device is out of reach for good
    bool bRecord = false;                      ///< the conversation goes to standard output
    std::vector<simulator::Bytes> usbAnswers;  ///< what the device on USB has to say, each one transfer

    /// Counts a call; what is to go wrong with it.
    LineFault::How Call(const std::string& name);

 private:
    std::map<std::string, int> counts_;
};

/// A port that hands its bytes to a simulated device and brings what that answered, on virtual time, as the
/// port of its kind does: Ethernet connects while the device is on line and not otherwise, and a read that
/// times out ends the connection; a serial read brings up to 1024 bytes whatever was asked; USB finds the
/// device by its names, reads one answer at a time, and loses one that is larger than the read. Nothing else
/// is known here of the device.
class PrinterPort : public CComPort, public BootPort {
 public:
    /// `type` is COMMPORT_SERIAL, COMMPORT_ETHERNET or COMMPORT_USB; `timem` stretches USB time-outs.
    PrinterPort(VirtualClock& clock, simulator::DeviceModel& model, LinePlan& line, COMMPORTTYPE type,
                int timem = 1);
    ~PrinterPort() override { Disconnect(); }

    bool Init(char* pid, char* addr) override;
    bool Init(char* device, int baudrate, int flowcontrol) override;
    bool Init(char* host, int port) override;
    bool InitWithVid(char* vid, char* pid, char* serial) override;
    bool InitWithVid(char* vid) override;
    bool Open() override;
    bool Close() override;
    bool ReOpen() override;
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override;
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override;
    bool Drain() override;
    void CleanRX() override;
    void SetTimeoutTX(int ms) override { SetTimeoutWrite(static_cast<unsigned int>(ms)); }
    void SetTimeoutRX(int ms) override { uiTimeoutRX = static_cast<unsigned int>(ms); }
    int GetTimeoutRX() override { return static_cast<int>(uiTimeoutRX); }
    bool HandshakeCommunication() override;
    bool BackupPortInfo() override;
    bool RestoreportInfo() override;
    bool SaveLocationCurrentDevice() override;
    bool RestoreAddrNumFrmLocatio() override;
    CComPort& Port() override { return *this; }
    bool ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                         unsigned short index, unsigned char* data, unsigned short length,
                         unsigned int timeout) override;

    /// Lets the device live up to now: it is called whenever time has passed.
    void Pass();
    bool IsOpen() const { return open_; }

 private:
    friend class ModelUsb;
    struct Names {
        std::string vid, pid, serial;
    };
    bool IsUsb() const { return iPortType == COMMPORT_USB; }
    bool IsEthernet() const { return iPortType == COMMPORT_ETHERNET; }
    bool Reach(LineFault::How how);
    bool Find(const Names& names, bool byEnd);
    void Look();
    void Disconnect();
    bool Ready();
    void Await();
    simulator::Bytes Take(std::size_t len);
    unsigned int Fail(unsigned int* err, const char* what);
    void Note(const std::string& what);

    VirtualClock& clock_;
    simulator::DeviceModel& model_;
    LinePlan& line_;
    const int timem_;
    std::uint64_t at_;
    bool open_ = false;
    bool broken_ = false;  // Ethernet: the printer ended the connection, and nobody has noticed yet
    bool lost_ = false;    // so that bytes of the host were lost
    Names names_, kept_;
    std::optional<simulator::UsbIdentity> found_, claimed_;
    simulator::Bytes received_;  // not on USB
    std::string settings_;
};

/// The USB bus with one simulated device on it, in force for the boot engines as long as it lives. `port` is
/// the one that the engine was given: it tells the device how time passes.
class ModelUsb final : public BootUsb {
 public:
    explicit ModelUsb(PrinterPort& port) : port_(port) { Install(this); }
    ~ModelUsb() override { Install(nullptr); }

    std::unique_ptr<BootPort> MakePort() override;
    bool ListDevices(const char* vid, std::string& list) override;

 private:
    PrinterPort& port_;
};

#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/Conversation.h"
#include "harness/PrinterPort.h"

/// The input of one run, read from its front: bytes of it, and from these what each call of a port meets. An
/// input that has ended gives zeros, and calls that go as they should.
class Script {
 public:
    Script(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

    std::uint8_t Byte() { return at_ == end_ ? std::uint8_t{0} : *at_++; }
    /// Up to `most` bytes, as many as the first one says.
    simulator::Bytes Some(std::size_t most);

    enum How : std::uint8_t {
        kAsItShould,
        kError,           ///< the call fails at once
        kShort,           ///< half of what is written is taken
        kSilence,         ///< what a read was to bring is lost, after its time
        kLineFault,       ///< one byte is turned over between port and printer
        kConnectionGone,  ///< the connection breaks
        kDeviceGone,      ///< out of reach from here on ...
        kDeviceBack,      ///< ... and there again
        kBent,            ///< one byte of an answer is another
        kCut,             ///< an answer loses its end
        kDoubled,         ///< an answer comes twice
        kCode,            ///< one byte in the place of an answer
        kRaw,             ///< any bytes before an answer, which is for the next read
        kFull,            ///< the same, as many as a read may bring at most
        kDrip,            ///< from here on a byte a read, or no longer
        kSlow,            ///< the call takes long
    };
    /// What the next call meets. In the input: how many calls go well before, the kind and how often it is
    /// met one after the other (15: for good).
    How Next();

 private:
    const std::uint8_t* at_;
    const std::uint8_t* end_;
    bool loaded_ = false;
    int gap_ = 0;
    int times_ = 0;
    How how_ = kAsItShould;
};

/// What the ports of one run share.
struct HostileLine {
    VirtualClock& clock;
    simulator::DeviceModel& device;
    Script& script;
    LinePlan plan;
    Conversation conversation;
    std::uint64_t slowMs = 0;  ///< that calls took on top of what the host waits for
    int calls = 0;

    Script::How Next();
    /// Called by each read and each look at the bus: behind fifty in a row without a write they take a
    /// 64th of the time that they lasted, so that a wait of weeks is over in a thousand of them.
    void Linger();

    int looks = 0;  ///< since the last write
    std::uint64_t since = 0;
    bool dripping = false;
};

/// The port of the tests' rig with a device behind it that does whatever the script says, within the contract
/// of a port. It writes down what was said.
class HostilePort final : public PrinterPort {
 public:
    HostilePort(HostileLine& line, COMMPORTTYPE type, int timem)
        : PrinterPort(line.clock, line.device, line.plan, type, timem), line_(line) {}

    bool Open() override;
    bool Close() override;
    bool ReOpen() override;
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override;
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override;
    bool Drain() override;
    void CleanRX() override;
    bool ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                         unsigned short index, unsigned char* data, unsigned short length,
                         unsigned int timeout) override;

 private:
    std::size_t Lie(Script::How how, unsigned char* buf, std::size_t read, std::size_t limit);

    HostileLine& line_;
    simulator::Bytes rest_;  ///< of an answer that drips
};

/// The bus with the boot device on it, in force as long as it lives.
class HostileUsb final : public BootUsb {
 public:
    HostileUsb(HostileLine& line, PrinterPort& port) : line_(line), port_(port) { Install(this); }
    ~HostileUsb() override { Install(nullptr); }

    std::unique_ptr<BootPort> MakePort() override;
    bool ListDevices(const char* vid, std::string& list) override;

 private:
    HostileLine& line_;
    PrinterPort& port_;
};

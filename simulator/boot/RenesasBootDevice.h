#pragma once

#include "simulator/boot/BootDevice.h"

namespace simulator {

/// What a Renesas boot loader is.
struct RenesasBootOptions : BootOptions {
    RenesasBootOptions() { usb = {0x045B, 0x0025, "BOOT1"}; }

    std::string bootRelease = "1.00";      ///< four characters; from "1.00" on it wants to be secured
    bool newDialect = false;               ///< refuses the first security command and wants the second
    unsigned unitSize = 256;               ///< bytes of one programming unit
    std::uint32_t flashSize = 512 * 1024;  ///< of the user area, which ends at FFFFFFFF
    bool userRestarts = false;             ///< a user switches it off and on once it is locked and let go of
};

/// The boot loader of a Renesas chip: takes its commands in their order only, checks each byte, address and
/// sum, and programs its flash unit by unit. A reset after programming and locking starts the new firmware; a
/// reset before that, like a power cycle, starts the boot loader again with the flash as it is.
class RenesasBootDevice final : public BootDevice {
 public:
    /// The commands as faults and counts name them: their first byte, but for the end of programming, which
    /// shares its first byte with a unit.
    enum Command : int {
        kBitRateAdjustment = 0x55,
        kRelease = 0x32,
        kSecurity = 0x33,
        kSecurityNew = 0x34,
        kUnitSize = 0x27,
        kDeviceSelection = 0x10,
        kClockMode = 0x11,
        kUserArea = 0x25,
        kBitRate = 0x3F,
        kConfirmation = 0x06,
        kProgrammingState = 0x40,
        kStatus = 0x4F,
        kUserBlank = 0x4D,
        kDataBlank = 0x62,
        kAreaSelection = 0x43,
        kUnit = 0x50,
        kTerminate = 0x150,
        kLock = 0x7A,
        kReset = 0x31,
    };

    explicit RenesasBootDevice(RenesasBootOptions options);

    void Receive(const unsigned char* data, std::size_t size, std::uint64_t now) override;
    void ConnectionChanged(bool connected, std::uint64_t now) override;
    /// From the lowest address that was programmed to the top of the flash; erased bytes are FF.
    Bytes FlashImage() const override;
    std::string NewRelease() const override;

 private:
    /// Where in its procedure the chip is. A command moves it from one stage to another.
    enum class Stage {
        Silent,   ///< bit rate not adjusted
        Inquiry,  ///< answers inquiries, waits for the device selection
        DeviceChosen,
        ClockChosen,
        RateChosen,
        Confirmed,
        Erased,  ///< programming/erasure state
        UserBlank,
        Blank,        ///< both areas found blank
        Programming,  ///< area selected
        Terminated,
        Locked,
    };
    struct Row;

    static const Row* FindRow(int command);
    std::size_t CommandSize() const;
    int CommandOf(const Bytes& command) const;
    void Handle(const Bytes& command, std::uint64_t now);
    bool IsInOrder(const Row& row) const;
    bool IsSecured() const { return boot_.bootRelease < "1.00" || secured_; }
    Bytes Perform(int command, const Bytes& bytes);
    Bytes TakeUnit(const Bytes& frame);
    Bytes Secure(int command);
    Bytes Status() const;
    Bytes UserArea() const;
    Bytes Lock();
    void Reset();
    std::uint64_t FlashStart() const { return (std::uint64_t{1} << 32) - boot_.flashSize; }

    RenesasBootOptions boot_;
    Bytes received_;
    Stage stage_ = Stage::Silent;
    bool secured_ = false;
    bool securityRefused_ = false;
    std::vector<bool> programmed_;  ///< one a unit of the flash
    Bytes flash_;
    bool locked_ = false;  ///< and programmed to the top without a hole
};

}  // namespace simulator

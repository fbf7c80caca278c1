#pragma once

#include <cstdint>
#include <vector>

#include "protocol/UpgradeDataInfo.h"

class CComPort;
class PSWComponents;
class PSWFile;
struct CommPortSettings;

/// What a module download tells the printer's exchange about the kind of module; the values that
/// ModuleData::GetModuleID returns.
namespace ModulesAvailable {

enum ModuleType : int {
    FONTS = 1,
    FLASH_DISK = 2,
    RFID_HF = 4,
    RFID_UHF = 8,
    BLUETOOTH = 16,
    LOGOS = 64,
    RADIO_CAMERA = 128,
    OTHER = 0x8000,
};

}  // namespace ModulesAvailable

/// What every upgrade engine has: the run's settings, the module download and the bank checksums. As such it
/// can be created alone to download a module; an upgrade needs one of the engines that GetUpgradeClass
/// creates. An engine lives for one upgrade. `ctx`, `ctx1` and `ctx2` are not used.
class UpgradePrinter {
 public:
    /// `upgComponents`: bit 0 sends the firmware, bit 1 the modules. `timem` multiplies the waits.
    UpgradePrinter(int upgComponents, int timem) : iTimem(timem), iUpgComponents(upgComponents) {}
    UpgradePrinter(const UpgradePrinter&) = delete;
    UpgradePrinter& operator=(const UpgradePrinter&) = delete;

    virtual int GetTimeoutRX() { return 0; }
    /// Upgrades with a package of the old form. The base logs that it cannot and returns false.
    virtual bool StartUpgrade_PSW1(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                   CommPortSettings& settings, void* ctx1, void* ctx2,
                                   PSWComponents& components);
    /// Upgrades with a package of the new form. The base logs that it cannot and returns false.
    virtual bool StartUpgrade_PSW2(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                   CommPortSettings& settings, void* ctx1, void* ctx2,
                                   PSWComponents& components);
    virtual ~UpgradePrinter() = default;

    /// A new engine for the printer's upgrade mode, owned by the caller; null for a mode that has none.
    static UpgradePrinter* GetUpgradeClass(UPGRADEMODE mode, int upgComponents, int timem);

    /// Sums of one buffer, each kept to 16 bits: of the bytes, and of each byte XOR its index. Always true.
    static bool GetCheckSumVarda18h(const unsigned char* data, long length, unsigned long& sum,
                                    unsigned long& xorSum);
    /// The same over banks of `bankSize` bytes; the index starts again at 0 in each bank. Always true.
    static bool GetCheckSumKeldUsb(const std::vector<unsigned char*>& banks, long bankSize,
                                   unsigned long& sum, unsigned long& xorSum);

    /// A named hook of the engines for Renesas chips that nothing calls; false.
    static bool SilentDriverRenesasInstall() { return false; }

    /// Sends one module after a status handshake and waits up to ten minutes for the printer's answer byte.
    /// True when the printer programmed it. The port is closed afterwards, but for a failed handshake, which
    /// closes it only when `closeOnHandshakeError` says so.
    bool SendModuleToDevice(CComPort& port, ModulesAvailable::ModuleType type, const unsigned char* data,
                            int size, bool closeOnHandshakeError, void* ctx);
    /// The same, leaving the port open after a failed handshake.
    bool SendModule(CComPort& port, ModulesAvailable::ModuleType type, const unsigned char* data, int size,
                    void* ctx);
    /// Sends the package's modules in the order of `components`, those before the firmware, after it, or
    /// both, with `waitMs` × multiplier milliseconds after each kind. False at the first module that the
    /// printer does not take and when the port cannot be opened again; a kind that the package does not hold
    /// is passed over.
    bool SendAllModules(CComPort& port, PSWFile& package, PSWComponents& components, void* ctx, int waitMs,
                        bool sendBefore, bool sendAfter);

    char szErrorMessage[8192] = {};  ///< the last failure for the user; only engine U1 writes it
    int iUpgradeMode = 0;
    int iTimem = 1;
    int iUpgComponents = 3;

 protected:
    /// How a port is opened again while the printer restarts or re-enumerates: a pause (× the multiplier)
    /// after each attempt, nine failed ones at most.
    struct Reopening {
        int pauseMs;
        /// An exhausted loop is a failure, and no pause follows a success. Without it the caller goes on in
        /// either case: the exchange that follows fails by itself.
        bool mustOpen;
    };
    static constexpr Reopening kReopenBeforeFirmware{5000, false};
    static constexpr Reopening kReopenAfterBanks{2000, false};  ///< the printer restarts
    static constexpr Reopening kReopenOrFail{5000, true};       ///< before modules, and in engine U1

    /// True when the caller can go on.
    bool ReOpenUntilBack(CComPort& port, const Reopening& how, const char* tag) const;

 private:
    bool SendComponent(CComPort& port, PSWFile& package, std::uint32_t component, int waitMs);
};

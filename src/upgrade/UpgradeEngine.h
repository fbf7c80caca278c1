#pragma once

#include <cstdint>
#include <vector>

#include "upgrade/UpgradeFlow.h"
#include "upgrade/UpgradePrinter.h"

/// The firmware that a package carries, as every engine takes it: banks of one size, lying one after the
/// other. It points into the package, which must outlive it. A package without the header that should hold
/// its firmware gives an empty image.
struct FirmwareImage {
    int banks = 0;
    std::uint64_t bankSize = 0;     ///< bytes
    unsigned char* data = nullptr;  ///< owned by the package
    std::uint64_t length = 0;       ///< bytes at `data`; may be more than the banks take

    /// From the software module of a package of the new form, from the bin header of any other.
    static FirmwareImage Of(PSWFile& package);

    /// True when there are banks and each lies wholly in the data.
    bool HoldsItsBanks() const;

    // Only for an image that BankTransfer::TakeFirmware took; `index` is from 0 to `banks` - 1.
    int BankSize() const { return static_cast<int>(bankSize); }
    unsigned char* Bank(int index) const { return data + static_cast<std::uint64_t>(index) * bankSize; }
    /// `count` banks from `first` on.
    std::vector<unsigned char*> Banks(int first, int count) const;
};

/// The flow that every engine runs around its firmware: port preparation, modules before, firmware, waits,
/// modules after. What differs stands in the engine's row of the table in UpgradeFlow.cpp; an engine brings
/// its SendFW.
class UpgradeEngine : public UpgradePrinter {
 public:
    bool StartUpgrade_PSW1(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                           CommPortSettings& settings, void* ctx1, void* ctx2,
                           PSWComponents& components) final;
    bool StartUpgrade_PSW2(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                           CommPortSettings& settings, void* ctx1, void* ctx2,
                           PSWComponents& components) final;

    /// Brings the package's firmware into the printer. False on any failure; the reason is in the log.
    virtual bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                        void* ctx1, void* ctx2) = 0;

 protected:
    /// `mode`: of the engine's row in the table.
    UpgradeEngine(int mode, int upgComponents, int timem);

    /// Called before anything is logged, for an engine that logs the settings it takes from the printer.
    virtual void LogPrinterSettings(const UpgradeDataInfo& /*info*/, const char* /*tag*/) const {}

    /// Whether the engine can upgrade over a port of this kind; logs the flow's `notOnUsbLine` when not.
    bool TakesPort(const CComPort& port, const char* tag) const;

    /// How every SendFW comes to the printer: the port is opened again, and the status handshake made.
    bool ReachPrinter(CComPort& port, const char* tag) const;

 private:
    struct Run;
    bool SendsFirmware() const { return (iUpgComponents & 1) != 0; }
    bool SendsModules() const { return (iUpgComponents & 2) != 0; }
    void Prepare(const Run& run) const;
    bool SendModulesBefore(const Run& run);
    void ReOpenOnce(const Run& run) const;
    bool SendFirmware(const Run& run);
    bool FinishFirmware(const Run& run, bool sent);
    bool SendModulesAfter(const Run& run);

    const UpgradeFlow& flow_;
};

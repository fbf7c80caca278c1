#pragma once

#include "upgrade/UpgradeFlow.h"
#include "upgrade/UpgradePrinter.h"

/// The flow that every engine runs around its firmware: port preparation, modules before, firmware, waits,
/// modules after. An engine brings its flow record and its SendFW.
class UpgradeEngine : public UpgradePrinter {
 public:
    using UpgradePrinter::UpgradePrinter;

    bool StartUpgrade_PSW1(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                           CommPortSettings& settings, void* ctx1, void* ctx2,
                           PSWComponents& components) final;
    bool StartUpgrade_PSW2(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                           CommPortSettings& settings, void* ctx1, void* ctx2,
                           PSWComponents& components) final;

    /// Brings the package's firmware into the printer. False on any failure; the reason is in the log.
    virtual bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                        void* ctx1, void* ctx2) = 0;

    /// What differs in the flow: a constant of the engine.
    virtual const UpgradeFlow& Flow() const = 0;

 protected:
    /// Called before anything is logged, for an engine that logs the settings it takes from the printer.
    virtual void LogPrinterSettings(const UpgradeDataInfo& info, const char* tag) const;

    /// Whether the engine can upgrade over a port of this kind; logs the flow's `notOnUsbLine` when not.
    bool TakesPort(const CComPort& port, const char* tag) const;

 private:
    struct Run;
    bool SendsFirmware() const { return (iUpgComponents & 1) != 0; }
    bool SendsModules() const { return (iUpgComponents & 2) != 0; }
    void Prepare(const Run& run) const;
    bool SendModulesBefore(const Run& run);
    bool SendFirmware(const Run& run);
    bool FinishFirmware(const Run& run, bool sent);
    bool SendModulesAfter(const Run& run);
};

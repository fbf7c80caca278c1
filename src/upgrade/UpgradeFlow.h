#pragma once

#include <memory>

class UpgradePrinter;

/// What a procedure has of its own in the flow around its firmware, and which engine runs it: a row of the
/// table in UpgradeFlow.cpp, which is the list of the procedures.
struct UpgradeFlow {
    /// What is done first so that modules come after the firmware and a USB printer is found again.
    enum Preparation { kUnprepared, kConvertThenBackup, kBackupThenConvert };
    /// The single re-open (result ignored) between the modules before and the firmware.
    enum Reopen { kNoReopen, kReopenForFirmware, kReopenAlways };
    /// What follows a firmware that was taken, and how its failure is logged.
    enum AfterFirmware {
        kWaitOnly,      ///< the module time-out × multiplier, modules or not
        kSettleScaled,  ///< 8 s × multiplier; before modules the module time-out × multiplier
        kSettleFixed,   ///< 8 s × multiplier; before modules the module time-out as it is
    };
    /// What is done to the port before the modules that come after the firmware.
    enum Restore { kNothing, kReOpen, kRestorePortInfo };

    int mode = 0;    ///< the printer's UPGRADEMODE
    int number = 0;  ///< the engine's `iUpgradeMode`
    std::unique_ptr<UpgradePrinter> (*make)(int upgComponents, int timem) = nullptr;
    int moduleTimeoutMs = 0;
    Preparation preparation = kUnprepared;
    const char* notOnUsbLine = nullptr;  ///< logged, and the upgrade refused, on a port that is not USB
    Reopen reopen = kNoReopen;
    AfterFirmware afterFirmware = kWaitOnly;
    const char* handshakeLine = "";  ///< logged by SendFW when the status handshake fails
    Restore restore = kNothing;
    bool modulesBefore = false;       ///< the flow has a step for modules before the firmware
    bool mustReopen = false;          ///< SendFW ends when its own re-open loop is exhausted
    bool numberInPsw1Result = false;  ///< the result line of StartUpgrade_PSW1 carries the number

    /// The row of a mode; one without an engine when there is none.
    static const UpgradeFlow& Of(int mode);
};

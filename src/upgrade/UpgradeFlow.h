#pragma once

/// What differs between the engines in the flow around their firmware: one constant record an engine.
struct UpgradeFlow {
    /// What is done first so that modules come after the firmware and a USB printer is found again.
    enum class Preparation { kNone, kConvertThenBackup, kBackupThenConvert };
    /// The single re-open (result ignored) between the modules before and the firmware.
    enum class Reopen { kNever, kWhenSendingFirmware, kAlways };
    /// What follows a firmware that was taken, and how its failure is logged.
    enum class AfterFirmware {
        kWaitOnly,              ///< the module time-out × multiplier, modules or not
        kSettleThenScaledWait,  ///< 8 s × multiplier; before modules the module time-out × multiplier
        kSettleThenFixedWait,   ///< 8 s × multiplier; before modules the module time-out as it is
    };
    /// What is done to the port before the modules that come after the firmware.
    enum class Restore { kNothing, kRestorePortInfo, kReOpen };

    int moduleTimeoutMs = 10000;
    Preparation preparation = Preparation::kNone;
    const char* notOnUsbLine = nullptr;  ///< logged, and the upgrade refused, on a port that is not USB
    bool modulesBefore = true;           ///< the flow has a step for modules before the firmware
    Reopen reopen = Reopen::kNever;
    AfterFirmware afterFirmware = AfterFirmware::kSettleThenScaledWait;
    Restore restore = Restore::kNothing;
    bool numberInPsw1Result = false;  ///< the result line of StartUpgrade_PSW1 carries the number
};

#pragma once

#include <memory>
#include <string>
#include <utility>

#include "TestPackage.h"
#include "harness/LogCapture.h"
#include "harness/ModelPort.h"
#include "harness/ScriptedPort.h"
#include "harness/VirtualClock.h"
#include "port/CommPortSettings.h"
#include "protocol/UpgradeDataInfo.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "upgrade/UpgradePrinter_ModeU2.h"
#include "upgrade/UpgradePrinter_ModeU4.h"

/// The two engines of Renesas chips, by name in test tables.
enum class Chip { U2, U4 };

inline std::shared_ptr<RenesasBoot> MakeEngine(Chip chip, int timem = 1) {
    if (chip == Chip::U2) return std::make_shared<UpgradePrinter_ModeU2>(3, timem);
    return std::make_shared<UpgradePrinter_ModeU4>(3, timem);
}

inline simulator::RenesasBootOptions BootOptions(const std::string& release, bool newDialect = false) {
    simulator::RenesasBootOptions options;
    options.bootRelease = release;
    options.newDialect = newDialect;
    options.unitSize = 16;
    return options;
}

/// A boot loader that the engine can upgrade: engine U4 does not secure it.
inline simulator::RenesasBootOptions BootOptions(Chip chip, std::vector<simulator::BootFault> faults = {}) {
    simulator::RenesasBootOptions options = BootOptions(chip == Chip::U2 ? "1.00" : "0.99");
    options.faults = std::move(faults);
    return options;
}

/// One boot device, its port, and the engine on it.
struct RenesasRig {
    RenesasRig(Chip chip, const simulator::RenesasBootOptions& options, int timem = 1)
        : device(options), port(clock, device), engine(MakeEngine(chip, timem)) {}

    bool Connect() { return engine->InitConnectRenesasDevice(port, name.c_str(), err, unitSize); }
    int Program(const Bytes& firmware, int size) {
        TestPackage package("106", 1, firmware);
        UpgradeDataInfo info;
        CommPortSettings settings;
        return engine->StartUpgradeUsb(info, port, name.c_str(), package.file, settings, nullptr, nullptr,
                                       size);
    }

    VirtualClock clock;
    simulator::RenesasBootDevice device;
    ModelPort port;
    std::shared_ptr<RenesasBoot> engine;
    std::string name = "045B|0025|BOOT1";
    BTPRGERROR err = BTPRG_RELEASE_UNAVAILABLE;
    int unitSize = -1;
};

/// A whole SendFW on a printer whose conversation is a script, with the boot device on a bus of its own.
template <class Device, class Options>
struct BootRun {
    BootRun(std::shared_ptr<UpgradeEngine> upgrade, COMMPORTTYPE type, const Options& options,
            const Bytes& firmware)
        : printer(&clock, type),
          device(options),
          bus(clock, device),
          engine(std::move(upgrade)),
          package("106", 1, firmware) {}

    /// False, or true, with the lines of "SendFW".
    std::pair<bool, Lines> SendFW() {
        LogCapture log;
        const bool sent = engine->SendFW(info, printer, package.file, settings, nullptr, nullptr);
        return {sent, log.Take("SendFW")};
    }

    VirtualClock clock;
    ScriptedPort printer;
    Device device;
    ModelBus bus;
    std::shared_ptr<UpgradeEngine> engine;
    TestPackage package;
    UpgradeDataInfo info;
    CommPortSettings settings;
};

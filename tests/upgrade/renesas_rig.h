#pragma once

#include <memory>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/ModelPort.h"
#include "harness/ScriptedPort.h"
#include "harness/VirtualClock.h"
#include "package/PSWFile.h"
#include "package/PSWHeaderBin.h"
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
    options.flashSize = 512 * 1024;
    return options;
}

/// A boot loader that the engine can upgrade: engine U4 does not secure it.
inline simulator::RenesasBootOptions BootOptions(Chip chip) {
    return BootOptions(chip == Chip::U2 ? "1.00" : "0.99");
}

/// Fills `package` with a firmware of the old form.
inline void SetFirmware(PSWFile& package, const simulator::Bytes& firmware) {
    auto bin = std::make_unique<PSWHeaderBin>();
    bin->uiBinLength = firmware.size();
    bin->pData = std::make_unique<unsigned char[]>(firmware.size());
    std::copy(firmware.begin(), firmware.end(), bin->pData.get());
    bin->iNumBanks = 1;
    bin->uiBinSize = firmware.size();
    package.Add(bin.release());
}

inline simulator::Bytes Counting(std::size_t size) {
    simulator::Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return bytes;
}

/// One boot device, its port, and the engine on it.
struct RenesasRig {
    RenesasRig(Chip chip, const simulator::RenesasBootOptions& options, int timem = 1)
        : device(options), port(clock, device), engine(MakeEngine(chip, timem)) {}

    bool Connect() { return engine->InitConnectRenesasDevice(port, name.c_str(), err, unitSize); }
    int Program(const simulator::Bytes& firmware, int size) {
        PSWFile package;
        SetFirmware(package, firmware);
        UpgradeDataInfo info;
        CommPortSettings settings;
        return engine->StartUpgradeUsb(info, port, name.c_str(), package, settings, nullptr, nullptr, size);
    }

    VirtualClock clock;
    simulator::RenesasBootDevice device;
    ModelPort port;
    std::shared_ptr<RenesasBoot> engine;
    std::string name = "045B|0025|BOOT1";
    BTPRGERROR err = BTPRG_RELEASE_UNAVAILABLE;
    int unitSize = -1;
};

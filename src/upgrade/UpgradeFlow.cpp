#include "upgrade/UpgradeFlow.h"

#include "upgrade/UpgradePrinter_ModeU1.h"
#include "upgrade/UpgradePrinter_ModeU2.h"
#include "upgrade/UpgradePrinter_ModeU3.h"
#include "upgrade/UpgradePrinter_ModeU4.h"
#include "upgrade/UpgradePrinter_ModeU5.h"
#include "upgrade/UpgradePrinter_ModeU6.h"

namespace {

template <class Engine>
std::unique_ptr<UpgradePrinter> Make(int upgComponents, int timem) {
    return std::make_unique<Engine>(upgComponents, timem);
}

using F = UpgradeFlow;
constexpr const char* kAnyPort = nullptr;
constexpr char kUsbOnly[] = "Upgrade U2 just support USB port error \\n";
constexpr char kHandshake[] = "Handshake Communication Error";
constexpr char kHandshakePoint[] = "Handshake Communication Error.";

// Two lines a procedure:
//   mode, engine, number, module time-out in ms, preparation, refusal of other ports
//       modules before, re-open, SendFW must re-open, its handshake line, after firmware, restore, PSW1
//       number
// kept: the number of U4 is that of U2, on purpose; nothing reads it.
// clang-format off
constexpr UpgradeFlow kFlows[] = {
    {1, Make<UpgradePrinter_ModeU1>, 1, 10000, F::kUnprepared,        kAnyPort,
        true,  F::kReopenForFirmware, true,  kHandshake,      F::kWaitOnly,     F::kReOpen,          true},
    {2, Make<UpgradePrinter_ModeU2>, 2, 20000, F::kConvertThenBackup, kUsbOnly,
        false, F::kNoReopen,          false, kHandshake,      F::kSettleFixed,  F::kRestorePortInfo, false},
    {3, Make<UpgradePrinter_ModeU3>, 3, 20000, F::kUnprepared,        kAnyPort,
        true,  F::kNoReopen,          false, kHandshake,      F::kSettleFixed,  F::kNothing,         false},
    {4, Make<UpgradePrinter_ModeU4>, 2, 10000, F::kBackupThenConvert, kAnyPort,
        true,  F::kReopenAlways,      false, kHandshake,      F::kSettleScaled, F::kRestorePortInfo, false},
    {5, Make<UpgradePrinter_ModeU5>, 5, 10000, F::kConvertThenBackup, kAnyPort,
        true,  F::kNoReopen,          false, kHandshakePoint, F::kSettleScaled, F::kRestorePortInfo, false},
    {6, Make<UpgradePrinter_ModeU6>, 6, 10000, F::kConvertThenBackup, kAnyPort,
        true,  F::kNoReopen,          false, kHandshakePoint, F::kSettleScaled, F::kRestorePortInfo, false},
};
// clang-format on
constexpr UpgradeFlow kNoProcedure;

}  // namespace

const UpgradeFlow& UpgradeFlow::Of(int mode) {
    for (const UpgradeFlow& flow : kFlows) {
        if (flow.mode == mode) return flow;
    }
    return kNoProcedure;
}

UpgradePrinter* UpgradePrinter::GetUpgradeClass(UPGRADEMODE mode, int upgComponents, int timem) {
    const UpgradeFlow& flow = UpgradeFlow::Of(static_cast<int>(mode));
    return flow.make == nullptr ? nullptr : flow.make(upgComponents, timem).release();
}

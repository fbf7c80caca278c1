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
//   mode, number, engine, module time-out in ms, preparation, refusal of other ports
//       re-open, after firmware, handshake line of SendFW, restore, modules before, must re-open, PSW1 number
// kept: the number of U4 is that of U2, on purpose; nothing reads it.
// clang-format off
constexpr UpgradeFlow kFlows[] = {
    {1, 1, Make<UpgradePrinter_ModeU1>, 10000, F::kUnprepared,        kAnyPort,
        F::kReopenForFirmware, F::kWaitOnly,     kHandshake,      F::kReOpen,          true,  true,  true},
    {2, 2, Make<UpgradePrinter_ModeU2>, 20000, F::kConvertThenBackup, kUsbOnly,
        F::kNoReopen,          F::kSettleFixed,  kHandshake,      F::kRestorePortInfo, false, false, false},
    {3, 3, Make<UpgradePrinter_ModeU3>, 20000, F::kUnprepared,        kAnyPort,
        F::kNoReopen,          F::kSettleFixed,  kHandshake,      F::kNothing,         true,  false, false},
    {4, 2, Make<UpgradePrinter_ModeU4>, 10000, F::kBackupThenConvert, kAnyPort,
        F::kReopenAlways,      F::kSettleScaled, kHandshake,      F::kRestorePortInfo, true,  false, false},
    {5, 5, Make<UpgradePrinter_ModeU5>, 10000, F::kConvertThenBackup, kAnyPort,
        F::kNoReopen,          F::kSettleScaled, kHandshakePoint, F::kRestorePortInfo, true,  false, false},
    {6, 6, Make<UpgradePrinter_ModeU6>, 10000, F::kConvertThenBackup, kAnyPort,
        F::kNoReopen,          F::kSettleScaled, kHandshakePoint, F::kRestorePortInfo, true,  false, false},
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

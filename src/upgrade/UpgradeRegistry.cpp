#include <memory>

#include "upgrade/UpgradePrinter.h"
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

/// One row an engine: the printer's upgrade mode and the maker.
struct EngineRow {
    int mode;
    std::unique_ptr<UpgradePrinter> (*make)(int upgComponents, int timem);
};

constexpr EngineRow kEngines[] = {
    {1, Make<UpgradePrinter_ModeU1>}, {2, Make<UpgradePrinter_ModeU2>}, {3, Make<UpgradePrinter_ModeU3>},
    {4, Make<UpgradePrinter_ModeU4>}, {5, Make<UpgradePrinter_ModeU5>}, {6, Make<UpgradePrinter_ModeU6>},
};

}  // namespace

UpgradePrinter* UpgradePrinter::GetUpgradeClass(UPGRADEMODE mode, int upgComponents, int timem) {
    for (const EngineRow& row : kEngines) {
        if (row.mode == static_cast<int>(mode)) return row.make(upgComponents, timem).release();
    }
    return nullptr;
}

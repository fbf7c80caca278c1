#include "simulator/FaultPlan.h"

namespace simulator {

const Fault* FaultPlan::Next(Exchange exchange, bool upgraded) {
    Counts& counts = counts_[exchange];
    ++counts.all;
    if (upgraded) ++counts.upgraded;
    for (const Fault& fault : faults_) {
        if (fault.exchange != exchange || (fault.afterUpgrade && !upgraded)) continue;
        const int occurrence = fault.afterUpgrade ? counts.upgraded : counts.all;
        if (occurrence >= fault.first && occurrence <= fault.last) return &fault;
    }
    return nullptr;
}

int FaultPlan::Count(Exchange exchange) const {
    const auto counts = counts_.find(exchange);
    return counts == counts_.end() ? 0 : counts->second.all;
}

}  // namespace simulator

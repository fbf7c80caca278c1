#include "simulator/FaultPlan.h"

namespace simulator {

const Fault* FaultPlan::Next(Exchange exchange) {
    const int occurrence = ++counts_[exchange];
    for (const Fault& fault : faults_) {
        if (fault.exchange == exchange && occurrence >= fault.first && occurrence <= fault.last)
            return &fault;
    }
    return nullptr;
}

int FaultPlan::Count(Exchange exchange) const {
    const auto counts = counts_.find(exchange);
    return counts == counts_.end() ? 0 : counts->second;
}

}  // namespace simulator

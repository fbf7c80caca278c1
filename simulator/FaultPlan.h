#pragma once

#include <map>
#include <utility>
#include <vector>

#include "simulator/PrinterOptions.h"

namespace simulator {

/// Counts exchanges and finds the fault that an occurrence meets.
class FaultPlan {
 public:
    explicit FaultPlan(std::vector<Fault> faults) : faults_(std::move(faults)) {}

    /// Counts one more occurrence. The fault that hits it, or null; valid as long as the plan.
    const Fault* Next(Exchange exchange);

    int Count(Exchange exchange) const;

 private:
    std::vector<Fault> faults_;
    std::map<Exchange, int> counts_;
};

}  // namespace simulator

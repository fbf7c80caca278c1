#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

/// The identifiers of the logos that a printer holds, always in ascending order.
class LogosIDList {
 public:
    void AddID(unsigned long id) { uiIDs.insert(std::upper_bound(uiIDs.begin(), uiIDs.end(), id), id); }

    /// Adds all of them in one go: a long list would take its length squared one by one.
    void AddIDs(const std::vector<std::uint64_t>& ids) {
        uiIDs.insert(uiIDs.end(), ids.begin(), ids.end());
        std::sort(uiIDs.begin(), uiIDs.end());
    }

    const std::vector<std::uint64_t>& GetIDs() const { return uiIDs; }

 private:
    std::vector<std::uint64_t> uiIDs;
};

#pragma once

#include <cstdint>
#include <vector>

/// The identifiers of the logos that a printer holds, always in ascending order.
class LogosIDList {
 public:
    void AddID(unsigned long id);

    /// Adds all of them in one go: a long list would take its length squared one by one.
    void AddIDs(const std::vector<std::uint64_t>& ids);

    const std::vector<std::uint64_t>& GetIDs() const { return uiIDs; }

 private:
    std::vector<std::uint64_t> uiIDs;
};

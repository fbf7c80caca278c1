#pragma once

#include <cstdint>
#include <vector>

/// The identifiers of a printer's setup items, in its order.
class SetupItemIDList {
 public:
    void AddID(std::uint64_t id) { uiIDs.push_back(id); }

    const std::vector<std::uint64_t>& GetIDs() const { return uiIDs; }

 private:
    std::vector<std::uint64_t> uiIDs;
};

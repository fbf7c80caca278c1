#include "protocol/LogosIDList.h"

#include <algorithm>

void LogosIDList::AddID(unsigned long id) {
    uiIDs.insert(std::upper_bound(uiIDs.begin(), uiIDs.end(), id), id);
}

void LogosIDList::AddIDs(const std::vector<std::uint64_t>& ids) {
    uiIDs.insert(uiIDs.end(), ids.begin(), ids.end());
    std::sort(uiIDs.begin(), uiIDs.end());
}

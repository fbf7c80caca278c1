#include "protocol/StatusInfoExtData.h"

#include <memory>
#include <utility>

bool StatusInfoExtData::AddStatusBitInfo(StatusBitInfo* info) {
    std::unique_ptr<StatusBitInfo> owned(info);
    if (owned == nullptr || owned->iByte > iNumBytes) return false;
    bitList.Put(std::move(owned));
    return true;
}

void StatusInfoExtData::AddStatusBitInfoList(const std::vector<StatusBitInfo*>& list) {
    for (StatusBitInfo* const info : list) AddStatusBitInfo(info);
}

std::vector<StatusBitInfo*> StatusInfoExtData::GetOnlyBitsAvailable() const {
    return bitList.InBitOrder(iNumBytes);
}

#include "protocol/StatusInfoExtData.h"

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

std::unique_ptr<std::vector<StatusBitInfo*>> StatusInfoExtData::GetOnlyBitsAvailable() const {
    return std::make_unique<std::vector<StatusBitInfo*>>(bitList.InBitOrder(iNumBytes));
}

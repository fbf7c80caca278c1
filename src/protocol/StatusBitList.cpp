#include "protocol/StatusBitList.h"

#include <algorithm>
#include <utility>

void StatusBitList::Put(std::unique_ptr<StatusBitInfo> info) {
    const auto same = std::find_if(listBits.begin(), listBits.end(), [&](const auto& known) {
        return known->iByte == info->iByte && known->iBit == info->iBit;
    });
    if (same != listBits.end())
        *same = std::move(info);
    else
        listBits.push_back(std::move(info));
}

std::vector<StatusBitInfo*> StatusBitList::InBitOrder(std::int32_t bytes) const {
    // The list is sorted instead of looked up for each bit: a printer may announce any number of bytes.
    std::vector<StatusBitInfo*> bits;
    for (const auto& info : listBits)
        if (info->iByte >= 1 && info->iByte <= bytes && info->iBit >= 0 && info->iBit <= 7)
            bits.push_back(info.get());
    std::stable_sort(bits.begin(), bits.end(), [](const StatusBitInfo* left, const StatusBitInfo* right) {
        return std::pair(left->iByte, left->iBit) < std::pair(right->iByte, right->iBit);
    });
    return bits;
}

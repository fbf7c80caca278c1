#include "protocol/StatusBitInfo.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "protocol/ProtocollFieldInfo.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "support/Text.h"

namespace {

bool ParseOrLog(const char* tag, const char* text, std::int32_t& value) {
    if (GenericFunctions::ParseCheckInt(text, &value)) return true;
    Log::WriteLog(tag, text != nullptr ? text : "");
    return false;
}

}  // namespace

StatusBitInfo::StatusBitInfo(std::int32_t byte, std::int32_t bit, std::int32_t id, const char* description,
                             const char* additionalDescription, SignalFamilyTable signalFamily)
    : iByte(byte), iBit(bit), iID(id), iSignalFamily(signalFamily) {
    CopyText(strDescription, description);
    CopyText(strAdditionalDescription, additionalDescription);
}

bool StatusBitInfo::AddByteBit(const char* text) {
    const char* const tag = "AddByteBit";
    const std::string whole(text != nullptr ? text : "");
    std::string copy = whole;
    std::vector<char*> parts;
    GenericFunctions::splitModify(copy.data(), "|", parts);
    if (parts.size() != 2) {
        Log::Write(tag, whole);
        return false;
    }
    // kept: a failure names the text's first or second character, whatever stands there
    const struct {
        const char* part;
        std::int32_t* number;
        char named;
    } numbers[] = {{parts.front(), &iByte, whole[0]}, {parts.back(), &iBit, whole[1]}};
    for (const auto& row : numbers) {
        if (GenericFunctions::ParseCheckInt(row.part, row.number)) continue;
        Log::WriteLogP(tag, "Error extracting byte value from %c", row.named);
        return false;
    }
    return true;
}

bool StatusBitInfo::AddId(const char* text) {
    return ParseOrLog("AddId", text, iID);
}

bool StatusBitInfo::AddSignal(const char* text) {
    return ParseOrLog("AddSignal", text, iSignalFamily);
}

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

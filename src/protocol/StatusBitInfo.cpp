#include "protocol/StatusBitInfo.h"

#include <string>
#include <vector>

#include "protocol/FixedText.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"

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
    CopyFixedText(strDescription, description);
    CopyFixedText(strAdditionalDescription, additionalDescription);
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

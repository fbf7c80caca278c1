#include "package/PSWHeaderBin.h"

#include <optional>

#include "package/PSWField.h"
#include "support/Log.h"

const char* const PSWHeaderBin::HeaderMarker[] = {"?", "@", nullptr};

namespace {

const char* const kTag = "ExtractHederInfo";

using B = PSWHeaderBin;
constexpr PSWField<B> kOldFields[] = {
    {"uiBinLength", 1, 3, &B::uiBinLength},
    {"iNumBanks", 4, 1, &B::iNumBanks},
    {"uiBinSize", 5, 3, &B::uiBinSize},
};
constexpr PSWField<B> kNewFields[] = {
    {"uiBinLength", 1, 4, &B::uiBinLength},
};
static_assert(FitsRecord(kOldFields) && FitsRecord(kNewFields));

constexpr int kOldFieldsEnd = 8;
constexpr int kNewFieldsEnd = 5;

}  // namespace

int PSWHeaderBin::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    iPswType = MarkerIndex(file, position, HeaderMarker) == 0 ? 1 : 0;
    Log::WriteLogP(kTag, "iPswType: %d\n", iPswType);  // kept: with a line feed of its own
    pData.reset();
    iNumBanks = 0;
    uiBinSize = 0;
    const bool read = iPswType == 1 ? ReadFields(kNewFields, file, position, *this)
                                    : ReadFields(kOldFields, file, position, *this);
    if (!read) return -1;
    iStartDataIntoFile = position + (iPswType == 1 ? kNewFieldsEnd : kOldFieldsEnd);
    Log::WriteLogP(kTag, "iStartDataIntoFile: %d", iStartDataIntoFile);
    return CopyPayload(file) ? 0 : -1;
}

bool PSWHeaderBin::CopyPayload(ByteView file) {
    const std::optional<ByteView> payload =
        file.Slice(static_cast<std::size_t>(iStartDataIntoFile), uiBinLength);
    if (!payload) {
        Log::WriteLogP(kTag, "The payload of %llu bytes from %d does not lie in the file of %zu bytes",
                       static_cast<unsigned long long>(uiBinLength), iStartDataIntoFile, file.size);
        return false;
    }
    pData = CopyBytes(*payload);
    return pData != nullptr;
}

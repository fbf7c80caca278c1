#include "package/PSWHeaderBin.h"

#include "package/PSWRecord.h"
#include "support/Log.h"

int PSWHeaderBin::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    static constexpr char kTag[] = "ExtractHederInfo";
    PSWRecord record(file, position);
    iPswType = record.MarkerIndex(HeaderMarker) == 0 ? 1 : 0;
    Log::WriteLogP(kTag, "iPswType: %d\n", iPswType);  // kept: with a line feed of its own
    pData.reset();
    iNumBanks = 0;
    uiBinSize = 0;
    record.Unsigned("uiBinLength", iPswType == 1 ? 4 : 3, uiBinLength);
    if (iPswType == 0) {
        record.Int("iNumBanks", 1, iNumBanks);
        record.Unsigned("uiBinSize", 3, uiBinSize);
    }
    if (!record.Ok()) return -1;
    iStartDataIntoFile = position + (iPswType == 1 ? 5 : 8);
    Log::WriteLogP(kTag, "iStartDataIntoFile: %d", iStartDataIntoFile);
    const std::optional<ByteView> payload = file.From(iStartDataIntoFile).Slice(0, uiBinLength);
    if (payload) {
        pData = CopyBytes(*payload);
    } else {
        Log::WriteLogP(kTag, "The payload of %llu bytes from %d does not lie in the file of %zu bytes",
                       static_cast<unsigned long long>(uiBinLength), iStartDataIntoFile, file.size);
    }
    return pData != nullptr ? 0 : -1;
}

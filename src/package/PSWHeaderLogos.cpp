#include "package/PSWHeaderLogos.h"

#include "package/PSWRecord.h"
#include "support/Log.h"

int PSWHeaderLogos::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    PSWRecord record(file, position);
    iPswType = record.Form(HeaderMarker);
    record.Int("iNumLogo", 1, iNumLogo);
    record.Int("iTotLogos", 1, iTotLogos);
    record.Int("iDotSizeX", 2, iDotSizeX);
    record.Int("iDotSizeY", 2, iDotSizeY);
    record.Unsigned("uiAddrStart", iPswType == 1 ? 4 : 3, uiAddrStart);
    record.Int("iNumColors", 1, iNumColors);
    if (iPswType == 1) {
        record.Text("strRelHeaderSupp", 3, strRelHeaderSupp);
        record.Text("strHeaderType", 1, strHeaderType);
    }
    return record.Result();
}

int PSWHeaderLogos::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    const std::int64_t start =
        static_cast<std::int64_t>(uiAddrStart) - (iPswType == 1 ? payloadFilePosition : 0);
    const std::int64_t imageBytes = std::int64_t{iDotSizeY} * (iDotSizeX / 8);
    if (!TakeSlice(payload, start, static_cast<std::uint64_t>(imageBytes), pData, uiDataSize))
        Log::WriteLogP("ExtractDataBuffer", "Logo %d does not lie in the payload: left empty", iNumLogo);
    return 0;
}

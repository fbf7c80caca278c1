#include "package/PSWHeaderUpgrade.h"

#include "package/PSWHeaderSoftware.h"
#include "package/PSWRecord.h"

int PSWHeaderUpgrade::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    PSWRecord record(file, position);
    iPswType = record.Form(PSWHeaderSoftware::HeaderMarker);
    record.Skip(iPswType == 1 ? 10 : 5);
    if (record.NextByte() != HeaderMarkerExtraInfo) return 0;
    record.Skip(1);
    record.Int("iIDFamily", 2, iIDFamily);
    record.Int("iIDModel", 2, iIDModel);
    record.Int("iIDCustomization", 2, iIDCustomization);
    return record.Result();
}

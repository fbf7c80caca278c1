#include "package/PSWHeaderSoftware.h"

#include "package/PSWHeaderUpgrade.h"
#include "package/PSWRecord.h"

int PSWHeaderSoftware::ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) {
    PSWRecord record(file, position);
    iPswType = record.Form(HeaderMarker);
    if (iPswType == 1) {
        record.Skip(2);
        record.Unsigned("uiAddrStart", 4, uiAddrStart);
        record.Text("strRelHeaderSupp", 3, strRelHeaderSupp);
        record.Text("strHeaderType", 1, strHeaderType);
    } else {
        record.Int("iNumBank", 1, iNumBank);
        record.Int("iNumTotBanks", 1, iNumTotBanks);
        record.Unsigned("uiAddrStart", 3, uiAddrStart);
    }
    record.Int("bex", 1, bex);
    if (record.Ok() && upgradeFieldsFollow != nullptr)
        *upgradeFieldsFollow = bex == PSWHeaderUpgrade::HeaderMarkerExtraInfo;
    return record.Result();
}

#include "package/PSWHeaderGenericData.h"

#include "package/PSWRecord.h"

int PSWHeaderGenericData::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    PSWRecord record(file, position);
    record.Int("iBlock", 1, iBlock);
    record.Int("iTotBlocks", 1, iTotBlocks);
    record.Unsigned("uiAddrStart", 4, uiAddrStart);
    record.Text("strRelHeaderSupp", 3, strRelHeaderSupp);
    record.Text("strHeaderType", 1, strHeaderType);
    return record.Result();
}

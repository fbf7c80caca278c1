#include "package/PSWHeaderPrinter.h"

#include "package/PSWRecord.h"

namespace {

int PortType(std::uint64_t letter) {
    if (letter == 'S') return 0;
    return letter == 'P' ? 1 : 2;
}

int PswType(std::uint64_t letter) {
    return letter == '2' ? 1 : 0;
}

}  // namespace

int PSWHeaderPrinter::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    PSWRecord record(file, position);
    record.Text("strPrinterModel", 8, strPrinterModel);
    record.Text("strReleaseHW", 2, strReleaseHW);
    record.Text("strReleasePSW", 3, strReleasePSW);
    record.Text("strCreationDate", 6, strCreationDate);
    record.Int("iNumBanksVectorInterrupt", 1, iNumBanksVectorInterrupt);
    record.Int("iGSILow", 1, iGSILow);
    record.Int("cComPortType", 1, cComPortType, PortType);
    record.Int("iScrambleByte", 1, iScrambleByte);
    record.Int("iPswType", 1, iPswType, PswType);
    record.Int("iGSIHight", 1, iGSIHight);
    record.Unsigned("uiChecksum", 4, uiChecksum);
    return record.Result();
}

#include "package/PSWHeaderPrinter.h"

#include "package/PSWField.h"

const char* const PSWHeaderPrinter::HeaderMarker[] = {"P", nullptr};

namespace {

int PortType(std::uint64_t letter) {
    if (letter == 'S') return 0;
    return letter == 'P' ? 1 : 2;
}

int PswType(std::uint64_t letter) {
    return letter == '2' ? 1 : 0;
}

using P = PSWHeaderPrinter;
constexpr PSWField<P> kFields[] = {
    {"strPrinterModel", 1, 8, &P::strPrinterModel},
    {"strReleaseHW", 9, 2, &P::strReleaseHW},
    {"strReleasePSW", 11, 3, &P::strReleasePSW},
    {"strCreationDate", 14, 6, &P::strCreationDate},
    {"iNumBanksVectorInterrupt", 20, 1, &P::iNumBanksVectorInterrupt},
    {"iGSILow", 21, 1, &P::iGSILow},
    {"cComPortType", 22, 1, &P::cComPortType, PortType},
    {"iScrambleByte", 23, 1, &P::iScrambleByte},
    {"iPswType", 24, 1, &P::iPswType, PswType},
    {"iGSIHight", 25, 1, &P::iGSIHight},
    {"uiChecksum", 26, 4, &P::uiChecksum},
};
static_assert(FitsRecord(kFields));

}  // namespace

int PSWHeaderPrinter::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    return ReadFields(kFields, file, position, *this) ? 0 : -1;
}

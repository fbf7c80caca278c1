#include "package/PSWHeaderSoftware.h"

#include "package/PSWField.h"
#include "package/PSWHeaderUpgrade.h"

const char* const PSWHeaderSoftware::HeaderMarker[] = {"s", "S", nullptr};

namespace {

using S = PSWHeaderSoftware;
constexpr PSWField<S> kOldFields[] = {
    {"iNumBank", 1, 1, &S::iNumBank},
    {"iNumTotBanks", 2, 1, &S::iNumTotBanks},
    {"uiAddrStart", 3, 3, &S::uiAddrStart},
    {"bex", 6, 1, &S::bex},
};
constexpr PSWField<S> kNewFields[] = {
    {"uiAddrStart", 3, 4, &S::uiAddrStart},
    {"strRelHeaderSupp", 7, 3, &S::strRelHeaderSupp},
    {"strHeaderType", 10, 1, &S::strHeaderType},
    {"bex", 11, 1, &S::bex},
};
static_assert(FitsRecord(kOldFields) && FitsRecord(kNewFields));

}  // namespace

int PSWHeaderSoftware::ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) {
    iPswType = ReadForm(file, position, HeaderMarker);
    const bool read = iPswType == 1 ? ReadFields(kNewFields, file, position, *this)
                                    : ReadFields(kOldFields, file, position, *this);
    if (!read) return -1;
    if (upgradeFieldsFollow != nullptr) *upgradeFieldsFollow = bex == PSWHeaderUpgrade::HeaderMarkerExtraInfo;
    return 0;
}

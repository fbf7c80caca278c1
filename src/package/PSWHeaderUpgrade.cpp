#include "package/PSWHeaderUpgrade.h"

#include "package/ByteCursor.h"
#include "package/PSWField.h"
#include "package/PSWHeaderSoftware.h"

namespace {

using U = PSWHeaderUpgrade;
constexpr PSWField<U> kOldFields[] = {
    {"iIDFamily", 7, 2, &U::iIDFamily},
    {"iIDModel", 9, 2, &U::iIDModel},
    {"iIDCustomization", 11, 2, &U::iIDCustomization},
};
constexpr PSWField<U> kNewFields[] = {
    {"iIDFamily", 12, 2, &U::iIDFamily},
    {"iIDModel", 14, 2, &U::iIDModel},
    {"iIDCustomization", 16, 2, &U::iIDCustomization},
};
static_assert(FitsRecord(kOldFields) && FitsRecord(kNewFields));

constexpr std::size_t kOldBexOffset = 6;
constexpr std::size_t kNewBexOffset = 11;

}  // namespace

int PSWHeaderUpgrade::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    iPswType = ReadForm(file, position, PSWHeaderSoftware::HeaderMarker);
    const std::size_t bexOffset = iPswType == 1 ? kNewBexOffset : kOldBexOffset;
    const auto bex = ByteCursor(file, static_cast<std::size_t>(position) + bexOffset).BigEndian(1);
    if (bex != HeaderMarkerExtraInfo) return 0;
    const bool read = iPswType == 1 ? ReadFields(kNewFields, file, position, *this)
                                    : ReadFields(kOldFields, file, position, *this);
    return read ? 0 : -1;
}

#include "package/PSWHeaderGenericData.h"

#include "package/PSWField.h"

const char* const PSWHeaderGenericData::HeaderMarker[] = {"d", nullptr};

namespace {

using D = PSWHeaderGenericData;
constexpr PSWField<D> kFields[] = {
    {"iBlock", 1, 1, &D::iBlock},
    {"iTotBlocks", 2, 1, &D::iTotBlocks},
    {"uiAddrStart", 3, 4, &D::uiAddrStart},
    {"strRelHeaderSupp", 7, 3, &D::strRelHeaderSupp},
    {"strHeaderType", 10, 1, &D::strHeaderType},
};
static_assert(FitsRecord(kFields));

}  // namespace

int PSWHeaderGenericData::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    return ReadFields(kFields, file, position, *this) ? 0 : -1;
}

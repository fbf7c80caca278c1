#pragma once

#include "package/PSWField.h"

/// The layout that the two loader records share. Their texts are logged as the numbers that their bytes make
/// (kept).
template <class Header>
struct PSWLoaderFields {
    static constexpr PSWField<Header> kFields[] = {
        {"uiAddrStart", 1, 4, &Header::uiAddrStart},
        {"strRelHeaderSupp", 5, 3, &Header::strRelHeaderSupp, nullptr, true},
        {"strHeaderType", 8, 1, &Header::strHeaderType, nullptr, true},
    };
    static_assert(FitsRecord(kFields));
};

#pragma once

#include <cstdint>

#include "protocol/SetupItemType.h"

/// A setup item that is a text.
class SetupItemTypeString : public SetupItemType {
 public:
    std::int32_t iMinLength = 0;
    std::int32_t iMaxLength = 0;
    std::uint64_t uiDataMask = 0;  ///< which characters are allowed; never 0 in a decoded item
    char strDefault[512] = {};
    char strCurrent[512] = {};
    char strTextToWrite[512] = {};
};

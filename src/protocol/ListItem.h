#pragma once

#include <cstdint>
#include <string>

/// One choice of a SetupItemTypeList.
struct ListItem {
    std::string strText;  ///< at most 511 characters
    std::uint32_t uiValue = 0;
};

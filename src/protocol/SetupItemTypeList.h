#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "protocol/SetupItemType.h"

/// One choice of a SetupItemTypeList.
struct ListItem {
    std::string strText;  ///< at most 511 characters
    std::uint32_t uiValue = 0;
};

/// A setup item that is one of a list.
class SetupItemTypeList : public SetupItemType {
 public:
    /// Appends a choice with a copy of the text, cut to 511 characters.
    void AddItem(const char* text, std::uint32_t value) {
        listItems.push_back({std::string(text, strnlen(text, 511)), value});
    }

    std::int32_t iStartValue = 0;  ///< the first choice's value
    std::int32_t iDefaultValue = 0;
    std::int32_t iCurrentValue = 0;
    std::int32_t iValueToWrite = 0;
    std::vector<ListItem> listItems;
};

#include "protocol/SetupItemTypeList.h"

#include <cstring>

void SetupItemTypeList::AddItem(const char* text, std::uint32_t value) {
    constexpr std::size_t kLongest = 511;
    if (text == nullptr) text = "";
    listItems.push_back({std::string(text, strnlen(text, kLongest)), value});
}

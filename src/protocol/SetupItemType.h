#pragma once

#include <cstdint>
#include <vector>

/// The kinds of a setup item, as the printer numbers them.
enum PROT_TYPE : std::uint8_t {
    PROT_TYPE_LIST = 1,
    PROT_TYPE_NUMERIC = 2,
    PROT_TYPE_DATETIME = 3,
    PROT_TYPE_STRING = 4,
};

/// How a setup item depends on another one.
class SetupItemLink {
 public:
    std::uint64_t uiReserved = 0;  ///< not told by the printer
    std::uint64_t uiIDSource = 0;
    std::int32_t iViewOperation = 0;
    std::int32_t iViewOperation2 = 0;
    std::int32_t iLinkIDValue = 0;
};

/// What the setup items of every kind have. There is nothing virtual here: an item is deleted by its kind.
class SetupItemType {
 public:
    char strDescription[512] = {};
    char strAdditionalDescription[512] = {};
    std::uint64_t uiID = 0;
    std::uint8_t iType = 0;       ///< a PROT_TYPE
    std::int32_t iReserved1 = 0;  ///< not told by the printer
    std::int32_t iReserved2 = 0;  ///< not told by the printer
    std::vector<SetupItemLink> listLinks;
};

#pragma once

#include <cstdint>

/// How a setup item depends on another one.
class SetupItemLink {
 public:
    std::uint64_t uiReserved = 0;  ///< not told by the printer
    std::uint64_t uiIDSource = 0;
    std::int32_t iViewOperation = 0;
    std::int32_t iViewOperation2 = 0;
    std::int32_t iLinkIDValue = 0;
};

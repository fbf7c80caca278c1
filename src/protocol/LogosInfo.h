#pragma once

#include <cstdint>

/// One kind of logo that a printer takes. What the numbers without a name mean is known to the printer alone.
class LogosInfo {
 public:
    /// Width and height of a kind that names no size.
    static constexpr std::int32_t kNoSize = 0xFFFFFF;

    std::int32_t iNumber1 = 0;
    std::int32_t iMaxCount = 0;  ///< 0: no limit
    std::int32_t iFormat = 0;    ///< 0 BMP, 1 any other
    std::uint8_t bY = 0;
    std::int32_t iM1 = 1;  ///< 0 when the printer says "M1"
    std::int32_t iNumber6 = 0;
    std::int32_t iWidth = kNoSize;
    std::int32_t iHeight = kNoSize;
    std::uint8_t bF = 0;
    std::int32_t iNumber10 = 0;
    std::int32_t iNumber11 = 0;
};

#pragma once

#include <cstdint>
#include <vector>

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

/// The kinds of logo that a printer takes.
class LogosType {
 public:
    /// The number of logos of a printer without a limit.
    static constexpr std::int32_t INFINITE = 0x7FFFFFFF;

    /// Sets `iNumMaxLogo`: no limit when a kind has none, otherwise the largest of the kinds' limits (not
    /// their sum).
    void CalcNumMaxLogo();

    bool bPrintPreview = false;
    std::vector<LogosInfo> listLogosInfo;
    std::int32_t iNumMaxLogo = 0;
};

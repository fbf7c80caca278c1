#pragma once

#include <cstdint>
#include <vector>

#include "protocol/LogosInfo.h"

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

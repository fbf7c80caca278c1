#pragma once

#include <cstdint>
#include <string>

#include "support/Owned.h"

/// One logo of a printer, with its image.
class LogoItem {
 public:
    std::uint64_t uiID = 0;
    std::int32_t iType = 0;  ///< 0 BMP, 1 any other
    std::string strFileName;
    std::int32_t iWidth = 0;   ///< dots
    std::int32_t iHeight = 0;  ///< dots
    OwnedBytes pData;
    std::uint32_t uiDataSize = 0;  ///< bytes in `pData`
};

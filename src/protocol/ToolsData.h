#pragma once

#include <cstdint>

/// The tools that a printer has, as two bit sets.
class ToolsData {
 public:
    std::uint32_t uiTools1 = 0;
    std::uint32_t uiTools2 = 0;
};

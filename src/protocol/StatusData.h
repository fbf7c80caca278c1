#pragma once

#include <vector>

/// The general status as the printer sent it: four bytes.
class StatusData {
 public:
    std::vector<unsigned char> pData;
};

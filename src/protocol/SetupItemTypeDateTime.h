#pragma once

#include <ctime>

#include "protocol/SetupItemType.h"

/// A setup item that is a date and time.
class SetupItemTypeDateTime : public SetupItemType {
 public:
    std::time_t tCurrent = 0;  ///< seconds since 1970
    std::time_t tValueToWrite = 0;
};

#pragma once

#include "protocol/SetupItemType.h"

/// A setup item that is a number within a range.
class SetupItemTypeNumeric : public SetupItemType {
 public:
    float fMinimum = 0.0F;
    float fMaximum = 0.0F;
    float fStep = 0.0F;
    float fDefault = 0.0F;
    float fCurrent = 0.0F;
    float fValueToWrite = 0.0F;
};

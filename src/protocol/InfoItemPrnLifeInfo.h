#pragma once

#include "protocol/InfoItemGenericInfo.h"

/// How much the printer has done: prints, cuts, hours.
class InfoItemPrnLifeInfo : public InfoItemGenericInfo {};

#pragma once

#include "protocol/InfoItemGenericInfo.h"

/// The modules that the printer takes: one line for each, its code.
class ModuleItemPrnModuleList : public InfoItemGenericInfo {};

#pragma once

#include "protocol/InfoItemGenericInfo.h"

/// The print head's information.
class InfoItemPrnHeadInfo : public InfoItemGenericInfo {};

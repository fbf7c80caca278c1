#pragma once

#include "protocol/InfoItemGenericInfo.h"

/// The printer's device information.
class InfoItemPrnDeviceInfo : public InfoItemGenericInfo {};

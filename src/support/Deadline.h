#pragma once

#include "support/Clock.h"

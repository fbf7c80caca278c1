#pragma once

#include "support/Owned.h"

/// The bytes of the regular file `name` and their number in `*length`. Null, with `*length` untouched, when
/// the file cannot be read, is no regular file, is longer than 1 GiB, ends before the size it states, or
/// memory is out. Never waits for a writer: pipes, devices and directories are refused before they are
/// opened.
OwnedBytes ReadWholeFile(const char* name, int* length);

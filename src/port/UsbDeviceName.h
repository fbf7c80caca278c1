#pragma once

#include <cstddef>

/// Splits a USB device name, "vendor|product|serial", into its three texts, each emptied first. A vendor or
/// product that no bar ends stays empty, and so does what comes after it; all after the second bar is the
/// serial. Each output holds `size` bytes with its terminator; a longer field is cut.
void ExtractUsbParamsFromName(const char* name, char* vid, char* pid, char* serial, std::size_t size);

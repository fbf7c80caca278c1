#pragma once

#include <cstddef>
#include <cstdio>

/// Copies `text` into a field of a port, cut to fit and always terminated. A missing text empties the field.
/// `text` must not lie in the field itself.
template <std::size_t N>
void SetPortText(char (&field)[N], const char* text) {
    static_cast<void>(std::snprintf(field, N, "%s", text != nullptr ? text : ""));
}

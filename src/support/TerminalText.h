#pragma once

#include <algorithm>

/// A blank in the place of each byte that a terminal would take for a command: what a file or a printer sends
/// must neither steer it nor begin a line of its own.
template <class Iterator>
void BlankControls(Iterator begin, Iterator end) {
    std::replace_if(
        begin, end,
        [](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte < 0x20 || (byte >= 0x7F && byte <= 0x9F);
        },
        ' ');
}

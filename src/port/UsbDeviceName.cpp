#include "port/UsbDeviceName.h"

#include <algorithm>
#include <cstring>

namespace {

/// Copies the text up to the next bar, or to the end. Returns what follows the bar; null when there is no bar
/// or nothing after it.
const char* TakeField(const char* text, char* field, std::size_t size) {
    const char* bar = std::strchr(text, '|');
    if (bar == nullptr) return nullptr;
    const std::size_t length = std::min(static_cast<std::size_t>(bar - text), size - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
    return bar[1] == '\0' ? nullptr : bar + 1;
}

}  // namespace

void ExtractUsbParamsFromName(const char* name, char* vid, char* pid, char* serial, std::size_t size) {
    if (size == 0) return;
    vid[0] = pid[0] = serial[0] = '\0';
    if (name == nullptr) return;
    const char* rest = TakeField(name, vid, size);
    if (rest != nullptr) rest = TakeField(rest, pid, size);
    if (rest == nullptr) return;
    const std::size_t length = std::min(std::strlen(rest), size - 1);
    std::memcpy(serial, rest, length);
    serial[length] = '\0';
}

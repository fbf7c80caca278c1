#include "package/PSWField.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "package/ByteCursor.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"

namespace {

const char* const kTag = "ExtractHederInfo";

bool Outside(const PSWFieldPlace& place) {
    Log::WriteLogP(kTag, "%s lies outside the file", place.name);
    return false;
}

std::optional<std::uint64_t> Number(const PSWFieldPlace& place, std::size_t width) {
    return ByteCursor(place.file, place.position).BigEndian(width);
}

void LogNumber(const char* name, std::uint64_t value) {
    Log::WriteLogP(kTag, "%s: %d", name, static_cast<int>(value));
}

}  // namespace

int SignedByte(std::uint64_t value) {
    return static_cast<std::int8_t>(value & 0xFF);
}

bool ReadField(const PSWFieldPlace& place, int& value, int (*decode)(std::uint64_t)) {
    const std::optional<std::uint64_t> number = Number(place, place.width);
    if (!number) return Outside(place);
    value = decode != nullptr ? decode(*number) : static_cast<int>(*number);
    Log::WriteLogP(kTag, "%s: %d", place.name, value);
    return true;
}

bool ReadField(const PSWFieldPlace& place, std::uint64_t& value) {
    const std::optional<std::uint64_t> number = Number(place, place.width);
    if (!number) return Outside(place);
    value = *number;
    LogNumber(place.name, value);
    return true;
}

bool ReadField(const PSWFieldPlace& place, PSWText& value, bool asNumber) {
    PSWText text{};
    if (!ByteCursor(place.file, place.position).Text(place.width, text)) return Outside(place);
    std::copy(std::begin(text), std::end(text), std::begin(value));
    if (asNumber) {
        LogNumber(place.name, Number(place, place.width).value_or(0));
    } else {
        Log::WriteLogP(kTag, "%s: %s", place.name, value);
    }
    return true;
}

int ReadForm(ByteView file, int position, const char* const* markers) {
    const int form = MarkerIndex(file, position, markers) == 0 ? 1 : 0;
    Log::WriteLogP(kTag, "iPswType: %d", form);
    return form;
}

int MarkerIndex(ByteView file, int position, const char* const* markers) {
    char marker[2] = {};
    if (!ByteCursor(file, static_cast<std::size_t>(position)).Text(1, marker)) return -1;
    return GenericFunctions::IndexOf(markers, marker);
}

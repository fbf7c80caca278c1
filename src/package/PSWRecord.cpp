#include "package/PSWRecord.h"

#include <algorithm>
#include <iterator>

#include "support/GenericFunctions.h"
#include "support/Log.h"

namespace {

constexpr char kTag[] = "ExtractHederInfo";

std::uint64_t NumberOf(ByteView bytes) {
    return bytes.BigEndian(0, bytes.size).value_or(0);
}

void CopyCharacters(ByteView bytes, PSWText& value) {
    std::fill(std::begin(value), std::end(value), '\0');
    std::copy_n(bytes.data, std::min(bytes.size, sizeof value - 1), value);
}

}  // namespace

int PSWRecord::MarkerIndex(const char* const* markers) const {
    const std::optional<std::uint64_t> byte = rest_.BigEndian(0, 1);
    const char marker[] = {static_cast<char>(byte.value_or(0)), '\0'};
    return byte ? GenericFunctions::IndexOf(markers, marker) : -1;
}

int PSWRecord::Form(const char* const* markers) const {
    const int form = MarkerIndex(markers) == 0 ? 1 : 0;
    Log::WriteLogP(kTag, "iPswType: %d", form);
    return form;
}

std::optional<ByteView> PSWRecord::Take(const char* name, std::size_t width) {
    if (!ok_) return std::nullopt;
    const std::optional<ByteView> bytes = rest_.Slice(at_, width);
    at_ += width;
    ok_ = bytes.has_value() || Log::FailP(kTag, "%s lies outside the file", name);
    return bytes;
}

void PSWRecord::Int(const char* name, std::size_t width, int& value, int (*decode)(std::uint64_t)) {
    const std::optional<ByteView> bytes = Take(name, width);
    if (!bytes) return;
    value = decode != nullptr ? decode(NumberOf(*bytes)) : static_cast<int>(NumberOf(*bytes));
    Log::WriteLogP(kTag, "%s: %d", name, value);
}

void PSWRecord::Unsigned(const char* name, std::size_t width, std::uint64_t& value) {
    const std::optional<ByteView> bytes = Take(name, width);
    if (!bytes) return;
    value = NumberOf(*bytes);
    Log::WriteLogP(kTag, "%s: %d", name, static_cast<int>(value));
}

void PSWRecord::Text(const char* name, std::size_t width, PSWText& value) {
    const std::optional<ByteView> bytes = Take(name, width);
    if (!bytes) return;
    CopyCharacters(*bytes, value);
    Log::WriteLogP(kTag, "%s: %s", name, value);
}

void PSWRecord::TextLoggedAsNumber(const char* name, std::size_t width, PSWText& value) {
    const std::optional<ByteView> bytes = Take(name, width);
    if (!bytes) return;
    CopyCharacters(*bytes, value);
    Log::WriteLogP(kTag, "%s: %d", name, static_cast<int>(NumberOf(*bytes)));
}

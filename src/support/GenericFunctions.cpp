#include "support/GenericFunctions.h"

#include <sys/time.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "support/Clock.h"

namespace {

std::optional<long> LeadingNumber(const char* text) {
    if (text == nullptr) return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    const bool overflow = errno == ERANGE && (value == LONG_MAX || value == LONG_MIN);
    if (overflow || (errno != 0 && value == 0) || end == text) return std::nullopt;
    return value;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// One run of digits; leaves `text` behind it.
int TakeDigits(const char*& text) {
    std::int64_t number = 0;
    for (; IsDigit(*text); ++text) number = std::min<std::int64_t>(number * 10 + (*text - '0'), INT_MAX);
    return static_cast<int>(number);
}

constexpr std::size_t kFirstGrowth = 16;
constexpr std::size_t kGreatestGrowth = 1048576;

std::vector<const char*> Occurrences(const char* text, const char* part, std::size_t partLength) {
    std::vector<const char*> found;
    std::size_t growth = kFirstGrowth;
    const char* at = text;
    while ((at = std::strstr(at, part)) != nullptr) {
        if (found.size() == found.capacity()) {
            found.reserve(found.capacity() + growth);
            growth = std::min(growth * 3, kGreatestGrowth);
        }
        found.push_back(at);
        at += partLength;
    }
    return found;
}

char* Replaced(const char* text, const std::vector<const char*>& found, std::size_t fromLength,
               const char* to) {
    const std::size_t textLength = std::strlen(text);
    const std::size_t toLength = std::strlen(to);
    auto* result =
        static_cast<char*>(std::malloc(textLength - found.size() * fromLength + found.size() * toLength + 1));
    if (result == nullptr) return nullptr;
    char* out = result;
    const char* piece = text;
    for (const char* at : found) {
        out = std::copy(piece, at, out);
        out = std::copy_n(to, toLength, out);
        piece = at + fromLength;
    }
    std::copy(piece, text + textLength + 1, out);
    return result;
}

}  // namespace

std::vector<int>* GenericFunctions::FindBytePattern(const unsigned char* buf, int len, int start,
                                                    const unsigned char* pattern, int patternLen) {
    auto found = std::make_unique<std::vector<int>>();
    if (buf == nullptr || pattern == nullptr || patternLen <= 0 || len <= 0) return found.release();
    const unsigned char* const end = buf + len;
    const unsigned char* at = buf + std::clamp(start, 0, len);
    while ((at = std::search(at, end, pattern, pattern + patternLen)) != end) {
        found->push_back(static_cast<int>(at - buf));
        at += patternLen;
    }
    return found.release();
}

std::vector<int>* GenericFunctions::FindString(const unsigned char* buf, int len, int start,
                                               const char* text) {
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    if (length > INT_MAX) return std::make_unique<std::vector<int>>().release();
    return FindBytePattern(buf, len, start, reinterpret_cast<const unsigned char*>(text),
                           static_cast<int>(length));
}

std::vector<int>* GenericFunctions::FindString(const unsigned char* buf, int len, const char* text) {
    return FindString(buf, len, 0, text);
}

int GenericFunctions::IndexOf(const char* const* list, const char* text) {
    if (list == nullptr || text == nullptr) return -1;
    for (int i = 0; list[i] != nullptr; ++i) {
        if (std::strcmp(list[i], text) == 0) return i;
    }
    return -1;
}

int GenericFunctions::ToUpper(char* text) {
    if (text == nullptr) return 0;
    const std::size_t length = std::strlen(text);
    std::transform(text, text + length, text,
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    return static_cast<int>(length);
}

unsigned long GenericFunctions::GetTickCount() {
    return GetCurrentTimeMsec() & 0xFFFFFFFFUL;
}

unsigned long GenericFunctions::GetCurrentTimeMsec() {
    timeval now{};
    if (!Clock::Get().Now(now)) return 0;
    return static_cast<unsigned long>(now.tv_sec) * 1000 + static_cast<unsigned long>(now.tv_usec) / 1000;
}

void GenericFunctions::RemovecharsFromString(char* text, char c) {
    if (text != nullptr) *std::remove(text, text + std::strlen(text), c) = '\0';
}

bool GenericFunctions::RemoveStrFromString(char* text, const char* part) {
    if (text == nullptr || part == nullptr || *part == '\0') return false;
    // What is kept never ends in `part`: taking an occurrence off as it completes removes the joined ones
    // too.
    const std::size_t length = std::strlen(part);
    std::size_t kept = 0;
    for (std::size_t i = 0; text[i] != '\0'; ++i) {
        text[kept++] = text[i];
        if (kept >= length && std::memcmp(text + kept - length, part, length) == 0) kept -= length;
    }
    text[kept] = '\0';
    return false;
}

bool GenericFunctions::IsaNumericField(const unsigned char* buf, unsigned long len) {
    return std::all_of(buf, buf + len, [](unsigned char byte) {
        return (byte >= '0' && byte <= '9') || byte == '<' || byte == '>';
    });
}

void GenericFunctions::ConvertBufferToStringAndClean(char* out, const unsigned char* buf, int /*len*/,
                                                     int start, int count) {
    int length = 0;
    for (; length < count && buf[start + length] != 0; ++length) {
        const unsigned char byte = buf[start + length];
        out[length] = byte < 32 || byte > 126 ? ' ' : static_cast<char>(byte);
    }
    out[length] = '\0';
}

char* GenericFunctions::ConvertBufferToStringAndClean(const unsigned char* buf, int len) {
    const int count = std::max(len, 0);
    auto* text = static_cast<char*>(std::malloc(static_cast<std::size_t>(count) + 1));
    if (text != nullptr) ConvertBufferToStringAndClean(text, buf, count, 0, count);
    return text;
}

void GenericFunctions::RplaceCharInString(char* /*text*/, char /*from*/, char /*to*/) {}

int GenericFunctions::ParseInt(const char* text, int defaultValue) {
    int value = defaultValue;
    ParseCheckInt(text, &value);
    return value;
}

bool GenericFunctions::ParseCheckInt(const char* text, int* value) {
    const std::optional<long> number = LeadingNumber(text);
    if (number) *value = static_cast<int>(*number);
    return number.has_value();
}

float GenericFunctions::ParseFloat(const char* text, float defaultValue) {
    if (text == nullptr) return defaultValue;
    char* end = nullptr;
    errno = 0;
    const float value = std::strtof(text, &end);
    const bool nothing = errno != 0 && value == 0.0F;
    const bool overflow = errno == ERANGE && std::isinf(value);
    return overflow || nothing || end == text ? defaultValue : value;
}

int GenericFunctions::ExtractIntFromString(const char* text, int* values, int max) {
    if (text == nullptr) return 0;
    int stored = 0;
    while (stored < max && *text != '\0') {
        if (IsDigit(*text)) {
            values[stored++] = TakeDigits(text);
        } else {
            ++text;
        }
    }
    return stored;
}

void GenericFunctions::splitModify(char* text, const char* delimiters, std::vector<char*>& parts) {
    if (text == nullptr || delimiters == nullptr) return;
    char* rest = nullptr;
    for (char* part = strtok_r(text, delimiters, &rest); part != nullptr;
         part = strtok_r(nullptr, delimiters, &rest)) {
        parts.push_back(part);
    }
}

unsigned long GenericFunctions::ConvertByteBufferToULong4(const unsigned char* buf) {
    unsigned long value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | buf[i];
    return value;
}

char* GenericFunctions::repl_str(const char* text, const char* from, const char* to) {
    if (text == nullptr || from == nullptr || to == nullptr) return nullptr;
    const std::size_t fromLength = std::strlen(from);
    if (fromLength == 0) return Replaced(text, {}, 0, to);
    try {
        return Replaced(text, Occurrences(text, from, fromLength), fromLength, to);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

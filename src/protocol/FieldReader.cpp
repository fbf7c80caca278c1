#include "protocol/FieldReader.h"

#include <algorithm>
#include <cstdarg>

#include "support/Log.h"

namespace {

const ProtocollFieldInfo kNoField;

}  // namespace

const ProtocollFieldInfo& FieldReader::Take(std::initializer_list<FTYPE> types, const char* wrongType) {
    const ProtocollFieldInfo* const field = Next();
    const bool accepted =
        field != nullptr && std::find(types.begin(), types.end(), field->iType) != types.end();
    return accepted ? Taken(*field) : Refused(wrongType);
}

const ProtocollFieldInfo& FieldReader::TakeAny(const char* wrongType) {
    const ProtocollFieldInfo* const field = Next();
    return field != nullptr ? Taken(*field) : Refused(wrongType);
}

const ProtocollFieldInfo* FieldReader::Next() const {
    const bool there = bOk && iIndex >= 0 && static_cast<std::size_t>(iIndex) < listFields.size();
    return there ? listFields[static_cast<std::size_t>(iIndex)].get() : nullptr;
}

const ProtocollFieldInfo& FieldReader::Taken(const ProtocollFieldInfo& field) {
    // The answer sum begins with the tag, behind the STX.
    if (iIndex > 0) uiSum += field.uiSum;
    ++iIndex;
    return field;
}

const ProtocollFieldInfo& FieldReader::Refused(const char* wrongType) {
    Fail(wrongType);
    return kNoField;
}

const std::string& FieldReader::Frame() {
    Take({FTYPE_STX}, "FTYPE_STX Error");
    return Take({FTYPE_VCMDID_VALUE}, "FTYPE_VCMDID_VALUE Error").strText;
}

std::int32_t FieldReader::Int() {
    return Take({FTYPE_VINT_VALUE}, "FTYPE_VINT_VALUE Error").iValue;
}

void FieldReader::Int(const char* label, std::int32_t& value) {
    const std::int32_t number = Int();
    if (bOk) value = number;
    Say("%s%d", label, number);
}

void FieldReader::Unsigned(const char* label, std::uint64_t& value) {
    const std::uint32_t number = Unsigned();
    if (bOk) value = number;
    Say("%s%u", label, number);
}

void FieldReader::Sum() {
    const auto expected = static_cast<std::int32_t>(uiSum & 0xFFU);
    if (Int() != expected) Fail("Checksum Error");
}

void FieldReader::Fail(const char* reason) {
    if (reason != nullptr) Write(reason);
    bOk = false;
}

void FieldReader::Write(const char* text) const {
    if (bOk) Log::WriteLog(strTag, text);
}

void FieldReader::Say(const char* format, ...) const {
    if (!bOk) return;
    va_list arguments;
    va_start(arguments, format);
    Log::WriteLogV(strTag, format, arguments);
    va_end(arguments);
}

#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "protocol/ProtocollFieldInfo.h"

/// Reads an answer's fields one after the other and keeps the answer sum of those behind. A decoder is
/// written as its record is laid out, from top to bottom: each operation takes the next field, logs what is
/// said of a field that is missing or of another type, and after the first such failure nothing is taken or
/// logged any more. What a failed operation gives is an empty field, or a value left as it was.
class FieldReader {
 public:
    /// Starts at the first field. Log lines carry `tag`.
    FieldReader(const ProtocollFieldList& fields, const char* tag)
        : listFields(fields), strTag(tag), iIndex(iOwnIndex), uiSum(uiOwnSum) {}

    /// Starts at field `index` with the answer sum `sum` and moves these on.
    FieldReader(const ProtocollFieldList& fields, const char* tag, int& index, std::uint64_t& sum)
        : listFields(fields), strTag(tag), iIndex(index), uiSum(sum) {}

    FieldReader(const FieldReader&) = delete;
    FieldReader& operator=(const FieldReader&) = delete;

    /// A field of one of `types`, or of any. `wrongType` is logged when the next one is none.
    const ProtocollFieldInfo& Take(std::initializer_list<FTYPE> types, const char* wrongType);
    const ProtocollFieldInfo& TakeAny(const char* wrongType);

    const ProtocollFieldInfo& String() { return Take({FTYPE_VSTRING_VALUE}, "FTYPE_VSTRING_VALUE Error"); }
    const ProtocollFieldInfo& Text() { return Take({FTYPE_STRING_VALUE}, "FTYPE_STRING_VALUE Error"); }
    const ProtocollFieldInfo& Data() { return Take({FTYPE_VDATABYTES}, "FTYPE_VDATABYTES Error"); }

    /// STX and the answer's tag, whose text it gives.
    const std::string& Frame();

    /// A whole number, as ParseInt converts it. With a label it is logged behind it.
    std::int32_t Int();
    void Int(const char* label, std::int32_t& value);
    /// The same without sign, for identifiers and bit sets.
    std::uint32_t Unsigned() { return static_cast<std::uint32_t>(Int()); }
    void Unsigned(const char* label, std::uint64_t& value);

    /// An integer that is the answer sum of all fields before it, modulo 256 ("Checksum Error").
    void Sum();

    /// Logs the reason, if one is given; nothing is read any more.
    void Fail(const char* reason = nullptr);

    /// Logs the text, or the text made by printf rules.
    void Write(const char* text) const;
    void Say(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    const char* Tag() const { return strTag; }
    /// Where the next field stands, and the byte sum of the fields taken since the answer's STX. A decoder
    /// that goes on from here moves both.
    int& Index() { return iIndex; }
    std::uint64_t& RunningSum() { return uiSum; }
    /// True until something failed.
    bool Ok() const { return bOk; }

 private:
    const ProtocollFieldInfo* Next() const;
    const ProtocollFieldInfo& Taken(const ProtocollFieldInfo& field);
    const ProtocollFieldInfo& Refused(const char* wrongType);

    const ProtocollFieldList& listFields;
    const char* strTag;
    int iOwnIndex = 0;
    std::uint64_t uiOwnSum = 0;
    int& iIndex;
    std::uint64_t& uiSum;
    bool bOk = true;
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <variant>

#include "package/ByteView.h"
#include "package/PSWHeader.h"

/// One field of a header record: its name in the log, where it stands, and the member that holds it. The kind
/// follows from the member: a number for an int or a 64-bit one, characters for a text.
template <class Header>
struct PSWField {
    const char* name;
    std::size_t offset;  ///< From the marker byte.
    std::size_t width;   ///< Bytes.
    std::variant<int Header::*, std::uint64_t Header::*, PSWText Header::*> member;
    int (*decode)(std::uint64_t value) = nullptr;  ///< For an int: what is stored for the number read.
    bool textAsNumber = false;                     ///< For a text: logged as the number that its bytes make.
};

/// Bytes from one header record to the next.
inline constexpr std::size_t kRecordSize = 32;

/// Whether each field of a table lies in the record, behind the marker.
template <class Header, std::size_t Count>
constexpr bool FitsRecord(const PSWField<Header> (&fields)[Count]) {
    for (const PSWField<Header>& field : fields) {
        if (field.offset < 1 || field.width < 1 || field.offset + field.width > kRecordSize) return false;
        if (field.width > 8 && !std::holds_alternative<PSWText Header::*>(field.member)) return false;
    }
    return true;
}

/// The 1-byte number as a two's complement one.
int SignedByte(std::uint64_t value);

/// Where in the file a field stands.
struct PSWFieldPlace {
    ByteView file;
    std::size_t position;
    std::size_t width;
    const char* name;
};

// Stores and logs one field. False with a log line when it does not lie in the file.
bool ReadField(const PSWFieldPlace& place, int& value, int (*decode)(std::uint64_t));
bool ReadField(const PSWFieldPlace& place, std::uint64_t& value);
bool ReadField(const PSWFieldPlace& place, PSWText& value, bool asNumber);

/// Reads the fields of the record at `position` in the table's order. False when one does not lie in the
/// file.
template <class Header, std::size_t Count>
bool ReadFields(const PSWField<Header> (&fields)[Count], ByteView file, int position, Header& header) {
    for (const PSWField<Header>& field : fields) {
        const PSWFieldPlace place{file, static_cast<std::size_t>(position) + field.offset, field.width,
                                  field.name};
        bool done = false;
        if (const auto* number = std::get_if<int Header::*>(&field.member)) {
            done = ReadField(place, header.*(*number), field.decode);
        } else if (const auto* wide = std::get_if<std::uint64_t Header::*>(&field.member)) {
            done = ReadField(place, header.*(*wide));
        } else if (const auto* text = std::get_if<PSWText Header::*>(&field.member)) {
            done = ReadField(place, header.*(*text), field.textAsNumber);
        }
        if (!done) return false;
    }
    return true;
}

/// The form that a record's marker tells: 1 new, 0 old. Logs it. The new form's marker is the first of the
/// list.
int ReadForm(ByteView file, int position, const char* const* markers);

/// Index of the byte at `position` among the markers, or -1.
int MarkerIndex(ByteView file, int position, const char* const* markers);

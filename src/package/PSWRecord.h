#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "package/ByteView.h"
#include "package/PSWHeader.h"

/// Reads the fields of one header record from its marker on, in their order, and logs each under its name.
/// The first that does not lie in the file is logged as such; nothing is read or logged any more then.
class PSWRecord {
 public:
    /// Bytes from one record to the next.
    static constexpr int kSize = 32;

    PSWRecord(ByteView file, int position) : rest_(file.From(position)) {}

    /// Index of the record's marker in a list of markers, or -1.
    int MarkerIndex(const char* const* markers) const;
    /// The form that the marker tells, 1 for the first of the list and 0 for any other. Logs it.
    int Form(const char* const* markers) const;

    /// The next `width` bytes as a number. `decode` gives what is stored and logged for it.
    void Int(const char* name, std::size_t width, int& value, int (*decode)(std::uint64_t) = nullptr);
    void Unsigned(const char* name, std::size_t width, std::uint64_t& value);
    /// The next `width` bytes as characters.
    void Text(const char* name, std::size_t width, PSWText& value);
    /// The same, logged as the number that the bytes make.
    void TextLoggedAsNumber(const char* name, std::size_t width, PSWText& value);

    /// Passes over bytes that the form does not use.
    void Skip(std::size_t width) { at_ += width; }
    /// The byte that comes next, when it lies in the file; takes and logs nothing.
    std::optional<std::uint64_t> NextByte() const { return rest_.BigEndian(at_, 1); }

    /// True until a field did not lie in the file.
    bool Ok() const { return ok_; }
    /// What ExtractHederInfo returns for it.
    int Result() const { return ok_ ? 0 : -1; }

 private:
    std::optional<ByteView> Take(const char* name, std::size_t width);

    ByteView rest_;       // from the marker to the end of the file
    std::size_t at_ = 1;  // of the next field, from the marker
    bool ok_ = true;
};

/// The layout that the two loader records share (kept: their texts are logged as numbers).
template <class Loader>
int ReadLoader(PSWRecord record, Loader& loader) {
    record.Unsigned("uiAddrStart", 4, loader.uiAddrStart);
    record.TextLoggedAsNumber("strRelHeaderSupp", 3, loader.strRelHeaderSupp);
    record.TextLoggedAsNumber("strHeaderType", 1, loader.strHeaderType);
    return record.Result();
}

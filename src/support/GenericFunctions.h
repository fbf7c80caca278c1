#pragma once

#include <vector>

/// Text, number, time and byte-pattern routines that the file, port and protocol code share. No state. Texts
/// are C strings; a missing text counts as one that holds nothing, unless an operation says otherwise.
class GenericFunctions {
 public:
    /// All positions from `start` at which the whole pattern lies before `len`, increasing and not
    /// overlapping. A new list, owned by the caller; an empty pattern is found nowhere.
    static std::vector<int>* FindBytePattern(const unsigned char* buf, int len, int start,
                                             const unsigned char* pattern, int patternLen);

    /// FindBytePattern with the characters of `text`, without its terminator.
    static std::vector<int>* FindString(const unsigned char* buf, int len, int start, const char* text);
    static std::vector<int>* FindString(const unsigned char* buf, int len, const char* text);

    /// Index of the first entry equal to `text` in a list that a null pointer ends; -1 when there is none.
    static int IndexOf(const char* const* list, const char* text);

    /// Upper-cases in place; returns the length.
    static int ToUpper(char* text);

    /// Milliseconds since 1970, low 32 bits (wraps every 49.7 days); 0 when the clock cannot be read.
    static unsigned long GetTickCount();

    /// Milliseconds since 1970 in 64 bits; 0 when the clock cannot be read.
    static unsigned long GetCurrentTimeMsec();

    /// Removes every occurrence of `c` in place.
    static void RemovecharsFromString(char* text, char c);

    /// Removes every occurrence of `part` in place, also those that a removal forms. Always false; an
    /// empty `part` removes nothing.
    static bool RemoveStrFromString(char* text, const char* part);

    /// True when every byte is a digit, '<' or '>'; true for no bytes.
    static bool IsaNumericField(const unsigned char* buf, unsigned long len);

    /// Copies `count` bytes from `buf[start]` to `out` and terminates it; a zero byte ends the copy, bytes
    /// that are not printable ASCII become blanks. `len` bounds nothing: `out` must hold `count` + 1
    /// characters and `buf` the bytes.
    static void ConvertBufferToStringAndClean(char* out, const unsigned char* buf, int len, int start,
                                              int count);

    /// The same into a new text, released by the caller with `free`. Null when memory is out.
    static char* ConvertBufferToStringAndClean(const unsigned char* buf, int len);

    /// Changes nothing (kept: required).
    static void RplaceCharInString(char* text, char from, char to);

    /// The decimal number that the text begins with; `defaultValue` when there is none or a long cannot hold
    /// it. Beyond an int, the number's low 32 bits.
    static int ParseInt(const char* text, int defaultValue);

    /// As ParseInt; false where that gives the default, and `*value` is then untouched.
    static bool ParseCheckInt(const char* text, int* value);

    /// The floating number that the text begins with; `defaultValue` when there is none or it is out of
    /// range.
    static float ParseFloat(const char* text, float defaultValue);

    /// Stores the runs of digits of the text as numbers, at most `max`; returns how many. A sign is skipped,
    /// a number that an int cannot hold becomes the greatest int.
    static int ExtractIntFromString(const char* text, int* values, int max);

    /// Splits the text in place at any of the delimiters and appends a pointer to each part that is not
    /// empty.
    static void splitModify(char* text, const char* delimiters, std::vector<char*>& parts);

    /// Four bytes as a little-endian number.
    static unsigned long ConvertByteBufferToULong4(const unsigned char* buf);

    /// A new text, released by the caller with `free`, in which every occurrence of `from` is replaced by
    /// `to`. Null when an argument is missing or memory is out; a plain copy when `from` is empty.
    static char* repl_str(const char* text, const char* from, const char* to);
};

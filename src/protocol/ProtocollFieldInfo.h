#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What a field of an answer is.
enum FTYPE : std::uint32_t {
    FTYPE_NONE = 0,
    FTYPE_STX = 0x11,
    FTYPE_ETX = 0x12,
    FTYPE_ACK = 0x13,
    FTYPE_NACK = 0x14,
    FTYPE_VSTRING_VALUE = 0x1100,  ///< "<...>" that is not all digits; logged as STRING
    FTYPE_VINT_VALUE = 0x1200,     ///< "<...>" of digits alone; logged as INT
    FTYPE_VCMDID_VALUE = 0x1400,   ///< the answer's tag, such as "<C112>"; logged as CMD
    FTYPE_STRING_VALUE = 0x1800,   ///< a text line that a zero byte ends; logged as TEXT
    FTYPE_EMPTY = 0x2000,          ///< "<>"
    FTYPE_VDATABYTES = 0x3000,     ///< what stands between "<DATABYTES>" and "</DATABYTES>"; logged as BINARY
};

/// One field of an answer. It owns its bytes and its text.
class ProtocollFieldInfo {
 public:
    /// The field as it stood in the answer, with its delimiters; of a binary block the payload alone. Null
    /// when `uiRawSize` is 0.
    std::unique_ptr<unsigned char[]> pRawData;
    std::uint32_t uiRawSize = 0;
    FTYPE iType = FTYPE_NONE;
    std::string strText;      ///< printable form, delimiters included; empty for a field without one
    std::int32_t iValue = 0;  ///< 0 when the field is no number
    float fValue = 0.0F;      ///< 0 when the field is no number
    std::uint64_t uiSum = 0;  ///< byte sum of the field in the answer, a binary block's two markers included
};

/// The fields of one answer, in its order.
using ProtocollFieldList = std::vector<std::unique_ptr<ProtocollFieldInfo>>;

/// A field's text without its delimiters: every "<" and ">" is taken out.
inline std::string WithoutDelimiters(const char* text) {
    std::string plain(text == nullptr ? "" : text);
    plain.erase(std::remove_if(plain.begin(), plain.end(), [](char c) { return c == '<' || c == '>'; }),
                plain.end());
    return plain;
}

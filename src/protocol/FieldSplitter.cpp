#include "protocol/FieldSplitter.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "protocol/Commands.h"
#include "protocol/ProtocollFieldInfo.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "support/ManageBuffers.h"

namespace {

constexpr const char* kTag = "CreateFields";

FTYPE ControlType(unsigned char byte) {
    if (byte == Commands::Cmd_STX[0]) return FTYPE_STX;
    if (byte == Commands::Cmd_ETX[0]) return FTYPE_ETX;
    if (byte == Commands::Cmd_ACK[0]) return FTYPE_ACK;
    if (byte == Commands::Cmd_NACK[0]) return FTYPE_NACK;
    return FTYPE_NONE;
}

/// The printable text of a field's bytes. A percent sign would be read by the log's formats.
std::string CleanText(const unsigned char* bytes, std::uint32_t size) {
    std::string text(size, '\0');
    GenericFunctions::ConvertBufferToStringAndClean(text.data(), bytes, static_cast<int>(size), 0,
                                                    static_cast<int>(size));
    text.resize(std::strlen(text.c_str()));
    std::replace(text.begin(), text.end(), '%', ' ');
    return text;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

void LogFound(const ProtocollFieldInfo& field) {
    const char* const kind = field.iType == FTYPE_STRING_VALUE   ? "TEXT"
                             : field.iType == FTYPE_VINT_VALUE   ? "INT"
                             : field.iType == FTYPE_VCMDID_VALUE ? "CMD"
                                                                 : "STRING";
    Log::WriteLogP(kTag, "Found Field: Value %s: %s", kind, field.strText.c_str());
}

}  // namespace

ProtocollFieldList FieldSplitter::Split(std::size_t maxFields) {
    bool stxSeen = false;
    for (std::size_t i = 0; i < uiLength && listFields.size() < maxFields;) {
        const FTYPE control = ControlType(pAnswer[i]);
        stxSeen = stxSeen || control == FTYPE_STX;
        if (control != FTYPE_NONE) {
            AddControl(pAnswer[i++], control);
        } else if (!stxSeen) {
            ++i;
        } else if (pAnswer[i] == Commands::Cmd_STField[0]) {
            i = TakeTagged(i);
        } else {
            i = TakeTextLine(i);
        }
    }
    return std::move(listFields);
}

std::size_t FieldSplitter::TakeTagged(std::size_t start) {
    const auto& opening = Commands::Cmd_DataBytesBegin;
    const void* const found = std::memchr(pAnswer + start, Commands::Cmd_ETField[0], uiLength - start);
    if (found == nullptr) return uiLength;
    const auto behind = static_cast<std::size_t>(static_cast<const unsigned char*>(found) - pAnswer) + 1;
    const std::size_t size = behind - start;
    // The marker holds the only ">" of the field, so it can stand nowhere but at its end.
    if (size >= std::size(opening) &&
        std::equal(std::begin(opening), std::end(opening), pAnswer + behind - std::size(opening)))
        return TakeBinary(behind - std::size(opening), behind);
    if (size == 2) {
        listFields.push_back(std::make_unique<ProtocollFieldInfo>());
        listFields.back()->iType = FTYPE_EMPTY;
    } else {
        AddTagged(start, behind);
    }
    return behind;
}

std::size_t FieldSplitter::TakeBinary(std::size_t tag, std::size_t payload) {
    const auto& closing = Commands::Cmd_DataBytesEnd;
    const unsigned char* const end = pAnswer + uiLength;
    const unsigned char* const found =
        std::search(pAnswer + payload, end, std::begin(closing), std::end(closing));
    if (found == end) return uiLength;
    const auto payloadEnd = static_cast<std::size_t>(found - pAnswer);
    const std::size_t behind = payloadEnd + std::size(closing);
    auto field = NewField(FTYPE_VDATABYTES, payload, payloadEnd);
    field->uiSum = ManageBuffers::CalcChecksum(pAnswer, tag, behind - 1);
    Log::WriteLogP(kTag, "Found Field: Value BINARY: Size=%u", field->uiRawSize);
    listFields.push_back(std::move(field));
    return behind;
}

std::size_t FieldSplitter::TakeTextLine(std::size_t start) {
    // The first byte belongs to the line whatever it is, a zero too.
    const void* const zero = std::memchr(pAnswer + start + 1, 0, uiLength - start - 1);
    if (zero == nullptr) return uiLength;
    const auto behind = static_cast<std::size_t>(static_cast<const unsigned char*>(zero) - pAnswer) + 1;
    auto field = NewField(FTYPE_STRING_VALUE, start, behind);
    field->uiSum = ManageBuffers::CalcChecksum(pAnswer, start, behind - 1);
    field->strText = CleanText(field->pRawData.get(), field->uiRawSize);
    LogFound(*field);
    listFields.push_back(std::move(field));
    return behind;
}

void FieldSplitter::AddControl(unsigned char byte, FTYPE type) {
    auto field = std::make_unique<ProtocollFieldInfo>();
    field->iType = type;
    field->pRawData = std::make_unique<unsigned char[]>(1);
    field->pRawData[0] = byte;
    field->uiRawSize = 1;
    field->uiSum = byte;
    listFields.push_back(std::move(field));
}

void FieldSplitter::AddTagged(std::size_t start, std::size_t end) {
    auto field = NewField(FTYPE_VINT_VALUE, start, end);
    field->uiSum = ManageBuffers::CalcChecksum(pAnswer, start, end - 1);
    field->strText = CleanText(field->pRawData.get(), field->uiRawSize);
    const std::string content = WithoutDelimiters(field->strText.c_str());
    field->fValue = GenericFunctions::ParseFloat(content.c_str(), 0.0F);
    if (GenericFunctions::IsaNumericField(field->pRawData.get(), field->uiRawSize))
        field->iValue = GenericFunctions::ParseInt(content.c_str(), 0);
    else
        field->iType = TypeOfText(content);
    LogFound(*field);
    listFields.push_back(std::move(field));
}

/// The answer's tag stands in second place and reads "C" and up to three characters, the first of them a
/// digit.
FTYPE FieldSplitter::TypeOfText(const std::string& content) const {
    const bool command = listFields.size() == 1 && content.size() >= 2 && content.size() <= 4 &&
                         content[0] == 'C' && IsDigit(content[1]);
    return command ? FTYPE_VCMDID_VALUE : FTYPE_VSTRING_VALUE;
}

std::unique_ptr<ProtocollFieldInfo> FieldSplitter::NewField(FTYPE type, std::size_t start,
                                                            std::size_t end) const {
    auto field = std::make_unique<ProtocollFieldInfo>();
    field->iType = type;
    field->uiRawSize = static_cast<std::uint32_t>(end - start);
    field->pRawData = std::make_unique<unsigned char[]>(end - start);
    std::copy(pAnswer + start, pAnswer + end, field->pRawData.get());
    return field;
}

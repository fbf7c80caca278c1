#include "protocol/ProtocollFields.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "protocol/Commands.h"
#include "protocol/FieldReader.h"
#include "protocol/FieldSplitter.h"
#include "protocol/ProtocollFieldInfo.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "support/Owned.h"

namespace {

constexpr std::size_t kMaxPacket = 1024;

void LogField(const char* tag, const ProtocollFieldInfo& field) {
    switch (field.iType) {
        case FTYPE_STX:
            return Log::WriteLog(tag, " -> [STX]");
        case FTYPE_ETX:
            return Log::WriteLog(tag, " -> [ETX]");
        case FTYPE_ACK:
            return Log::WriteLog(tag, " -> [ACK]");
        case FTYPE_NACK:
            return Log::WriteLog(tag, " -> [NACK]");
        case FTYPE_VDATABYTES:
            return Log::WriteLogP(tag, " -> DATABYTES size %u", field.uiRawSize);
        default:
            return Log::WriteLogP(tag, " -> %s", field.strText.c_str());
    }
}

/// The number of an error field such as "<ERR23>"; 101 when it has none.
int ErrorCodeOf(const ProtocollFieldInfo& field) {
    constexpr int kNoNumber = 101;
    std::string code = WithoutDelimiters(field.strText.c_str());
    GenericFunctions::RemoveStrFromString(code.data(), "ERR");
    return GenericFunctions::ParseInt(code.c_str(), kNoNumber);
}

/// The field of a tool's answer that says what kind of data follows, or that there is none.
void CheckDataType(FieldReader& fields) {
    const ProtocollFieldInfo& type = fields.TakeAny("Data Type  Unsupported");
    if (type.iType == FTYPE_ACK) fields.Fail("FTYPE_ACK OK (No other data)");
    if (type.iType == FTYPE_NACK) fields.Fail("FTYPE_NACK OK (No other data)");
    if (type.strText.find("SB") != std::string::npos) return;
    fields.Say("Data Type %s Unsupported", type.strText.c_str());
    fields.Fail();
}

using OwnedText = Owned<char, FreeMemory>;
using OwnedTexts = Owned<char*, FreeMemory>;

}  // namespace

int ProtocollFields::CreateFields(const unsigned char* answer, int length) {
    const char* const tag = "CreateFields";
    Log::WriteLog(tag, "Begin");
    listFields.clear();
    if (answer != nullptr && length > 0)
        listFields = FieldSplitter(answer, static_cast<std::size_t>(length)).Split(kMaxFields);
    Log::WriteLog(tag, "Fields Found: Begin");
    for (const auto& field : listFields) LogField(tag, *field);
    Log::WriteLog(tag, "Fields Found: End");
    Log::WriteLog(tag, "End");
    return static_cast<int>(listFields.size());
}

int ProtocollFields::CheckAnswer() {
    PrinterSetError unused;
    return CheckAnswer(&unused);
}

int ProtocollFields::CheckAnswer(PrinterSetError* error) {
    const char* const tag = "CheckAnswer";
    const auto has = [this](std::size_t index, FTYPE type) {
        return index < listFields.size() && listFields[index]->iType == type;
    };
    const auto framingError = [tag, error](const char* reason) {
        Log::WriteLog(tag, reason);
        if (error != nullptr) error->iErrorCode = PrinterSetError::kFraming;
        return 1;
    };
    const auto accepted = [tag](const char* why) {
        Log::WriteLog(tag, why);
        Log::WriteLog(tag, "End");
        return 0;
    };
    Log::WriteLog(tag, "Begin");
    if (!has(0, FTYPE_STX)) return framingError("FTYPE_STX Error");
    if (!has(1, FTYPE_VCMDID_VALUE)) return framingError("Command ID Error");
    // An answer that ends before its third or fourth field holds no NACK with an error either.
    if (!has(2, FTYPE_NACK)) return accepted("FTYPE_NACK Not Found");
    if (!has(3, FTYPE_VSTRING_VALUE)) return accepted("Error Code Not OK");

    // kept: the codes up to 22 are reported as not recognized, and the braces are logged as they stand
    constexpr int kLastUnrecognized = 22;
    const int code = ErrorCodeOf(*listFields[3]);
    if (code > kLastUnrecognized) {
        if (error != nullptr) error->iErrorCode = code;
        Log::WriteLog(tag, "Error Code {0} from printer (SW Code {1})");
    } else {
        Log::WriteLogP(tag, "Error Code %d not recognized", code);
    }
    return 1;
}

unsigned char* ProtocollFields::CreateStandardPacketBuffer(const unsigned char* data, int end, int begin,
                                                           const char* tag, int* length) {
    const char* const logTag = "CreateStandardPacketBuffer";
    if (length == nullptr) return nullptr;
    *length = 0;
    if (tag == nullptr) return nullptr;
    const std::string name(tag, strnlen(tag, kMaxPacket));
    // Only the two status requests carry data.
    const bool withData = name == "<C138>" || name == "<C139>";
    const bool noBytes = end <= begin;
    if (withData && !noBytes && (data == nullptr || begin < 0)) return nullptr;

    std::size_t size = name.size() + 2;
    if (withData) size += sizeof(Commands::Cmd_DataBytesBegin) + sizeof(Commands::Cmd_DataBytesEnd);
    if (withData && !noBytes) size += static_cast<std::size_t>(end) - static_cast<std::size_t>(begin);
    if (size > kMaxPacket) {
        Log::WriteLogP(logTag, "Packet too long: %zu", size);
        return nullptr;
    }
    OwnedBytes packet = AllocateBytes(size);
    if (packet == nullptr) return nullptr;
    unsigned char* next = packet.get();
    *next++ = Commands::Cmd_STX[0];
    next = std::copy(name.begin(), name.end(), next);
    if (withData) {
        next =
            std::copy(std::begin(Commands::Cmd_DataBytesBegin), std::end(Commands::Cmd_DataBytesBegin), next);
        if (!noBytes) next = std::copy(data + begin, data + end, next);
        next = std::copy(std::begin(Commands::Cmd_DataBytesEnd), std::end(Commands::Cmd_DataBytesEnd), next);
    }
    *next = Commands::Cmd_ETX[0];
    *length = static_cast<int>(size);
    return packet.release();
}

char** ProtocollFields::CreateToolAnswer(int* /*lines*/) {
    FieldReader fields(listFields, "CreateToolAnswer");
    std::vector<OwnedText> texts;
    std::int32_t count = 0;
    fields.Write("Begin");
    fields.Frame();
    CheckDataType(fields);
    fields.Int("Number of Answer Lines : ", count);
    for (std::int32_t i = 1; i <= count && fields.Ok(); ++i) {
        const std::string& line = fields.Text().strText;
        fields.Say("%02d - %s", i, line.c_str());
        texts.emplace_back(strdup(line.c_str()));
        if (texts.back() == nullptr) fields.Fail();
    }
    fields.Sum();
    fields.Write("End");
    if (!fields.Ok()) return nullptr;
    OwnedTexts answer(static_cast<char**>(std::calloc(texts.size() + 1, sizeof(char*))));
    if (answer == nullptr) return nullptr;
    for (std::size_t i = 0; i < texts.size(); ++i) answer.get()[i] = texts[i].release();
    return answer.release();
}

void ProtocollFields::DeleteToolAnswer(char** answer) {
    if (answer == nullptr) return;
    for (char** text = answer; *text != nullptr; ++text) std::free(*text);
    std::free(answer);
}

#include "protocol/ProtocollFields.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "protocol/Commands.h"
#include "protocol/FieldSplitter.h"
#include "protocol/FieldWalk.h"
#include "protocol/FixedText.h"
#include "protocol/RecordDecoders.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "support/Owned.h"

namespace {

constexpr std::uint64_t kVersion100 = 100;
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

void* ProtocollFields::CreateSetupItem(std::uint64_t* dataErrors, const ProtocollVersion* version,
                                       OBJTYPE* type) {
    const char* const tag = "CreateSetupItem";
    OBJTYPE ignored = OBJTYPE_NONE;
    OBJTYPE& kind = type != nullptr ? *type : ignored;
    kind = OBJTYPE_NONE;
    const std::uint64_t number = version != nullptr ? version->uiVersion : kVersion100;
    Log::Write(tag, "Current Protocoll Version : " + std::to_string(number));
    if (number == kVersion100) return CreateSetupItem_Prot100(dataErrors, &kind);
    Log::WriteLog(tag, "End");
    return nullptr;
}

void* ProtocollFields::CreateSetupItem_Prot100(std::uint64_t* dataErrors, OBJTYPE* type) {
    OBJTYPE ignored = OBJTYPE_NONE;
    OBJTYPE& kind = type != nullptr ? *type : ignored;
    kind = OBJTYPE_NONE;
    FieldWalk walk(listFields, "CreateSetupItem_Prot100");
    std::string tag;
    const bool framed =
        walk.Run({Expect::Stx(), Expect::Command([&](const ProtocollFieldInfo& field, FieldWalk&) {
                      tag = field.strText;
                      return true;
                  })});
    if (!framed) return nullptr;
    void* const record = DecodeRecord(tag, walk, *this, dataErrors, kind);
    if (record != nullptr) Log::WriteLog(walk.Tag(), "End");
    return record;
}

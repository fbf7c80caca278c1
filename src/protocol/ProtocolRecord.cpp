#include "protocol/ProtocolRecord.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>

#include "protocol/Commands.h"
#include "protocol/FieldReader.h"
#include "protocol/InfoItemPrnDeviceInfo.h"
#include "protocol/InfoItemPrnHeadInfo.h"
#include "protocol/InfoItemPrnLifeInfo.h"
#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/LogosType.h"
#include "protocol/ModuleItemPrnModuleList.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/ProtocollFields.h"
#include "protocol/RecordDecoders.h"
#include "protocol/SetupItemHeader.h"
#include "protocol/SetupItemIDList.h"
#include "protocol/SetupItemTypeDateTime.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/SetupItemTypeNumeric.h"
#include "protocol/SetupItemTypeString.h"
#include "protocol/StatusData.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "protocol/ToolsData.h"
#include "protocol/UpgradeDataInfo.h"
#include "support/Log.h"

namespace {

template <class T>
void Delete(void* record) {
    std::default_delete<T>{}(static_cast<std::remove_extent_t<T>*>(record));
}

template <>
void Delete<unsigned char[]>(void* record) {
    FreeMemory{}(record);
}

template <class... T, OBJTYPE... Kind>
void DeleteByKind(const RecordKindList<RecordKind<T, Kind>...>&, void* record, OBJTYPE type) {
    ((type == Kind ? Delete<T>(record) : void()), ...);
}

/// What a decoder may need beside the fields behind the tag.
struct Answer {
    FieldReader& reader;
    ProtocollFields& fields;
    std::uint64_t* dataErrors;
    OBJTYPE& type;
};

template <class Record>
constexpr OBJTYPE KindOfDecoded(std::unique_ptr<Record> (*)(FieldReader&)) {
    return KindOf<Record>(RecordKinds{});
}

constexpr OBJTYPE KindOfDecoded(OwnedBytes (*)(FieldReader&)) {
    return OBJTYPE_MODULE_FONT;
}

template <auto Decoder>
void* Decode(Answer& answer) {
    answer.type = KindOfDecoded(Decoder);
    return Decoder(answer.reader).release();
}

// Two records have public decoders of their own, which read from the first field on.
void* DecodeSetupItem(Answer& answer) {
    return answer.fields.CreateSetupItemType_Prot100(answer.dataErrors, &answer.type);
}

void* DecodeLogo(Answer& answer) {
    return answer.fields.CreateLogoData_Prot100(answer.dataErrors, &answer.type);
}

/// What the program asks, and who reads the answer. "<C139>", the extended status, is not decoded (kept: a
/// second test for "<C138>" has its place and never comes to bear).
constexpr struct {
    const unsigned char (&command)[3];
    void* (*decode)(Answer&);
} kRecords[] = {
    {Commands::Cmd_CommandGetProtVer, Decode<DecodeVersion>},
    {Commands::Cmd_CommandGetHeaderSetup, Decode<DecodeSetupHeader>},
    {Commands::Cmd_CommandGetIDList, Decode<DecodeSetupIDs>},
    {Commands::Cmd_CommandGetIDInfo, DecodeSetupItem},
    {Commands::Cmd_CommandGetPrnLifeInfo, Decode<DecodeLifeInfo>},
    {Commands::Cmd_CommandGetPrnDeviceInfo, Decode<DecodeDeviceInfo>},
    {Commands::Cmd_CommandGetPrnHeadInfo, Decode<DecodeHeadInfo>},
    {Commands::Cmd_CommandDataAvailable, Decode<DecodeDataAvailable>},
    {Commands::Cmd_CommandGetLogosType, Decode<DecodeLogosType>},
    {Commands::Cmd_CommandGetLogosIDList, Decode<DecodeLogoIDs>},
    {Commands::Cmd_CommandGetIDLogo, DecodeLogo},
    {Commands::Cmd_CommandModulesList, Decode<DecodeModuleList>},
    {Commands::Cmd_CommandToolsSupported, Decode<DecodeTools>},
    {Commands::Cmd_CommandModuleFont, Decode<DecodeModuleFont>},
    {Commands::Cmd_CommandUpgradeInfo, Decode<DecodeUpgradeInfo>},
    {Commands::Cmd_GetGenStatusInfo, Decode<DecodeStatusInfoGen>},
    {Commands::Cmd_GetExtStatusInfo, Decode<DecodeStatusInfoExt>},
    {Commands::Cmd_GetPrinterStatusGen, Decode<DecodeStatus>},
};

}  // namespace

void DeleteSetupItem(void* record, OBJTYPE type) {
    if (record != nullptr) DeleteByKind(RecordKinds{}, record, type);
}

ProtocolRecord ProtocolRecord::Decode(ProtocollFields& fields, const ProtocollVersion* version,
                                      std::uint64_t* dataErrors) {
    OBJTYPE type = OBJTYPE_NONE;
    void* record = fields.CreateSetupItem(dataErrors, version, &type);
    return {record, type};
}

void* ProtocollFields::CreateSetupItem(std::uint64_t* dataErrors, const ProtocollVersion* version,
                                       OBJTYPE* type) {
    constexpr std::uint64_t kVersion100 = 100;
    const char* const tag = "CreateSetupItem";
    if (type != nullptr) *type = OBJTYPE_NONE;
    const std::uint64_t number = version != nullptr ? version->uiVersion : kVersion100;
    Log::Write(tag, "Current Protocoll Version : " + std::to_string(number));
    if (number == kVersion100) return CreateSetupItem_Prot100(dataErrors, type);
    Log::WriteLog(tag, "End");
    return nullptr;
}

void* ProtocollFields::CreateSetupItem_Prot100(std::uint64_t* dataErrors, OBJTYPE* type) {
    OBJTYPE kind = OBJTYPE_NONE;
    FieldReader reader(listFields, "CreateSetupItem_Prot100");
    Answer answer{reader, *this, dataErrors, kind};
    const std::string& tag = reader.Frame();
    void* record = nullptr;
    for (const auto& row : kRecords)
        if (tag == "<C" + std::to_string(row.command[2]) + ">") record = row.decode(answer);
    // kept: a protocol version that was read well but is not spoken leaves its kind behind
    const bool unspoken = kind == OBJTYPE_PROTOCOLL_VERSION && reader.Ok();
    if (type != nullptr) *type = record != nullptr || unspoken ? kind : OBJTYPE_NONE;
    if (record != nullptr) reader.Write("End");
    return record;
}

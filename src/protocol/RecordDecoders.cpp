#include "protocol/RecordDecoders.h"

#include <algorithm>
#include <iterator>

#include "protocol/FieldWalk.h"
#include "protocol/InfoItemPrnDeviceInfo.h"
#include "protocol/InfoItemPrnHeadInfo.h"
#include "protocol/InfoItemPrnLifeInfo.h"
#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/LogosType.h"
#include "protocol/ModuleItemPrnModuleList.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/ProtocollFields.h"
#include "protocol/SetupItemHeader.h"
#include "protocol/SetupItemIDList.h"
#include "protocol/SetupItemType.h"
#include "protocol/StatusData.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "protocol/ToolsData.h"
#include "protocol/UpgradeDataInfo.h"

namespace {

/// What a decoder may need beside the fields behind the tag.
struct Answer {
    FieldWalk& walk;
    ProtocollFields& fields;
    std::uint64_t* dataErrors;
    OBJTYPE& type;
};

struct TagRow {
    const char* tag;
    OBJTYPE type;
    void* (*decode)(Answer&);
};

template <auto Decoder>
void* Decode(Answer& answer) {
    return Decoder(answer.walk).release();
}

// Two records have public decoders of their own, which read from the first field on.
void* DecodeSetupItem(Answer& answer) {
    // The base is an item's first and only one, so this is the address of the whole item, by which it is
    // deleted.
    return answer.fields.CreateSetupItemType_Prot100(answer.dataErrors, &answer.type);
}

void* DecodeLogo(Answer& answer) {
    return answer.fields.CreateLogoData_Prot100(answer.dataErrors, &answer.type);
}

/// The tags in the order in which they are compared. "<C139>", the extended status, is not decoded (kept: its
/// place is taken by a second test for "<C138>", which never comes to bear).
constexpr TagRow kTags[] = {
    {"<C1>", OBJTYPE_PROTOCOLL_VERSION, Decode<DecodeVersion>},
    {"<C2>", OBJTYPE_SETUP_HEADER, Decode<DecodeSetupHeader>},
    {"<C3>", OBJTYPE_SETUP_ID_LIST, Decode<DecodeSetupIDs>},
    {"<C4>", OBJTYPE_NONE, DecodeSetupItem},
    {"<C32>", OBJTYPE_LIFE_INFO, Decode<DecodeLifeInfo>},
    {"<C33>", OBJTYPE_DEVICE_INFO, Decode<DecodeDeviceInfo>},
    {"<C35>", OBJTYPE_HEAD_INFO, Decode<DecodeHeadInfo>},
    {"<C40>", OBJTYPE_DATA_AVAILABLE, Decode<DecodeDataAvailable>},
    {"<C48>", OBJTYPE_LOGOS_TYPE, Decode<DecodeLogosType>},
    {"<C49>", OBJTYPE_LOGOS_ID_LIST, Decode<DecodeLogoIDs>},
    {"<C50>", OBJTYPE_LOGO_ITEM, DecodeLogo},
    {"<C64>", OBJTYPE_MODULE_LIST, Decode<DecodeModuleList>},
    {"<C80>", OBJTYPE_TOOLS, Decode<DecodeTools>},
    {"<C96>", OBJTYPE_MODULE_FONT, Decode<DecodeModuleFont>},
    {"<C112>", OBJTYPE_UPGRADE_INFO, Decode<DecodeUpgradeInfo>},
    {"<C128>", OBJTYPE_STATUS_INFO_GEN, Decode<DecodeStatusInfoGen>},
    {"<C129>", OBJTYPE_STATUS_INFO_EXT, Decode<DecodeStatusInfoExt>},
    {"<C138>", OBJTYPE_STATUS_DATA, Decode<DecodeStatus>},
};

}  // namespace

void* DecodeRecord(const std::string& tag, FieldWalk& walk, ProtocollFields& fields,
                   std::uint64_t* dataErrors, OBJTYPE& type) {
    const auto* const row = std::find_if(std::begin(kTags), std::end(kTags),
                                         [&](const TagRow& known) { return tag == known.tag; });
    if (row == std::end(kTags)) return nullptr;
    type = row->type;
    Answer answer{walk, fields, dataErrors, type};
    void* const record = row->decode(answer);
    // kept: a protocol version that was read well but is not spoken leaves its kind behind
    const bool unspoken = row->type == OBJTYPE_PROTOCOLL_VERSION && walk.Ok();
    if (record == nullptr && !unspoken) type = OBJTYPE_NONE;
    return record;
}

#include "protocol/ProtocolRecord.h"

#include <memory>

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
#include "protocol/SetupItemTypeDateTime.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/SetupItemTypeNumeric.h"
#include "protocol/SetupItemTypeString.h"
#include "protocol/StatusData.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "protocol/ToolsData.h"
#include "protocol/UpgradeDataInfo.h"

namespace {

template <class T>
void Delete(void* record) {
    std::default_delete<T>{}(static_cast<std::remove_extent_t<T>*>(record));
}

template <class... T, OBJTYPE... Kind>
void DeleteByKind(const RecordKindList<RecordKind<T, Kind>...>&, void* record, OBJTYPE type) {
    ((type == Kind ? Delete<T>(record) : void()), ...);
}

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

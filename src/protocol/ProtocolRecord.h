#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "protocol/ObjType.h"

class InfoItemPrnDeviceInfo;
class InfoItemPrnHeadInfo;
class InfoItemPrnLifeInfo;
class LogoItem;
class LogosIDList;
class LogosType;
class ModuleItemPrnModuleList;
class ProtocollDataAvailable;
class ProtocollFields;
class ProtocollVersion;
class SetupItemHeader;
class SetupItemIDList;
class SetupItemTypeDateTime;
class SetupItemTypeList;
class SetupItemTypeNumeric;
class SetupItemTypeString;
class StatusData;
class StatusInfoExtData;
class StatusInfoGenData;
class ToolsData;
class UpgradeDataInfo;

/// A kind of record and its type: std::uint64_t is the protocol version, unsigned char[] the bytes of a
/// module font.
template <class T, OBJTYPE Kind>
struct RecordKind {};

template <class... Kinds>
struct RecordKindList : Kinds... {};

/// Every kind of record that an answer can be.
using RecordKinds = RecordKindList<
    RecordKind<std::uint64_t, OBJTYPE_PROTOCOLL_VERSION>, RecordKind<SetupItemHeader, OBJTYPE_SETUP_HEADER>,
    RecordKind<SetupItemIDList, OBJTYPE_SETUP_ID_LIST>, RecordKind<InfoItemPrnLifeInfo, OBJTYPE_LIFE_INFO>,
    RecordKind<InfoItemPrnDeviceInfo, OBJTYPE_DEVICE_INFO>,
    RecordKind<InfoItemPrnHeadInfo, OBJTYPE_HEAD_INFO>,
    RecordKind<ProtocollDataAvailable, OBJTYPE_DATA_AVAILABLE>, RecordKind<LogosType, OBJTYPE_LOGOS_TYPE>,
    RecordKind<LogosIDList, OBJTYPE_LOGOS_ID_LIST>, RecordKind<ModuleItemPrnModuleList, OBJTYPE_MODULE_LIST>,
    RecordKind<ToolsData, OBJTYPE_TOOLS>, RecordKind<unsigned char[], OBJTYPE_MODULE_FONT>,
    RecordKind<UpgradeDataInfo, OBJTYPE_UPGRADE_INFO>, RecordKind<StatusInfoGenData, OBJTYPE_STATUS_INFO_GEN>,
    RecordKind<StatusInfoExtData, OBJTYPE_STATUS_INFO_EXT>, RecordKind<StatusData, OBJTYPE_STATUS_DATA>,
    RecordKind<SetupItemTypeList, OBJTYPE_ITEM_LIST>, RecordKind<SetupItemTypeNumeric, OBJTYPE_ITEM_NUMERIC>,
    RecordKind<SetupItemTypeDateTime, OBJTYPE_ITEM_DATETIME>,
    RecordKind<SetupItemTypeString, OBJTYPE_ITEM_STRING>, RecordKind<LogoItem, OBJTYPE_LOGO_ITEM>>;

template <class T, OBJTYPE Kind>
constexpr OBJTYPE KindOf(const RecordKind<T, Kind>&) {
    return Kind;
}

/// Deletes what ProtocollFields::CreateSetupItem returned, by the kind that it told. A null record is
/// ignored.
void DeleteSetupItem(void* record, OBJTYPE type);

/// The owner of a decoded record of any kind.
class ProtocolRecord {
 public:
    ProtocolRecord() = default;
    /// Takes `record` over. Kind `type` has to be the one that came with it.
    ProtocolRecord(void* record, OBJTYPE type) : pRecord(record), iType(type) {}
    ProtocolRecord(ProtocolRecord&& other) noexcept
        : pRecord(std::exchange(other.pRecord, nullptr)), iType(std::exchange(other.iType, OBJTYPE_NONE)) {}
    ProtocolRecord& operator=(ProtocolRecord&& other) noexcept {
        std::swap(pRecord, other.pRecord);
        std::swap(iType, other.iType);
        return *this;
    }
    ~ProtocolRecord() { DeleteSetupItem(pRecord, iType); }

    /// Decodes the answer that `fields` holds. Empty when it is no record; type() is then what
    /// CreateSetupItem told.
    static ProtocolRecord Decode(ProtocollFields& fields, const ProtocollVersion* version = nullptr,
                                 std::uint64_t* dataErrors = nullptr);

    explicit operator bool() const { return pRecord != nullptr; }
    OBJTYPE type() const { return iType; }

    /// The record when it is there and of the kind that T stands for; null otherwise.
    template <class T>
    std::remove_extent_t<T>* As() const {
        return iType == KindOf<T>(RecordKinds{}) ? static_cast<std::remove_extent_t<T>*>(pRecord) : nullptr;
    }

 private:
    void* pRecord = nullptr;
    OBJTYPE iType = OBJTYPE_NONE;
};

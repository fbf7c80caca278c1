#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

class ProtocollFields;
class ProtocollVersion;

/// The kind of a record that ProtocollFields::CreateSetupItem made, and so how it is deleted. The value 4 is
/// free.
enum OBJTYPE : std::uint32_t {
    OBJTYPE_NONE = 0,
    OBJTYPE_PROTOCOLL_VERSION = 1,  ///< std::uint64_t: 100 is version "1.00"
    OBJTYPE_SETUP_HEADER = 2,
    OBJTYPE_SETUP_ID_LIST = 3,
    OBJTYPE_LIFE_INFO = 5,
    OBJTYPE_DEVICE_INFO = 6,
    OBJTYPE_HEAD_INFO = 7,
    OBJTYPE_DATA_AVAILABLE = 8,
    OBJTYPE_LOGOS_TYPE = 9,
    OBJTYPE_LOGOS_ID_LIST = 10,
    OBJTYPE_MODULE_LIST = 11,
    OBJTYPE_TOOLS = 12,
    OBJTYPE_MODULE_FONT = 13,  ///< bytes from `malloc`, as many as the answer's size field says
    OBJTYPE_UPGRADE_INFO = 14,
    OBJTYPE_STATUS_INFO_GEN = 15,
    OBJTYPE_STATUS_INFO_EXT = 16,
    OBJTYPE_STATUS_DATA = 17,
    OBJTYPE_ITEM_LIST = 18,
    OBJTYPE_ITEM_NUMERIC = 19,
    OBJTYPE_ITEM_DATETIME = 20,
    OBJTYPE_ITEM_STRING = 21,
    OBJTYPE_LOGO_ITEM = 22,
};

/// A kind of record and its type: std::uint64_t is the protocol version, unsigned char[] the bytes of a
/// module font.
template <class T, OBJTYPE Kind>
struct RecordKind {};

template <class... Kinds>
struct RecordKindList : Kinds... {};

/// Every kind of record that an answer can be.
using RecordKinds = RecordKindList<
    RecordKind<std::uint64_t, OBJTYPE_PROTOCOLL_VERSION>,
    RecordKind<class SetupItemHeader, OBJTYPE_SETUP_HEADER>,
    RecordKind<class SetupItemIDList, OBJTYPE_SETUP_ID_LIST>,
    RecordKind<class InfoItemPrnLifeInfo, OBJTYPE_LIFE_INFO>,
    RecordKind<class InfoItemPrnDeviceInfo, OBJTYPE_DEVICE_INFO>,
    RecordKind<class InfoItemPrnHeadInfo, OBJTYPE_HEAD_INFO>,
    RecordKind<class ProtocollDataAvailable, OBJTYPE_DATA_AVAILABLE>,
    RecordKind<class LogosType, OBJTYPE_LOGOS_TYPE>, RecordKind<class LogosIDList, OBJTYPE_LOGOS_ID_LIST>,
    RecordKind<class ModuleItemPrnModuleList, OBJTYPE_MODULE_LIST>,
    RecordKind<class ToolsData, OBJTYPE_TOOLS>, RecordKind<unsigned char[], OBJTYPE_MODULE_FONT>,
    RecordKind<class UpgradeDataInfo, OBJTYPE_UPGRADE_INFO>,
    RecordKind<class StatusInfoGenData, OBJTYPE_STATUS_INFO_GEN>,
    RecordKind<class StatusInfoExtData, OBJTYPE_STATUS_INFO_EXT>,
    RecordKind<class StatusData, OBJTYPE_STATUS_DATA>, RecordKind<class SetupItemTypeList, OBJTYPE_ITEM_LIST>,
    RecordKind<class SetupItemTypeNumeric, OBJTYPE_ITEM_NUMERIC>,
    RecordKind<class SetupItemTypeDateTime, OBJTYPE_ITEM_DATETIME>,
    RecordKind<class SetupItemTypeString, OBJTYPE_ITEM_STRING>,
    RecordKind<class LogoItem, OBJTYPE_LOGO_ITEM>>;

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

    /// Gives the record up.
    void* Release() { return std::exchange(pRecord, nullptr); }

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

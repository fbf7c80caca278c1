#pragma once

#include <cstdint>
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

    /// The record when it is there and of the kind that T stands for (std::uint64_t: the protocol version,
    /// unsigned char: the module font's bytes); null otherwise.
    template <class T>
    T* As() const {
        return iType == kTypeOf<T> ? static_cast<T*>(pRecord) : nullptr;
    }

 private:
    template <class T>
    static constexpr OBJTYPE kTypeOf = OBJTYPE_NONE;

    void* pRecord = nullptr;
    OBJTYPE iType = OBJTYPE_NONE;
};

template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<std::uint64_t> = OBJTYPE_PROTOCOLL_VERSION;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<SetupItemHeader> = OBJTYPE_SETUP_HEADER;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<SetupItemIDList> = OBJTYPE_SETUP_ID_LIST;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<InfoItemPrnLifeInfo> = OBJTYPE_LIFE_INFO;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<InfoItemPrnDeviceInfo> = OBJTYPE_DEVICE_INFO;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<InfoItemPrnHeadInfo> = OBJTYPE_HEAD_INFO;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<ProtocollDataAvailable> = OBJTYPE_DATA_AVAILABLE;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<LogosType> = OBJTYPE_LOGOS_TYPE;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<LogosIDList> = OBJTYPE_LOGOS_ID_LIST;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<ModuleItemPrnModuleList> = OBJTYPE_MODULE_LIST;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<ToolsData> = OBJTYPE_TOOLS;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<unsigned char> = OBJTYPE_MODULE_FONT;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<UpgradeDataInfo> = OBJTYPE_UPGRADE_INFO;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<StatusInfoGenData> = OBJTYPE_STATUS_INFO_GEN;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<StatusInfoExtData> = OBJTYPE_STATUS_INFO_EXT;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<StatusData> = OBJTYPE_STATUS_DATA;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<SetupItemTypeList> = OBJTYPE_ITEM_LIST;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<SetupItemTypeNumeric> = OBJTYPE_ITEM_NUMERIC;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<SetupItemTypeDateTime> = OBJTYPE_ITEM_DATETIME;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<SetupItemTypeString> = OBJTYPE_ITEM_STRING;
template <>
inline constexpr OBJTYPE ProtocolRecord::kTypeOf<LogoItem> = OBJTYPE_LOGO_ITEM;

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "protocol/ObjType.h"

class FieldWalk;
class InfoItemPrnDeviceInfo;
class InfoItemPrnHeadInfo;
class InfoItemPrnLifeInfo;
class LogosIDList;
class LogosType;
class ModuleItemPrnModuleList;
class ProtocollDataAvailable;
class ProtocollFields;
class SetupItemHeader;
class SetupItemIDList;
class StatusData;
class StatusInfoExtData;
class StatusInfoGenData;
class ToolsData;
class UpgradeDataInfo;

/// Decodes the record of protocol 1.00 that answer tag `tag` stands for. `walk` has taken the fields up to
/// the tag. The caller owns the record of kind `type`; null and OBJTYPE_NONE when the tag is unknown or the
/// answer is at fault.
void* DecodeRecord(const std::string& tag, FieldWalk& walk, ProtocollFields& fields,
                   std::uint64_t* dataErrors, OBJTYPE& type);

// The decoders of the single records, by what they say. Each takes the fields behind the tag; null after
// logging why.
std::unique_ptr<std::uint64_t> DecodeVersion(FieldWalk& walk);
std::unique_ptr<SetupItemHeader> DecodeSetupHeader(FieldWalk& walk);
std::unique_ptr<SetupItemIDList> DecodeSetupIDs(FieldWalk& walk);
std::unique_ptr<InfoItemPrnLifeInfo> DecodeLifeInfo(FieldWalk& walk);
std::unique_ptr<InfoItemPrnDeviceInfo> DecodeDeviceInfo(FieldWalk& walk);
std::unique_ptr<InfoItemPrnHeadInfo> DecodeHeadInfo(FieldWalk& walk);
std::unique_ptr<ModuleItemPrnModuleList> DecodeModuleList(FieldWalk& walk);
std::unique_ptr<ProtocollDataAvailable> DecodeDataAvailable(FieldWalk& walk);
std::unique_ptr<ToolsData> DecodeTools(FieldWalk& walk);
std::unique_ptr<unsigned char[]> DecodeModuleFont(FieldWalk& walk);
std::unique_ptr<UpgradeDataInfo> DecodeUpgradeInfo(FieldWalk& walk);
std::unique_ptr<StatusData> DecodeStatus(FieldWalk& walk);
std::unique_ptr<StatusInfoGenData> DecodeStatusInfoGen(FieldWalk& walk);
std::unique_ptr<StatusInfoExtData> DecodeStatusInfoExt(FieldWalk& walk);
std::unique_ptr<LogosType> DecodeLogosType(FieldWalk& walk);
std::unique_ptr<LogosIDList> DecodeLogoIDs(FieldWalk& walk);

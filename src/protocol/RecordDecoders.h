#pragma once

#include <cstdint>
#include <memory>

#include "support/Owned.h"

class FieldReader;

// The decoders of the single records, by what they say. Each takes the fields behind the tag; null after
// logging why.
std::unique_ptr<std::uint64_t> DecodeVersion(FieldReader& fields);
std::unique_ptr<class SetupItemHeader> DecodeSetupHeader(FieldReader& fields);
std::unique_ptr<class SetupItemIDList> DecodeSetupIDs(FieldReader& fields);
std::unique_ptr<class InfoItemPrnLifeInfo> DecodeLifeInfo(FieldReader& fields);
std::unique_ptr<class InfoItemPrnDeviceInfo> DecodeDeviceInfo(FieldReader& fields);
std::unique_ptr<class InfoItemPrnHeadInfo> DecodeHeadInfo(FieldReader& fields);
std::unique_ptr<class ModuleItemPrnModuleList> DecodeModuleList(FieldReader& fields);
std::unique_ptr<class ProtocollDataAvailable> DecodeDataAvailable(FieldReader& fields);
std::unique_ptr<class ToolsData> DecodeTools(FieldReader& fields);
OwnedBytes DecodeModuleFont(FieldReader& fields);
std::unique_ptr<class UpgradeDataInfo> DecodeUpgradeInfo(FieldReader& fields);
std::unique_ptr<class StatusData> DecodeStatus(FieldReader& fields);
std::unique_ptr<class StatusInfoGenData> DecodeStatusInfoGen(FieldReader& fields);
std::unique_ptr<class StatusInfoExtData> DecodeStatusInfoExt(FieldReader& fields);
std::unique_ptr<class LogosType> DecodeLogosType(FieldReader& fields);
std::unique_ptr<class LogosIDList> DecodeLogoIDs(FieldReader& fields);

// What a printer says of itself: versions, lists of lines, bit sets, the module font and how it wants to be
// upgraded.

#include <algorithm>
#include <memory>
#include <string>

#include "protocol/FieldReader.h"
#include "protocol/InfoItemPrnDeviceInfo.h"
#include "protocol/InfoItemPrnHeadInfo.h"
#include "protocol/InfoItemPrnLifeInfo.h"
#include "protocol/ModuleItemPrnModuleList.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/RecordDecoders.h"
#include "protocol/SetupItemHeader.h"
#include "protocol/SetupItemIDList.h"
#include "protocol/ToolsData.h"
#include "protocol/UpgradeDataInfo.h"
#include "support/GenericConst.h"

namespace {

/// The version that "<d.dd>" spells, the delimiters and the point at their places and whatever stands there.
std::uint64_t SpelledVersion(const ProtocollFieldInfo& field) {
    const auto digit = [&field](std::uint32_t index) {
        return index < field.uiRawSize ? static_cast<int>(field.pRawData[index]) - '0' : 0;
    };
    return static_cast<std::uint64_t>(std::int64_t{digit(1)} * 100 + digit(3) * 10 + digit(4));
}

bool IsVersionSupported(std::uint64_t version) {
    // kept: the free slots of the table hold 0, so that 0.00 is found too
    const auto& table = GenericConst::Table_ProtocollVersionsSupported;
    return std::find(std::begin(table), std::end(table), version) != std::end(table);
}

/// A count of text lines and the lines, into a record that has AddTextLine.
template <class Record>
std::unique_ptr<Record> DecodeLines(FieldReader& fields, const char* label) {
    auto record = std::make_unique<Record>();
    std::int32_t count = 0;
    fields.Int(label, count);
    for (std::int32_t i = 1; i <= count && fields.Ok(); ++i) {
        const char* const line = fields.Text().strText.c_str();
        fields.Say("%02d - %s", i, line);
        record->AddTextLine(line);
    }
    if (!fields.Ok()) return nullptr;
    return record;
}

}  // namespace

std::unique_ptr<std::uint64_t> DecodeVersion(FieldReader& fields) {
    const std::uint64_t version = SpelledVersion(fields.String());
    const bool supported = IsVersionSupported(version);
    fields.Say("Printer Protocoll Version : %d", static_cast<int>(version));
    fields.Write(supported ? "Printer Protocoll Version Supported"
                           : "Printer Protocoll Version NOT Supported");
    return supported && fields.Ok() ? std::make_unique<std::uint64_t>(version) : nullptr;
}

std::unique_ptr<SetupItemHeader> DecodeSetupHeader(FieldReader& fields) {
    return DecodeLines<SetupItemHeader>(fields, "Number of Header Lines : ");
}

std::unique_ptr<InfoItemPrnLifeInfo> DecodeLifeInfo(FieldReader& fields) {
    return DecodeLines<InfoItemPrnLifeInfo>(fields, "Number of Printer Life Info Lines : ");
}

std::unique_ptr<InfoItemPrnDeviceInfo> DecodeDeviceInfo(FieldReader& fields) {
    return DecodeLines<InfoItemPrnDeviceInfo>(fields, "Number of Printer Device Info Lines : ");
}

std::unique_ptr<InfoItemPrnHeadInfo> DecodeHeadInfo(FieldReader& fields) {
    return DecodeLines<InfoItemPrnHeadInfo>(fields, "Number of Printer Head Info Lines : ");
}

std::unique_ptr<ModuleItemPrnModuleList> DecodeModuleList(FieldReader& fields) {
    return DecodeLines<ModuleItemPrnModuleList>(fields, "Number of Modules List : ");
}

std::unique_ptr<SetupItemIDList> DecodeSetupIDs(FieldReader& fields) {
    auto list = std::make_unique<SetupItemIDList>();
    std::int32_t count = 0;
    fields.Int("Total Number of ID : ", count);
    for (std::int32_t i = 1; i <= count && fields.Ok(); ++i) {
        const std::uint32_t id = fields.Unsigned();
        fields.Say("%02d - %u", i, id);
        list->AddID(id);
    }
    fields.Sum();
    if (!fields.Ok()) return nullptr;
    return list;
}

std::unique_ptr<ProtocollDataAvailable> DecodeDataAvailable(FieldReader& fields) {
    auto data = std::make_unique<ProtocollDataAvailable>();
    fields.Unsigned("Protocoll Data Available : ", data->Available);
    if (!fields.Ok()) return nullptr;
    return data;
}

std::unique_ptr<ToolsData> DecodeTools(FieldReader& fields) {
    auto tools = std::make_unique<ToolsData>();
    tools->uiTools1 = fields.Unsigned();
    fields.Say("Tools1 : 0x%08x", tools->uiTools1);
    tools->uiTools2 = fields.Unsigned();
    fields.Say("Tools1 : 0x%08x", tools->uiTools2);  // kept: the same name
    if (!fields.Ok()) return nullptr;
    return tools;
}

OwnedBytes DecodeModuleFont(FieldReader& fields) {
    std::int32_t size = 0;
    fields.Int("Module Font Size Expected : ", size);
    const ProtocollFieldInfo& bytes = fields.Data();
    if (size < 0 || static_cast<std::uint32_t>(size) != bytes.uiRawSize) {
        fields.Say("Buffer Size error: %d - %u", size, bytes.uiRawSize);
        fields.Fail();
    }
    OwnedBytes font = AllocateBytes(bytes.uiRawSize);
    if (font == nullptr) return nullptr;
    std::copy_n(bytes.pRawData.get(), bytes.uiRawSize, font.get());
    fields.Sum();
    if (!fields.Ok()) return nullptr;
    return font;
}

std::unique_ptr<UpgradeDataInfo> DecodeUpgradeInfo(FieldReader& fields) {
    auto info = std::make_unique<UpgradeDataInfo>();
    if (!info->SetUpgradeMode(fields.String().strText.c_str())) fields.Fail("SetUpgradeMode Error");

    const ProtocollFieldInfo& settings =
        fields.Take({FTYPE_VSTRING_VALUE, FTYPE_EMPTY, FTYPE_VINT_VALUE},
                    "FTYPE_VSTRING_VALUE/FTYPE_EMPTY/FTYPE_VINT_VALUE Error");
    if (settings.iType == FTYPE_EMPTY) {
        if (!info->SetUpgradeConfigurationSettings(" "))
            fields.Fail("SetUpgradeConfigurationSettings Error(FTYPE_EMPTY)");
    } else if (settings.iType == FTYPE_VINT_VALUE) {
        if (!info->SetUpgradeConfigurationSettings((std::to_string(settings.iValue) + ";").c_str()))
            fields.Fail("SetUpgradeConfigurationSettings Error(FTYPE_VINT_VALUE)");
    } else if (!info->SetUpgradeConfigurationSettings(settings.strText.c_str())) {
        fields.Fail("SetUpgradeConfigurationSettings Error(FTYPE_VSTRING_VALUE)");
    }

    if (!info->SetUpgradeDeviceIDs(fields.String().strText.c_str())) fields.Fail("SetUpgradeDeviceIDs Error");
    if (!fields.Ok()) return nullptr;
    return info;
}

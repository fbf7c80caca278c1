// What a printer says of itself: versions, lists of lines, bit sets, the module font and how it
// wants to be upgraded.

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "protocol/FieldWalk.h"
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
#include "support/Log.h"

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
    return std::find(table.begin(), table.end(), version) != table.end();
}

/// A count of text lines and the lines, into a record that has AddTextLine.
template <class Record>
std::unique_ptr<Record> DecodeLines(FieldWalk& walk, const char* label) {
    auto record = std::make_unique<Record>();
    std::int32_t lines = 0;
    const auto line = [&record](const ProtocollFieldInfo& field, const FieldWalk& at) {
        record->AddTextLine(field.strText.c_str());
        Log::WriteLogP(at.Tag(), "%02zu - %s", record->GetTextLines().size(), field.strText.c_str());
        return true;
    };
    if (!walk.Run({Expect::Int(label, lines), Expect::Repeat(lines, {Expect::Text(line)})})) return nullptr;
    return record;
}

/// A mask of 32 bits, logged by the same name for both masks (kept).
FieldStep ToolMask(std::uint32_t& mask) {
    return Expect::Int([&mask](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        mask = static_cast<std::uint32_t>(field.iValue);
        Log::WriteLogP(walk.Tag(), "Tools1 : 0x%08x", mask);
        return true;
    });
}

const char* const kConfigurationError = "FTYPE_VSTRING_VALUE/FTYPE_EMPTY/FTYPE_VINT_VALUE Error";

/// Stores the settings in the form that the field's type asks for.
bool SetConfiguration(const ProtocollFieldInfo& field, const FieldWalk& walk, UpgradeDataInfo& info) {
    std::string text = field.strText;
    const char* failure = "SetUpgradeConfigurationSettings Error(FTYPE_VSTRING_VALUE)";
    if (field.iType == FTYPE_EMPTY) {
        text = " ";
        failure = "SetUpgradeConfigurationSettings Error(FTYPE_EMPTY)";
    } else if (field.iType == FTYPE_VINT_VALUE) {
        text = std::to_string(field.iValue) + ";";
        failure = "SetUpgradeConfigurationSettings Error(FTYPE_VINT_VALUE)";
    }
    return info.SetUpgradeConfigurationSettings(text.c_str()) || walk.Fail(failure);
}

}  // namespace

std::unique_ptr<std::uint64_t> DecodeVersion(FieldWalk& walk) {
    std::uint64_t version = 0;
    const bool read = walk.Run({Expect::String([&](const ProtocollFieldInfo& field, const FieldWalk& at) {
        version = SpelledVersion(field);
        Log::WriteLogP(at.Tag(), "Printer Protocoll Version : %d", static_cast<int>(version));
        return true;
    })});
    if (!read) return nullptr;
    const bool supported = IsVersionSupported(version);
    Log::WriteLog(walk.Tag(), supported ? "Printer Protocoll Version Supported"
                                        : "Printer Protocoll Version NOT Supported");
    return supported ? std::make_unique<std::uint64_t>(version) : nullptr;
}

std::unique_ptr<SetupItemHeader> DecodeSetupHeader(FieldWalk& walk) {
    return DecodeLines<SetupItemHeader>(walk, "Number of Header Lines : ");
}

std::unique_ptr<InfoItemPrnLifeInfo> DecodeLifeInfo(FieldWalk& walk) {
    return DecodeLines<InfoItemPrnLifeInfo>(walk, "Number of Printer Life Info Lines : ");
}

std::unique_ptr<InfoItemPrnDeviceInfo> DecodeDeviceInfo(FieldWalk& walk) {
    return DecodeLines<InfoItemPrnDeviceInfo>(walk, "Number of Printer Device Info Lines : ");
}

std::unique_ptr<InfoItemPrnHeadInfo> DecodeHeadInfo(FieldWalk& walk) {
    return DecodeLines<InfoItemPrnHeadInfo>(walk, "Number of Printer Head Info Lines : ");
}

std::unique_ptr<ModuleItemPrnModuleList> DecodeModuleList(FieldWalk& walk) {
    return DecodeLines<ModuleItemPrnModuleList>(walk, "Number of Modules List : ");
}

std::unique_ptr<SetupItemIDList> DecodeSetupIDs(FieldWalk& walk) {
    auto list = std::make_unique<SetupItemIDList>();
    std::int32_t ids = 0;
    const auto id = [&list](const ProtocollFieldInfo& field, const FieldWalk& at) {
        const auto number = static_cast<std::uint32_t>(field.iValue);
        list->AddID(number);
        Log::WriteLogP(at.Tag(), "%02zu - %u", list->GetIDs().size(), number);
        return true;
    };
    const bool complete = walk.Run({
        Expect::Int("Total Number of ID : ", ids),
        Expect::Repeat(ids, {Expect::Int(id)}),
        Expect::Sum(),
    });
    return complete ? std::move(list) : nullptr;
}

std::unique_ptr<ProtocollDataAvailable> DecodeDataAvailable(FieldWalk& walk) {
    auto data = std::make_unique<ProtocollDataAvailable>();
    if (!walk.Run({Expect::Unsigned("Protocoll Data Available : ", data->Available)})) return nullptr;
    return data;
}

std::unique_ptr<ToolsData> DecodeTools(FieldWalk& walk) {
    auto tools = std::make_unique<ToolsData>();
    if (!walk.Run({ToolMask(tools->uiTools1), ToolMask(tools->uiTools2)})) return nullptr;
    return tools;
}

std::unique_ptr<unsigned char[]> DecodeModuleFont(FieldWalk& walk) {
    std::unique_ptr<unsigned char[]> font;
    std::int32_t size = 0;
    const auto bytes = [&](const ProtocollFieldInfo& field, const FieldWalk& at) {
        if (size < 0 || static_cast<std::uint32_t>(size) != field.uiRawSize) {
            Log::WriteLogP(at.Tag(), "Buffer Size error: %d - %u", size, field.uiRawSize);
            return false;
        }
        font = std::make_unique<unsigned char[]>(field.uiRawSize);
        std::copy_n(field.pRawData.get(), field.uiRawSize, font.get());
        return true;
    };
    const bool complete = walk.Run({
        Expect::Int("Module Font Size Expected : ", size),
        Expect::Data(bytes),
        Expect::Sum(),
    });
    return complete ? std::move(font) : nullptr;
}

std::unique_ptr<UpgradeDataInfo> DecodeUpgradeInfo(FieldWalk& walk) {
    auto info = std::make_unique<UpgradeDataInfo>();
    const auto mode = [&info](const ProtocollFieldInfo& field, const FieldWalk& at) {
        return info->SetUpgradeMode(field.strText.c_str()) || at.Fail("SetUpgradeMode Error");
    };
    const auto configuration = [&info](const ProtocollFieldInfo& field, const FieldWalk& at) {
        return SetConfiguration(field, at, *info);
    };
    const auto deviceIDs = [&info](const ProtocollFieldInfo& field, const FieldWalk& at) {
        return info->SetUpgradeDeviceIDs(field.strText.c_str()) || at.Fail("SetUpgradeDeviceIDs Error");
    };
    const bool complete = walk.Run({
        Expect::String(mode),
        Expect::Field(FieldStep::kString | FieldStep::kEmpty | FieldStep::kInt, kConfigurationError,
                      configuration),
        Expect::String(deviceIDs),
    });
    return complete ? std::move(info) : nullptr;
}

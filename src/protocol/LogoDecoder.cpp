#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "protocol/FieldWalk.h"
#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/LogosType.h"
#include "protocol/ProtocollFields.h"
#include "protocol/RecordDecoders.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"

namespace {

bool Contains(const ProtocollFieldInfo& field, const char* part) {
    return field.strText.find(part) != std::string::npos;
}

/// Reads the kinds of logo, nine fields each.
class KindReader {
 public:
    explicit KindReader(LogosType& logos) : logosType(logos) {}

    std::vector<FieldStep> Steps() {
        return {
            Number(&LogosInfo::iNumber1),
            Number(&LogosInfo::iMaxCount),
            Text([this](const auto& field) { kind.iFormat = Contains(field, "BMP") ? 0 : 1; }),
            Text([this](const auto& field) { kind.bY = Contains(field, "Y") ? 1 : 0; }),
            Text([this](const auto& field) { kind.iM1 = Contains(field, "M1") ? 0 : kind.iM1; }),
            Number(&LogosInfo::iNumber6),
            SizeAndFlag(),
            Number(&LogosInfo::iNumber10),
            Number(&LogosInfo::iNumber11),
            Expect::Note([this](const FieldWalk&) { Keep(); }),
        };
    }

 private:
    FieldStep Number(std::int32_t LogosInfo::*member) {
        return Expect::Int([this, member](const ProtocollFieldInfo& field, const FieldWalk& walk) {
            kind.*member = field.iValue;
            Log::WriteLogP(walk.Tag(), "%02zu - %d", logosType.listLogosInfo.size() + 1, field.iValue);
            return true;
        });
    }

    template <class Set>
    FieldStep Text(Set set) {
        return Expect::String([set](const ProtocollFieldInfo& field, const FieldWalk& walk) {
            set(field);
            Log::WriteLog(walk.Tag(), field.strText.c_str());
            return true;
        });
    }

    FieldStep SizeAndFlag() {
        return Expect::Field(FieldStep::kString | FieldStep::kInt,
                             "FTYPE_VSTRING_VALUE or FTYPE_VINT_VALUE Error",
                             [this](const ProtocollFieldInfo& field, const FieldWalk& walk) {
                                 SetSize(field);
                                 kind.bF = Contains(field, "F") ? 1 : 0;
                                 Log::WriteLog(walk.Tag(), field.strText.c_str());
                                 return true;
                             });
    }

    void SetSize(const ProtocollFieldInfo& field) {
        std::array<int, 2> size{};
        if (!Contains(field, "X") ||
            GenericFunctions::ExtractIntFromString(field.strText.c_str(), size.data(), 2) != 2)
            return;
        kind.iWidth = size[0];
        kind.iHeight = size[1];
    }

    void Keep() {
        logosType.listLogosInfo.push_back(kind);
        kind = {};
    }

    LogosType& logosType;
    LogosInfo kind;
};

/// An image of a logo as it is read.
struct ImageReader {
    LogoItem logo;
    std::int32_t announced = 0;

    bool SetSize(const ProtocollFieldInfo& field, const FieldWalk& walk) {
        // Room for one more than there have to be, which tells a third number.
        std::array<int, 3> size{};
        const char* const text = field.strText.c_str();
        if (GenericFunctions::ExtractIntFromString(text, size.data(), 3) != 2)
            return walk.Fail("Extract Image size Error");
        logo.iWidth = size[0];
        logo.iHeight = size[1];
        Log::WriteLogP(walk.Tag(), "Logo Image Size : %s (%d x %d)", text, logo.iWidth, logo.iHeight);
        return true;
    }

    bool SetData(const ProtocollFieldInfo& field, const FieldWalk& walk) {
        Log::WriteLogP(walk.Tag(), "Logo Image data Size : %u", field.uiRawSize);
        if (announced < 0 || static_cast<std::uint32_t>(announced) != field.uiRawSize) {
            Log::WriteLogP(walk.Tag(), "Image size Error (%d - %u)", announced, field.uiRawSize);
            return false;
        }
        logo.uiDataSize = field.uiRawSize;
        logo.pData = AllocateBytes(field.uiRawSize);
        if (logo.pData == nullptr) return false;
        std::copy_n(field.pRawData.get(), field.uiRawSize, logo.pData.get());
        return true;
    }

    std::vector<FieldStep> Steps() {
        const auto type = [this](const ProtocollFieldInfo& field, const FieldWalk& walk) {
            logo.iType = Contains(field, "BMP") ? 0 : 1;
            Log::WriteLogP(walk.Tag(), "Logo Type : %d", logo.iType);
            return true;
        };
        const auto name = [this](const ProtocollFieldInfo& field, const FieldWalk& walk) {
            logo.strFileName = field.strText;
            Log::WriteLogP(walk.Tag(), "Logo Filename : %s", field.strText.c_str());
            return true;
        };
        return {
            Expect::Stx(),
            Expect::Command(),
            Expect::Unsigned("Logo ID Number : ", logo.uiID),
            Expect::String(type),
            Expect::Text(name),
            Expect::String([this](const auto& field, const FieldWalk& walk) { return SetSize(field, walk); }),
            Expect::Int("Logo Image data Size : ", announced),
            Expect::Data([this](const auto& field, const FieldWalk& walk) { return SetData(field, walk); }),
            Expect::Sum(),
        };
    }
};

}  // namespace

std::unique_ptr<LogosType> DecodeLogosType(FieldWalk& walk) {
    auto logos = std::make_unique<LogosType>();
    KindReader kinds(*logos);
    std::int32_t count = 0;
    const auto preview = [&logos](const ProtocollFieldInfo& field, const FieldWalk&) {
        logos->bPrintPreview = Contains(field, "Y");
        return true;
    };
    const bool complete = walk.Run({
        Expect::Int("Total Number of Logos Info : ", count),
        Expect::Repeat(count, kinds.Steps()),
        Expect::String(preview),
    });
    if (!complete) return nullptr;
    logos->CalcNumMaxLogo();
    return logos;
}

std::unique_ptr<LogosIDList> DecodeLogoIDs(FieldWalk& walk) {
    std::vector<std::uint64_t> ids;
    std::int32_t count = 0;
    const auto id = [&ids](const ProtocollFieldInfo& field, const FieldWalk& at) {
        ids.push_back(static_cast<std::uint32_t>(field.iValue));
        Log::WriteLogP(at.Tag(), "%02zu - %u", ids.size(), static_cast<std::uint32_t>(field.iValue));
        return true;
    };
    const bool complete = walk.Run({
        Expect::Int("Total Number of ID : ", count),
        Expect::Repeat(count, {Expect::Int(id)}),
        Expect::Sum(),
    });
    if (!complete) return nullptr;
    auto list = std::make_unique<LogosIDList>();
    list->AddIDs(ids);
    return list;
}

LogoItem* ProtocollFields::CreateLogoData_Prot100(std::uint64_t* /*dataErrors*/, OBJTYPE* type) {
    ImageReader image;
    FieldWalk walk(listFields, "CreateLogoData_Prot100");
    if (type != nullptr) *type = OBJTYPE_NONE;
    if (!walk.Run(image.Steps())) return nullptr;
    if (type != nullptr) *type = OBJTYPE_LOGO_ITEM;
    Log::WriteLog(walk.Tag(), "End");
    return std::make_unique<LogoItem>(std::move(image.logo)).release();
}

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "protocol/FieldReader.h"
#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/LogosType.h"
#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollFields.h"
#include "protocol/RecordDecoders.h"
#include "support/GenericFunctions.h"

namespace {

bool Contains(const ProtocollFieldInfo& field, const char* part) {
    return field.strText.find(part) != std::string::npos;
}

/// A number of the kind of logo that is the `kind`th.
std::int32_t KindNumber(FieldReader& fields, int kind) {
    const std::int32_t number = fields.Int();
    fields.Say("%02d - %d", kind, number);
    return number;
}

/// A text of a kind of logo.
const ProtocollFieldInfo& KindText(FieldReader& fields) {
    const ProtocollFieldInfo& text = fields.String();
    fields.Write(text.strText.c_str());
    return text;
}

/// Width and height when the text names both.
void SetSize(const ProtocollFieldInfo& field, LogosInfo& kind) {
    int size[2] = {};
    if (!Contains(field, "X") || GenericFunctions::ExtractIntFromString(field.strText.c_str(), size, 2) != 2)
        return;
    kind.iWidth = size[0];
    kind.iHeight = size[1];
}

}  // namespace

std::unique_ptr<LogosType> DecodeLogosType(FieldReader& fields) {
    auto logos = std::make_unique<LogosType>();
    std::int32_t count = 0;
    fields.Int("Total Number of Logos Info : ", count);
    for (std::int32_t i = 1; i <= count && fields.Ok(); ++i) {
        LogosInfo kind;
        kind.iNumber1 = KindNumber(fields, i);
        kind.iMaxCount = KindNumber(fields, i);
        kind.iFormat = Contains(KindText(fields), "BMP") ? 0 : 1;
        kind.bY = Contains(KindText(fields), "Y") ? 1 : 0;
        if (Contains(KindText(fields), "M1")) kind.iM1 = 0;
        kind.iNumber6 = KindNumber(fields, i);
        const ProtocollFieldInfo& size = fields.Take({FTYPE_VSTRING_VALUE, FTYPE_VINT_VALUE},
                                                     "FTYPE_VSTRING_VALUE or FTYPE_VINT_VALUE Error");
        SetSize(size, kind);
        kind.bF = Contains(size, "F") ? 1 : 0;
        fields.Write(size.strText.c_str());
        kind.iNumber10 = KindNumber(fields, i);
        kind.iNumber11 = KindNumber(fields, i);
        logos->listLogosInfo.push_back(kind);
    }
    logos->bPrintPreview = Contains(fields.String(), "Y");
    if (fields.Ok()) logos->CalcNumMaxLogo();
    if (!fields.Ok()) return nullptr;
    return logos;
}

std::unique_ptr<LogosIDList> DecodeLogoIDs(FieldReader& fields) {
    std::vector<std::uint64_t> ids;
    std::int32_t count = 0;
    fields.Int("Total Number of ID : ", count);
    for (std::int32_t i = 1; i <= count && fields.Ok(); ++i) {
        const std::uint32_t id = fields.Unsigned();
        fields.Say("%02d - %u", i, id);
        ids.push_back(id);
    }
    fields.Sum();
    auto list = std::make_unique<LogosIDList>();
    list->AddIDs(ids);
    if (!fields.Ok()) return nullptr;
    return list;
}

LogoItem* ProtocollFields::CreateLogoData_Prot100(std::uint64_t* /*dataErrors*/, OBJTYPE* type) {
    auto logo = std::make_unique<LogoItem>();
    FieldReader fields(listFields, "CreateLogoData_Prot100");
    if (type != nullptr) *type = OBJTYPE_NONE;
    fields.Frame();
    fields.Unsigned("Logo ID Number : ", logo->uiID);
    logo->iType = Contains(fields.String(), "BMP") ? 0 : 1;
    fields.Say("Logo Type : %d", logo->iType);
    logo->strFileName = fields.Text().strText;
    fields.Say("Logo Filename : %s", logo->strFileName.c_str());

    const char* const size = fields.String().strText.c_str();
    int numbers[3] = {};  // one more than there have to be tells a third number
    if (GenericFunctions::ExtractIntFromString(size, numbers, 3) != 2)
        fields.Fail("Extract Image size Error");
    logo->iWidth = numbers[0];
    logo->iHeight = numbers[1];
    fields.Say("Logo Image Size : %s (%d x %d)", size, logo->iWidth, logo->iHeight);

    std::int32_t announced = 0;
    fields.Int("Logo Image data Size : ", announced);
    const ProtocollFieldInfo& image = fields.Data();
    fields.Say("Logo Image data Size : %u", image.uiRawSize);
    if (announced < 0 || static_cast<std::uint32_t>(announced) != image.uiRawSize) {
        fields.Say("Image size Error (%d - %u)", announced, image.uiRawSize);
        fields.Fail();
    }
    logo->uiDataSize = image.uiRawSize;
    logo->pData = AllocateBytes(image.uiRawSize);
    if (logo->pData == nullptr) return nullptr;
    std::copy_n(image.pRawData.get(), image.uiRawSize, logo->pData.get());
    fields.Sum();
    fields.Write("End");
    if (type != nullptr && fields.Ok()) *type = OBJTYPE_LOGO_ITEM;
    return fields.Ok() ? logo.release() : nullptr;
}

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "protocol/FieldReader.h"
#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollFieldInfo.h"
#include "protocol/ProtocollFields.h"
#include "protocol/SetupItemTypeDateTime.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/SetupItemTypeNumeric.h"
#include "protocol/SetupItemTypeString.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "support/Text.h"

namespace {

bool Contains(const std::string& text, char c) {
    return text.find(c) != std::string::npos;
}

/// The view codes of a link, one or two with a comma between them, each known by a letter.
bool SetView(const std::string& view, SetupItemLink& link) {
    std::string codes = view;
    std::vector<char*> parts;
    if (Contains(codes, ',')) {
        GenericFunctions::splitModify(codes.data(), ",", parts);
        if (parts.size() != 2) return false;
    }
    const std::string first = parts.empty() ? view : parts[0];
    link.iViewOperation = Contains(first, 'H') ? 0 : Contains(first, 'D') ? 2 : 1;
    link.iViewOperation2 = link.iViewOperation == 1 ? 0 : 1;
    if (parts.empty()) return true;
    const std::string second = parts[1];
    link.iViewOperation2 = Contains(second, 'H') ? 0 : Contains(second, 'D') ? 2 : 1;
    return true;
}

/// The links of an item to others, three fields each.
std::vector<SetupItemLink> ReadLinks(FieldReader& fields) {
    std::vector<SetupItemLink> links;
    std::int32_t count = 0;
    fields.Int("Link Size : ", count);
    for (std::int32_t i = 1; i <= count && fields.Ok(); ++i) {
        SetupItemLink link;
        const ProtocollFieldInfo& view = fields.TakeAny("FTYPE_VINT_VALUE Error");
        if (!SetView(view.strText, link)) fields.Fail("Link Params Error");
        fields.Say("Link %d: View Operation :%d/%d", i, link.iViewOperation, link.iViewOperation2);
        const std::uint32_t source = fields.Unsigned();
        link.uiIDSource = source;
        fields.Say("Link %d: ID Source :%u", i, source);
        link.iLinkIDValue = fields.Int();
        fields.Say("Link %d: Link ID Value :%d", i, link.iLinkIDValue);
        links.push_back(link);
    }
    return links;
}

/// What every kind of item begins with. The kind is told as soon as there is a description. A label of
/// braces is logged as it stands (kept).
void ReadHead(FieldReader& fields, SetupItemType& item, OBJTYPE kind, OBJTYPE* type, bool logsDescription,
              bool logsAdditional) {
    CopyText(item.strDescription, fields.Text().strText.c_str());
    if (fields.Ok() && type != nullptr) *type = kind;
    fields.Say("Description : %s", logsDescription ? item.strDescription : "{0}");
    if (fields.Int() != 0) CopyText(item.strAdditionalDescription, fields.Text().strText.c_str());
    fields.Say("Additional Description : %s", logsAdditional ? item.strAdditionalDescription : "{0}");
}

/// A number field, whatever stands in it.
const ProtocollFieldInfo& Number(FieldReader& fields, const char* wrongType) {
    return fields.Take({FTYPE_VINT_VALUE, FTYPE_VSTRING_VALUE}, wrongType);
}

float Float(FieldReader& fields, const char* label, const char* wrongType) {
    const float value = Number(fields, wrongType).fValue;
    fields.Say("%s%f", label, static_cast<double>(value));
    return value;
}

std::int32_t Length(FieldReader& fields, const char* label, const char* wrongType) {
    const std::int32_t value = Number(fields, wrongType).iValue;
    fields.Say("%s%d", label, value);
    return value;
}

/// A text line of at least one character.
void FilledText(FieldReader& fields, char (&member)[512], const char* label, const char* wrongType) {
    const ProtocollFieldInfo& text = fields.Take({FTYPE_STRING_VALUE}, wrongType);
    if (text.strText.empty()) fields.Fail(wrongType);
    CopyText(member, text.strText.c_str());
    fields.Say("%s%s", label, member);
}

/// Counts a value outside its range; the item stays good.
void CountDataError(std::uint64_t* dataErrors) {
    if (dataErrors != nullptr) ++*dataErrors;
}

/// Counts a default or current value that no element of the list has.
void CheckListed(const SetupItemTypeList& item, const char* name, std::int32_t value, const char* tag,
                 std::uint64_t* dataErrors) {
    const bool listed = std::any_of(
        item.listItems.begin(), item.listItems.end(),
        [value](const ListItem& element) { return element.uiValue == static_cast<std::uint32_t>(value); });
    if (listed) return;
    Log::WriteLogP(tag, "DATA Error - %s Value %d out of Range", name, value);
    CountDataError(dataErrors);
}

void CheckRanges(const SetupItemTypeNumeric& item, const char* tag, std::uint64_t* dataErrors) {
    // Written so that a number that is none (NaN) fails each of them.
    const struct {
        bool good;
        const char* message;
    } checks[] = {
        {item.fMinimum < item.fMaximum, "DATA Error - MinValue >= MaxValue "},
        {item.fStep > 0.0F, "DATA Error - StepValue"},
        {item.fDefault >= item.fMinimum, "DATA Error - DefValue < MinValue "},
        {item.fDefault <= item.fMaximum, "DATA Error - DefValue > MaxValue "},
        {item.fCurrent >= item.fMinimum, "DATA Error - CurValue < MinValue "},
        {item.fCurrent <= item.fMaximum, "DATA Error - CurValue > MaxValue "},
    };
    for (const auto& check : checks) {
        if (check.good) continue;
        Log::WriteLog(tag, check.message);
        CountDataError(dataErrors);
    }
}

/// Reads `count` digits at `position`; -1 when there are none.
int DigitsAt(const std::string& text, std::size_t position, std::size_t count) {
    int number = 0;
    for (std::size_t i = position; i < position + count; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9') return -1;
        number = number * 10 + (text[i] - '0');
    }
    return number;
}

/// The calendar time of "yyyy-mm-dd hh:mm:ss" in local time, the year counted from 1900 and any character
/// between the numbers. False when there are not these digits or they are no time of day of a calendar.
bool ParseDateTime(const std::string& text, std::time_t& time) {
    constexpr int kCalendarStart = 1900;
    const int year = DigitsAt(text, 0, 4);
    const int month = DigitsAt(text, 5, 2);
    const int day = DigitsAt(text, 8, 2);
    const int hour = DigitsAt(text, 11, 2);
    const int minute = DigitsAt(text, 14, 2);
    const int second = DigitsAt(text, 17, 2);
    if (std::min({year, month, day, hour, minute, second}) < 0) return false;
    char formatted[96];
    std::snprintf(formatted, sizeof formatted, "%02d-%02d-%04d %02d:%02d:%02d", day, month,
                  year + kCalendarStart, hour, minute, second);
    std::tm parts{};
    if (strptime(formatted, "%d-%m-%Y %H:%M:%S", &parts) == nullptr) return false;
    parts.tm_isdst = -1;  // whichever holds on that day
    parts.tm_wday = -1;   // told from a failure, which gives -1 too, by being set
    time = std::mktime(&parts);
    return parts.tm_wday != -1;
}

void LogDateTime(const char* tag, std::time_t time) {
    std::tm parts{};
    char formatted[64] = "";
    if (localtime_r(&time, &parts) != nullptr)
        std::strftime(formatted, sizeof formatted, "%d-%m-%Y %H:%M:%S", &parts);
    Log::WriteLogP(tag, "Current Date / Time Value (dd/MM/yyyy HH:mm:ss):%s", formatted);
}

/// What only items of this type have, read on from where `fields` is. Null for a type that there is not.
SetupItemType* ExtractKind(ProtocollFields& answer, FieldReader& fields, std::int32_t itemType,
                           std::uint64_t* dataErrors, OBJTYPE* kind) {
    int& index = fields.Index();
    std::uint64_t& sum = fields.RunningSum();
    switch (itemType) {
        case PROT_TYPE_LIST:
            fields.Write("Type : PROT_TYPE_LIST");
            return answer.ExtractIDInfo_TypeList_Prot100(index, sum, dataErrors, kind);
        case PROT_TYPE_NUMERIC:
            fields.Write("Type : PROT_TYPE_NUMERIC");
            return answer.ExtractIDInfo_TypeNumeric_Prot100(index, sum, dataErrors, kind);
        case PROT_TYPE_DATETIME:
            fields.Write("Type : PROT_TYPE_DATETIME");
            return answer.ExtractIDInfo_TypeDateTime_Prot100(index, sum, dataErrors, kind);
        case PROT_TYPE_STRING:
            fields.Write("Type : PROT_TYPE_STRING");
            return answer.ExtractIDInfo_TypeString_Prot100(index, sum, dataErrors, kind);
        default:
            return nullptr;
    }
}

}  // namespace

SetupItemType* ProtocollFields::CreateSetupItemType_Prot100(std::uint64_t* dataErrors, OBJTYPE* type) {
    FieldReader fields(listFields, "CreateSetupItemType_Prot100");
    OBJTYPE kind = OBJTYPE_NONE;
    std::uint64_t id = 0;
    std::int32_t itemType = 0;
    fields.Write("Begin");
    fields.Frame();
    fields.Unsigned("ID Number : ", id);
    std::vector<SetupItemLink> links = ReadLinks(fields);
    fields.Int("Type : ", itemType);
    SetupItemType* const item = ExtractKind(*this, fields, itemType, dataErrors, &kind);
    // The base is an item's first and only one, so this is the address of the whole item, by which it is
    // deleted.
    ProtocolRecord owner(item, kind);
    if (type != nullptr) *type = kind;
    if (item == nullptr) {
        fields.Fail("Extract Type Error");
        return nullptr;
    }
    if (!links.empty()) fields.Say("Add %zu Links", links.size());
    item->listLinks = std::move(links);
    item->uiID = id;
    item->iType = static_cast<std::uint8_t>(itemType);
    fields.Sum();
    fields.Write("End");
    return fields.Ok() ? static_cast<SetupItemType*>(owner.Release()) : nullptr;
}

SetupItemTypeList* ProtocollFields::ExtractIDInfo_TypeList_Prot100(int& index, std::uint64_t& sum,
                                                                   std::uint64_t* dataErrors, OBJTYPE* type) {
    FieldReader fields(listFields, "ExtractIDInfo_TypeList_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeList>();
    std::int32_t count = 0;
    fields.Write("Begin");
    ReadHead(fields, *item, OBJTYPE_ITEM_LIST, type, true, false);
    fields.Int("StartValue : ", item->iStartValue);
    fields.Int("DefaultValue : ", item->iDefaultValue);
    fields.Int("CurrentValue : ", item->iCurrentValue);
    fields.Int("Number of Elements : ", count);
    for (std::int32_t i = 0; i < count && fields.Ok(); ++i) {
        const char* const text = fields.Text().strText.c_str();
        const std::uint32_t value =
            static_cast<std::uint32_t>(item->iStartValue) + static_cast<std::uint32_t>(i);
        fields.Say("%02d - %d", i, static_cast<std::int32_t>(value));
        item->AddItem(text, value);
    }
    if (!fields.Ok()) return nullptr;
    item->iValueToWrite = item->iCurrentValue;
    CheckListed(*item, "Current", item->iCurrentValue, fields.Tag(), dataErrors);
    CheckListed(*item, "Default", item->iDefaultValue, fields.Tag(), dataErrors);
    return item.release();
}

SetupItemTypeNumeric* ProtocollFields::ExtractIDInfo_TypeNumeric_Prot100(int& index, std::uint64_t& sum,
                                                                         std::uint64_t* dataErrors,
                                                                         OBJTYPE* type) {
    FieldReader fields(listFields, "ExtractIDInfo_TypeNumeric_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeNumeric>();
    fields.Write("Begin");
    ReadHead(fields, *item, OBJTYPE_ITEM_NUMERIC, type, true, true);
    item->fMinimum = Float(fields, "MinValue ", "Extract MinValue Error");
    item->fMaximum = Float(fields, "MaxValue ", "Extract MaxValue Error");
    item->fStep = Float(fields, "StepValue ", "Extract StepValue Error");
    item->fDefault = Float(fields, "DefValue ", "Extract DefValue Error");
    item->fCurrent = Float(fields, "CurValue ", "Extract CurValue Error");
    item->fValueToWrite = item->fCurrent;
    if (!fields.Ok()) return nullptr;
    CheckRanges(*item, fields.Tag(), dataErrors);
    return item.release();
}

SetupItemTypeDateTime* ProtocollFields::ExtractIDInfo_TypeDateTime_Prot100(int& index, std::uint64_t& sum,
                                                                           std::uint64_t* /*dataErrors*/,
                                                                           OBJTYPE* type) {
    FieldReader fields(listFields, "ExtractIDInfo_TypeDateTime_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeDateTime>();
    fields.Write("Begin");
    ReadHead(fields, *item, OBJTYPE_ITEM_DATETIME, type, true, true);
    const ProtocollFieldInfo& current = fields.TakeAny("Extract Current Date / Time Error");
    if (current.strText.empty()) fields.Fail("Extract Current Date / Time Error");
    if (current.iType != FTYPE_VSTRING_VALUE ||
        !ParseDateTime(WithoutDelimiters(current.strText.c_str()), item->tCurrent))
        fields.Fail("Extract Current Date / Time Value Error");
    if (!fields.Ok()) return nullptr;
    LogDateTime(fields.Tag(), item->tCurrent);
    item->tValueToWrite = item->tCurrent;
    return item.release();
}

SetupItemTypeString* ProtocollFields::ExtractIDInfo_TypeString_Prot100(int& index, std::uint64_t& sum,
                                                                       std::uint64_t* /*dataErrors*/,
                                                                       OBJTYPE* type) {
    FieldReader fields(listFields, "ExtractIDInfo_TypeString_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeString>();
    fields.Write("Begin");
    ReadHead(fields, *item, OBJTYPE_ITEM_STRING, type, false, true);
    item->iMinLength = Length(fields, "MinLen ", "Extract MinLen Error");
    item->iMaxLength = Length(fields, "MaxLen ", "Extract MaxLen Error");
    const auto mask = static_cast<std::uint32_t>(Number(fields, "Extract DataMask Error").iValue);
    if (mask == 0) fields.Fail("DataMask can't be 0");
    fields.Say("DataMask %u", mask);
    item->uiDataMask = mask;
    FilledText(fields, item->strDefault, "DefValue ", "Extract DefValue Error");
    FilledText(fields, item->strCurrent, "CurValue ", "Extract CurValue Error");
    CopyText(item->strTextToWrite, item->strCurrent);
    return fields.Ok() ? item.release() : nullptr;
}

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "protocol/FieldWalk.h"
#include "protocol/FixedText.h"
#include "protocol/ProtocollFields.h"
#include "protocol/SetupItemTypeDateTime.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/SetupItemTypeNumeric.h"
#include "protocol/SetupItemTypeString.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"

namespace {

/// One link while its three fields are read.
struct LinkReader {
    SetupItemLink link;
    std::vector<SetupItemLink> links;

    std::size_t Number() const { return links.size() + 1; }
};

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

std::vector<FieldStep> LinkSteps(LinkReader& reader) {
    const auto view = [&reader](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        if (!SetView(field.strText, reader.link)) return walk.Fail("Link Params Error");
        Log::WriteLogP(walk.Tag(), "Link %zu: View Operation :%d/%d", reader.Number(),
                       reader.link.iViewOperation, reader.link.iViewOperation2);
        return true;
    };
    const auto source = [&reader](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        reader.link.uiIDSource = static_cast<std::uint32_t>(field.iValue);
        Log::WriteLogP(walk.Tag(), "Link %zu: ID Source :%u", reader.Number(),
                       static_cast<std::uint32_t>(field.iValue));
        return true;
    };
    const auto value = [&reader](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        reader.link.iLinkIDValue = field.iValue;
        Log::WriteLogP(walk.Tag(), "Link %zu: Link ID Value :%d", reader.Number(), field.iValue);
        reader.links.push_back(reader.link);
        return true;
    };
    return {
        Expect::Field(FieldStep::kAnyType, "FTYPE_VINT_VALUE Error", view),
        Expect::Int(source),
        Expect::Int(value),
    };
}

/// Counts a value outside its range; the item stays good.
void CountDataError(std::uint64_t* dataErrors) {
    if (dataErrors != nullptr) ++*dataErrors;
}

Expect::Take CopyTo(char (&member)[512]) {
    return [&member](const ProtocollFieldInfo& field, const FieldWalk&) {
        CopyFixedText(member, field.strText.c_str());
        return true;
    };
}

FieldStep LogText(const char* label, const char* text) {
    return Expect::Note(
        [label, text](const FieldWalk& walk) { Log::WriteLogP(walk.Tag(), "%s%s", label, text); });
}

FieldStep LogLiteral(const char* text) {
    return Expect::Note([text](const FieldWalk& walk) { Log::WriteLog(walk.Tag(), text); });
}

/// What every kind of item begins with. The kind is told as soon as there is a description.
struct ItemHead {
    SetupItemType& item;
    OBJTYPE kind;
    OBJTYPE& type;
    std::int32_t hasMore = 0;

    std::vector<FieldStep> Steps(FieldStep logDescription, FieldStep logAdditional) {
        const auto description = [this](const ProtocollFieldInfo& field, const FieldWalk&) {
            CopyFixedText(item.strDescription, field.strText.c_str());
            type = kind;
            return true;
        };
        return {
            Expect::Text(description),
            std::move(logDescription),
            Expect::Flag(hasMore),
            Expect::Repeat(hasMore, {Expect::Text(CopyTo(item.strAdditionalDescription))}),
            std::move(logAdditional),
        };
    }
};

FieldStep LogDescription(const SetupItemType& item) {
    return LogText("Description : ", item.strDescription);
}

FieldStep LogAdditional(const SetupItemType& item) {
    return LogText("Additional Description : ", item.strAdditionalDescription);
}

/// The walk of an item's own fields. Where it ended goes back to the caller of the decoder.
class ItemWalk : public FieldWalk {
 public:
    ItemWalk(const ProtocollFieldList& fields, const char* tag, int& index, std::uint64_t& sum)
        : FieldWalk(fields, tag, index, sum), iCallersIndex(index), uiCallersSum(sum) {
        Log::WriteLog(tag, "Begin");
    }
    ItemWalk(const ItemWalk&) = delete;
    ItemWalk& operator=(const ItemWalk&) = delete;
    ~ItemWalk() {
        iCallersIndex = Index();
        uiCallersSum = Sum();
    }

 private:
    int& iCallersIndex;
    std::uint64_t& uiCallersSum;
};

OBJTYPE& KindOrIgnored(OBJTYPE* type, OBJTYPE& ignored) {
    return type != nullptr ? *type : ignored;
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

constexpr unsigned kFilledNumber = FieldStep::kInt | FieldStep::kString | FieldStep::kFilled;

FieldStep Float(const char* label, float& value, const char* wrongType) {
    return Expect::Field(kFilledNumber, wrongType,
                         [label, &value](const ProtocollFieldInfo& field, const FieldWalk& walk) {
                             value = field.fValue;
                             Log::WriteLogP(walk.Tag(), "%s%f", label, static_cast<double>(value));
                             return true;
                         });
}

FieldStep Length(const char* label, std::int32_t& value, const char* wrongType) {
    FieldStep step = Expect::Int(label, value);
    step.accepts = kFilledNumber;
    step.wrongType = wrongType;
    return step;
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

/// An item and the way to delete it as what it is.
using ItemOwner = std::unique_ptr<SetupItemType, void (*)(SetupItemType*)>;

template <class T>
using Extractor = T* (ProtocollFields::*)(int&, std::uint64_t&, std::uint64_t*, OBJTYPE*);

template <class T, Extractor<T> Extract>
ItemOwner ExtractItem(ProtocollFields& fields, FieldWalk& frame, std::uint64_t* dataErrors, OBJTYPE* type) {
    int index = frame.Index();
    std::uint64_t sum = frame.Sum();
    ItemOwner item((fields.*Extract)(index, sum, dataErrors, type),
                   [](SetupItemType* whole) { delete static_cast<T*>(whole); });
    frame.GoOn(index, sum);
    return item;
}

struct ItemRow {
    PROT_TYPE itemType;
    const char* logged;
    ItemOwner (*extract)(ProtocollFields&, FieldWalk&, std::uint64_t*, OBJTYPE*);
};

constexpr ItemRow kItems[] = {
    {PROT_TYPE_LIST, "Type : PROT_TYPE_LIST",
     ExtractItem<SetupItemTypeList, &ProtocollFields::ExtractIDInfo_TypeList_Prot100>},
    {PROT_TYPE_NUMERIC, "Type : PROT_TYPE_NUMERIC",
     ExtractItem<SetupItemTypeNumeric, &ProtocollFields::ExtractIDInfo_TypeNumeric_Prot100>},
    {PROT_TYPE_DATETIME, "Type : PROT_TYPE_DATETIME",
     ExtractItem<SetupItemTypeDateTime, &ProtocollFields::ExtractIDInfo_TypeDateTime_Prot100>},
    {PROT_TYPE_STRING, "Type : PROT_TYPE_STRING",
     ExtractItem<SetupItemTypeString, &ProtocollFields::ExtractIDInfo_TypeString_Prot100>},
};

}  // namespace

SetupItemType* ProtocollFields::CreateSetupItemType_Prot100(std::uint64_t* dataErrors, OBJTYPE* type) {
    OBJTYPE ignored = OBJTYPE_NONE;
    OBJTYPE& kind = KindOrIgnored(type, ignored);
    kind = OBJTYPE_NONE;
    FieldWalk walk(listFields, "CreateSetupItemType_Prot100");
    Log::WriteLog(walk.Tag(), "Begin");
    std::uint64_t id = 0;
    std::int32_t linkCount = 0;
    std::int32_t itemType = 0;
    LinkReader reader;
    const bool framed = walk.Run({
        Expect::Stx(),
        Expect::Command(),
        Expect::Unsigned("ID Number : ", id),
        Expect::Int("Link Size : ", linkCount),
        Expect::Repeat(linkCount, LinkSteps(reader)),
        Expect::Int("Type : ", itemType),
    });
    if (!framed) return nullptr;

    ItemOwner item(nullptr, [](SetupItemType*) {});
    const auto* const row =
        std::find_if(std::begin(kItems), std::end(kItems),
                     [itemType](const ItemRow& known) { return known.itemType == itemType; });
    if (row != std::end(kItems)) {
        Log::WriteLog(walk.Tag(), row->logged);
        item = row->extract(*this, walk, dataErrors, &kind);
    }
    if (item == nullptr) {
        Log::WriteLog(walk.Tag(), "Extract Type Error");
        return nullptr;
    }
    if (!reader.links.empty()) Log::WriteLogP(walk.Tag(), "Add %zu Links", reader.links.size());
    item->listLinks = std::move(reader.links);
    item->uiID = id;
    item->iType = static_cast<std::uint8_t>(itemType);
    if (!walk.Run({Expect::Sum()})) return nullptr;
    Log::WriteLog(walk.Tag(), "End");
    return item.release();
}

SetupItemTypeList* ProtocollFields::ExtractIDInfo_TypeList_Prot100(int& index, std::uint64_t& sum,
                                                                   std::uint64_t* dataErrors, OBJTYPE* type) {
    OBJTYPE ignored = OBJTYPE_NONE;
    ItemWalk walk(listFields, "ExtractIDInfo_TypeList_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeList>();
    ItemHead head{*item, OBJTYPE_ITEM_LIST, KindOrIgnored(type, ignored)};
    std::int32_t elements = 0;
    const auto element = [&item](const ProtocollFieldInfo& field, const FieldWalk& at) {
        const auto number = static_cast<std::uint32_t>(item->listItems.size());
        const std::uint32_t value = static_cast<std::uint32_t>(item->iStartValue) + number;
        Log::WriteLogP(at.Tag(), "%02u - %d", number, static_cast<std::int32_t>(value));
        item->AddItem(field.strText.c_str(), value);
        return true;
    };
    // kept: the braces are logged as they stand
    const bool complete =
        walk.Run(head.Steps(LogDescription(*item), LogLiteral("Additional Description : {0}"))) &&
        walk.Run({
            Expect::Int("StartValue : ", item->iStartValue),
            Expect::Int("DefaultValue : ", item->iDefaultValue),
            Expect::Int("CurrentValue : ", item->iCurrentValue),
            Expect::Int("Number of Elements : ", elements),
            Expect::Repeat(elements, {Expect::Text(element)}),
        });
    if (!complete) return nullptr;
    item->iValueToWrite = item->iCurrentValue;
    CheckListed(*item, "Current", item->iCurrentValue, walk.Tag(), dataErrors);
    CheckListed(*item, "Default", item->iDefaultValue, walk.Tag(), dataErrors);
    return item.release();
}

SetupItemTypeNumeric* ProtocollFields::ExtractIDInfo_TypeNumeric_Prot100(int& index, std::uint64_t& sum,
                                                                         std::uint64_t* dataErrors,
                                                                         OBJTYPE* type) {
    OBJTYPE ignored = OBJTYPE_NONE;
    ItemWalk walk(listFields, "ExtractIDInfo_TypeNumeric_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeNumeric>();
    ItemHead head{*item, OBJTYPE_ITEM_NUMERIC, KindOrIgnored(type, ignored)};
    const bool complete = walk.Run(head.Steps(LogDescription(*item), LogAdditional(*item))) &&
                          walk.Run({
                              Float("MinValue ", item->fMinimum, "Extract MinValue Error"),
                              Float("MaxValue ", item->fMaximum, "Extract MaxValue Error"),
                              Float("StepValue ", item->fStep, "Extract StepValue Error"),
                              Float("DefValue ", item->fDefault, "Extract DefValue Error"),
                              Float("CurValue ", item->fCurrent, "Extract CurValue Error"),
                          });
    if (!complete) return nullptr;
    item->fValueToWrite = item->fCurrent;
    CheckRanges(*item, walk.Tag(), dataErrors);
    return item.release();
}

SetupItemTypeDateTime* ProtocollFields::ExtractIDInfo_TypeDateTime_Prot100(int& index, std::uint64_t& sum,
                                                                           std::uint64_t* /*dataErrors*/,
                                                                           OBJTYPE* type) {
    const char* const notAValue = "Extract Current Date / Time Value Error";
    OBJTYPE ignored = OBJTYPE_NONE;
    ItemWalk walk(listFields, "ExtractIDInfo_TypeDateTime_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeDateTime>();
    ItemHead head{*item, OBJTYPE_ITEM_DATETIME, KindOrIgnored(type, ignored)};
    const auto current = [&item, notAValue](const ProtocollFieldInfo& field, const FieldWalk& at) {
        if (field.iType != FTYPE_VSTRING_VALUE ||
            !ParseDateTime(WithoutDelimiters(field.strText.c_str()), item->tCurrent))
            return at.Fail(notAValue);
        LogDateTime(at.Tag(), item->tCurrent);
        return true;
    };
    const bool complete = walk.Run(head.Steps(LogDescription(*item), LogAdditional(*item))) &&
                          walk.Run({Expect::Field(FieldStep::kAnyType | FieldStep::kFilled,
                                                  "Extract Current Date / Time Error", current)});
    if (!complete) return nullptr;
    item->tValueToWrite = item->tCurrent;
    return item.release();
}

SetupItemTypeString* ProtocollFields::ExtractIDInfo_TypeString_Prot100(int& index, std::uint64_t& sum,
                                                                       std::uint64_t* /*dataErrors*/,
                                                                       OBJTYPE* type) {
    constexpr unsigned kFilledText = FieldStep::kText | FieldStep::kFilled;
    OBJTYPE ignored = OBJTYPE_NONE;
    ItemWalk walk(listFields, "ExtractIDInfo_TypeString_Prot100", index, sum);
    auto item = std::make_unique<SetupItemTypeString>();
    ItemHead head{*item, OBJTYPE_ITEM_STRING, KindOrIgnored(type, ignored)};
    const auto mask = [&item](const ProtocollFieldInfo& field, const FieldWalk& at) {
        item->uiDataMask = static_cast<std::uint32_t>(field.iValue);
        if (item->uiDataMask == 0) return at.Fail("DataMask can't be 0");
        Log::WriteLogP(at.Tag(), "DataMask %u", static_cast<std::uint32_t>(item->uiDataMask));
        return true;
    };
    // kept: the braces are logged as they stand
    const bool complete = walk.Run(head.Steps(LogLiteral("Description : {0}"), LogAdditional(*item))) &&
                          walk.Run({
                              Length("MinLen ", item->iMinLength, "Extract MinLen Error"),
                              Length("MaxLen ", item->iMaxLength, "Extract MaxLen Error"),
                              Expect::Field(kFilledNumber, "Extract DataMask Error", mask),
                              Expect::Field(kFilledText, "Extract DefValue Error", CopyTo(item->strDefault)),
                              LogText("DefValue ", item->strDefault),
                              Expect::Field(kFilledText, "Extract CurValue Error", CopyTo(item->strCurrent)),
                              LogText("CurValue ", item->strCurrent),
                          });
    if (!complete) return nullptr;
    CopyFixedText(item->strTextToWrite, item->strCurrent);
    return item.release();
}

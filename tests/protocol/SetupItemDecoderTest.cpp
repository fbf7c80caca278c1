#include <ctime>
#include <memory>

#include "protocol/ProtocolAnswer.h"
#include "protocol/SetupItemTypeDateTime.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/SetupItemTypeNumeric.h"
#include "protocol/SetupItemTypeString.h"

namespace {

using testing::ElementsAre;

const std::string kFrame = "CreateSetupItemType_Prot100";
const std::string kList = "ExtractIDInfo_TypeList_Prot100";
const std::string kNumeric = "ExtractIDInfo_TypeNumeric_Prot100";
const std::string kDateTime = "ExtractIDInfo_TypeDateTime_Prot100";
const std::string kString = "ExtractIDInfo_TypeString_Prot100";

/// The frame of an item without links: identifier 77, the type, what the type needs, the sum. The fourth
/// piece is the description, the fifth says whether there is an additional one.
Pieces Item(const char* type, const Pieces& body) {
    Pieces pieces{"<C4>", "<77>", "<0>", type, Line("Name"), "<0>"};
    pieces.insert(pieces.end(), body.begin(), body.end());
    pieces.push_back(kSum);
    return pieces;
}

/// The good answer with another piece.
Pieces With(Pieces pieces, std::size_t piece, const std::string& instead) {
    pieces.at(piece) = instead;
    return pieces;
}

const Pieces kListItem =
    Item("<1>", {"<10>", "<11>", "<12>", "<3>", Line("slow"), Line("fast"), Line("best")});
const Pieces kNumericItem = Item("<2>", {"<1>", "<9.5>", "<0.5>", "<2>", "<3>"});
const Pieces kDateItem = Item("<3>", {"<0124-06-15 10:20:30>"});
const Pieces kStringItem = Item("<4>", {"<1>", "<20>", "<255>", Line("def"), Line("cur")});
const Pieces kLinkedItem{"<C4>", "<77>", "<1>", "<H>", "<4000000000>", "<9>", "<2>", Line("Name"),
                         "<0>",  "<1>",  "<2>", "<1>", "<1>",          "<1>", kSum};

TEST(SetupItemDecoder, ReadsTheFrame) {
    ExpectDecoded(
        kFrame, kLinkedItem, "II.III.......I", 19,
        "Begin|ID Number : 77|Link Size : 1|Link 1: View Operation :0/1|Link 1: ID Source :4000000000|"
        "Link 1: Link ID Value :9|Type : 2|Type : PROT_TYPE_NUMERIC|Add 1 Links|End",
        {{2, {"<2147483647>"}, kIntError},
         {3, {"<H,D,H>", Line(",")}, "Link Params Error"},
         {3, {kEnd}, kIntError},
         {6, {"<0>", "<5>", "<258>"}, "Extract Type Error"},
         {9, {"<>"}, "Extract Type Error"},
         {14, {"<0>"}, kChecksumError}});
    const Decoded decoded = Decode(kLinkedItem);
    EXPECT_EQ(decoded.log.back(), "[CreateSetupItem_Prot100]End");
    EXPECT_EQ(decoded.record.As<SetupItemTypeNumeric>()->uiID, 77U);
    EXPECT_EQ(decoded.record.As<SetupItemTypeNumeric>()->iType, PROT_TYPE_NUMERIC);
}

TEST(SetupItemDecoder, ReadsTheViewsOfLinks) {
    const struct {
        std::string view;
        int first;
        int second;
    } cases[] = {{"<H>", 0, 1},   {"<D>", 2, 1},  {"<V>", 1, 0},    {"<HD>", 0, 1},
                 {"<>", 1, 0},    {"<5>", 1, 0},  {"<H,D>", 0, 2},  {"<D,H>", 2, 0},
                 {"<V,V>", 1, 1}, {"<H,>", 0, 1}, {Line("D"), 2, 1}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.view);
        const Decoded decoded = Decode(With(kLinkedItem, 3, row.view));
        ASSERT_TRUE(decoded.record);
        const SetupItemLink& link = decoded.record.As<SetupItemTypeNumeric>()->listLinks.at(0);
        EXPECT_EQ(link.iViewOperation, row.first);
        EXPECT_EQ(link.iViewOperation2, row.second);
        EXPECT_EQ(link.uiIDSource, 4000000000U);
        EXPECT_EQ(link.iLinkIDValue, 9);
    }
}

TEST(SetupItemDecoder, ReadsLists) {
    ExpectDecoded(kList, kListItem, "...TIIIIITTT", 18,
                  "Begin|Description : Name|Additional Description : {0}|StartValue : 10|DefaultValue : 11|"
                  "CurrentValue : 12|Number of Elements : 3|00 - 10|01 - 11|02 - 12",
                  {{5, {"<1>"}, kTextError}, {9, {"<4>", "<2147483647>"}, kTextError}});
    const Decoded decoded = Decode(kListItem);
    const auto& item = *decoded.record.As<SetupItemTypeList>();
    EXPECT_THAT(
        (std::vector<int>{item.iStartValue, item.iDefaultValue, item.iCurrentValue, item.iValueToWrite}),
        ElementsAre(10, 11, 12, 12));
    ASSERT_EQ(item.listItems.size(), 3U);
    EXPECT_EQ(item.listItems[2].strText, "best");
    EXPECT_EQ(item.listItems[2].uiValue, 12U);
    // The values wrap without overflow.
    const Decoded last =
        Decode(Item("<1>", {"<2147483647>", "<2147483647>", "<2147483648>", "<2>", Line("a"), Line("b")}));
    EXPECT_EQ(last.record.As<SetupItemTypeList>()->listItems[1].uiValue, 2147483648U);
    EXPECT_EQ(last.dataErrors, 0U);
}

TEST(SetupItemDecoder, ReadsNumbers) {
    Pieces more = With(kNumericItem, 5, "<7>");
    more.insert(more.begin() + 6, Line("more"));
    ExpectDecoded(kNumeric, more, "...TIT", 19,
                  "Begin|Description : Name|Additional Description : more|MinValue 1.000000|"
                  "MaxValue 9.500000|StepValue 0.500000|DefValue 2.000000|CurValue 3.000000",
                  {{7, {Line("1"), kEnd}, "Extract MinValue Error"},
                   {8, {"<>", kEnd}, "Extract MaxValue Error"},
                   {9, {"<>", kEnd}, "Extract StepValue Error"},
                   {10, {DataBytes("1"), kEnd}, "Extract DefValue Error"},
                   {11, {"<>", kEnd}, "Extract CurValue Error"}});
    const Decoded decoded = Decode(more);
    const auto& item = *decoded.record.As<SetupItemTypeNumeric>();
    EXPECT_STREQ(item.strDescription, "Name");
    EXPECT_STREQ(item.strAdditionalDescription, "more");
    EXPECT_THAT((std::vector<float>{item.fMinimum, item.fMaximum, item.fStep, item.fDefault, item.fCurrent,
                                    item.fValueToWrite}),
                ElementsAre(1.0F, 9.5F, 0.5F, 2.0F, 3.0F, 3.0F));
}

TEST(SetupItemDecoder, CountsValuesOutOfRangeAndKeepsTheItem) {
    const std::string range = "DATA Error - MinValue >= MaxValue ";
    const std::string step = "DATA Error - StepValue";
    const std::string defBelow = "DATA Error - DefValue < MinValue ";
    const std::string defAbove = "DATA Error - DefValue > MaxValue ";
    const std::string curBelow = "DATA Error - CurValue < MinValue ";
    const std::string curAbove = "DATA Error - CurValue > MaxValue ";
    const std::string current9 = "DATA Error - Current Value 9 out of Range";
    const std::string default13 = "DATA Error - Default Value 13 out of Range";
    const struct {
        Pieces item;
        Lines lines;
    } cases[] = {
        {With(kListItem, 7, "<13>"), {default13}},
        {With(kListItem, 8, "<9>"), {current9}},
        {With(With(kListItem, 7, "<13>"), 8, "<9>"), {current9, default13}},
        // minimum, maximum, step, default, current
        {Item("<2>", {"<1>", "<5>", "<1>", "<1>", "<5>"}), {}},
        {Item("<2>", {"<5>", "<5>", "<1>", "<5>", "<5>"}), {range}},
        {Item("<2>", {"<5>", "<5>", "<0>", "<5>", "<5>"}), {range, step}},
        {Item("<2>", {"<-5>", "<5>", "<-0.1>", "<0>", "<0>"}), {step}},
        {Item("<2>", {"<1>", "<5>", "<1>", "<0.9>", "<1>"}), {defBelow}},
        {Item("<2>", {"<1>", "<5>", "<1>", "<5.1>", "<1>"}), {defAbove}},
        {Item("<2>", {"<1>", "<5>", "<1>", "<1>", "<0>"}), {curBelow}},
        {Item("<2>", {"<1>", "<5>", "<1>", "<1>", "<6>"}), {curAbove}},
        {Item("<2>", {"<6>", "<4>", "<1>", "<5>", "<5>"}), {range, defBelow, defAbove, curBelow, curAbove}},
        {Item("<2>", {"<nan>", "<5>", "<1>", "<1>", "<nan>"}), {range, defBelow, curBelow, curAbove}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::PrintToString(row.item));
        const Decoded decoded = Decode(row.item);
        EXPECT_TRUE(decoded.record);
        EXPECT_EQ(decoded.dataErrors, row.lines.size());
        const Lines said = Said(decoded.log, row.item[3] == "<1>" ? kList : kNumeric);
        const auto first = said.end() - static_cast<std::ptrdiff_t>(row.lines.size());
        EXPECT_EQ(Lines(first, said.end()), row.lines);
        EXPECT_THAT(Lines(said.begin(), first), testing::Not(testing::Contains(testing::HasSubstr("DATA"))));
    }
}

TEST(SetupItemDecoder, ReadsDatesAsLocalTime) {
    Lines wrong{Line("0124-06-15 10:20:30")};
    for (const char* bad : {"<0124>", "<a>", "<0124-13-15 10:20:30>", "<0124-00-15 10:20:30>",
                            "<0124-06-32 10:20:30>", "<0124-06-15 24:20:30>", "<0124-06-15 10:60:30>",
                            "<0124-06-15 10:20:3>", "<-124-06-15 10:20:30>", "<9999-06-15 10:20:30>"})
        wrong.emplace_back(bad);
    ExpectDecoded(kDateTime, kDateItem, "...TI", 20,
                  "Begin|Description : Name|Additional Description : |"
                  "Current Date / Time Value (dd/MM/yyyy HH:mm:ss):15-06-2024 10:20:30",
                  {{6, {"<>", kEnd}, "Extract Current Date / Time Error"},
                   {6, wrong, "Extract Current Date / Time Value Error"}});
    const struct {
        const char* sent;
        std::tm time;  // second, minute, hour, day, month from 0, year from 1900; what mktime finds itself
    } cases[] = {{"<0069-12-31 23:59:59>", {59, 59, 23, 31, 11, 69, 0, 0, -1, 0, nullptr}},  // -1 as UTC
                 {"<0124-06-15 10:20:30>", {30, 20, 10, 15, 5, 124, 0, 0, -1, 0, nullptr}},
                 {"<0124/01/02T03.04.05>", {5, 4, 3, 2, 0, 124, 0, 0, -1, 0, nullptr}},
                 {"<0099-12-31 23:59:59 and more>", {59, 59, 23, 31, 11, 99, 0, 0, -1, 0, nullptr}}};
    for (const auto& row : cases) {
        std::tm time = row.time;
        const Decoded decoded = Decode(With(kDateItem, 6, row.sent));
        ASSERT_TRUE(decoded.record);
        EXPECT_EQ(decoded.record.As<SetupItemTypeDateTime>()->tCurrent, std::mktime(&time)) << row.sent;
        EXPECT_EQ(decoded.record.As<SetupItemTypeDateTime>()->tValueToWrite, std::mktime(&time));
    }
}

TEST(SetupItemDecoder, ReadsTexts) {
    const std::string emptyLine("\0\0", 2);
    ExpectDecoded(kString, kStringItem, "...TI", 21,
                  "Begin|Description : {0}|Additional Description : |MinLen 1|MaxLen 20|DataMask 255|"
                  "DefValue def|CurValue cur",
                  {{6, {"<>", kEnd}, "Extract MinLen Error"},
                   {7, {Line("1"), kEnd}, "Extract MaxLen Error"},
                   {8, {"<>", kEnd}, "Extract DataMask Error"},
                   {8, {"<0>", "<4294967296>", "<x>"}, "DataMask can't be 0"},
                   {9, {"<x>", emptyLine, kEnd}, "Extract DefValue Error"},
                   {10, {"<x>", emptyLine, kEnd}, "Extract CurValue Error"}});
    const Decoded decoded = Decode(kStringItem);
    const auto& item = *decoded.record.As<SetupItemTypeString>();
    EXPECT_EQ(item.iMinLength, 1);
    EXPECT_EQ(item.iMaxLength, 20);
    EXPECT_EQ(item.uiDataMask, 255U);
    EXPECT_THAT((Lines{item.strDefault, item.strCurrent, item.strTextToWrite}),
                ElementsAre("def", "cur", "cur"));
}

TEST(SetupItemDecoder, CutsLongTextsToTheirMembers) {
    const std::string text(100000, 't');
    const std::string cut(511, 't');
    const Decoded decoded =
        Decode(With(With(With(kStringItem, 4, Line(text)), 9, Line(text)), 10, Line(text)));
    const auto& item = *decoded.record.As<SetupItemTypeString>();
    EXPECT_THAT((Lines{item.strDescription, item.strDefault, item.strCurrent, item.strTextToWrite}),
                ElementsAre(cut, cut, cut, cut));
    const Decoded list = Decode(With(kListItem, 10, Line(text)));
    EXPECT_EQ(list.record.As<SetupItemTypeList>()->listItems[0].strText, cut);
}

TEST(SetupItemDecoder, AdvancesTheCallersIndexAndSum) {
    ProtocollFields fields;
    const std::string body = Line("d") + "<0><1><2><1><1><1>";
    Split(fields, "\x02<C4>" + body + "<9>");
    int index = 2;
    std::uint64_t sum = 1000;
    const std::unique_ptr<SetupItemTypeNumeric> item(
        fields.ExtractIDInfo_TypeNumeric_Prot100(index, sum, nullptr, nullptr));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(index, 9);
    EXPECT_EQ(sum, 1000 + ByteSum(body));
    // The kind is told with the description, even when the item then fails.
    OBJTYPE type = OBJTYPE_NONE;
    index = 2;
    EXPECT_EQ(fields.ExtractIDInfo_TypeString_Prot100(index, sum, nullptr, &type), nullptr);
    EXPECT_EQ(type, OBJTYPE_ITEM_STRING);
    for (int outside : {-1, 10, 1000000})
        EXPECT_EQ(fields.ExtractIDInfo_TypeList_Prot100(outside, sum, nullptr, nullptr), nullptr);
}

TEST(SetupItemDecoder, AsksForTheFrameWhenCalledByItselfAsTheLogoDecoderDoes) {
    for (const auto& [bytes, line] :
         {std::pair("\x06", "FTYPE_STX Error"), {"\x02<4>", "FTYPE_VCMDID_VALUE Error"}}) {
        ProtocollFields fields;
        Split(fields, bytes);
        LogCapture log;
        OBJTYPE type = OBJTYPE_LOGO_ITEM;
        EXPECT_EQ(fields.CreateSetupItemType_Prot100(nullptr, &type), nullptr);
        EXPECT_EQ(fields.CreateLogoData_Prot100(nullptr, nullptr), nullptr);
        EXPECT_EQ(type, OBJTYPE_NONE);
        EXPECT_THAT(log.Take(), ElementsAre("[" + kFrame + "]Begin", "[" + kFrame + "]" + line,
                                            std::string("[CreateLogoData_Prot100]") + line));
    }
}

}  // namespace

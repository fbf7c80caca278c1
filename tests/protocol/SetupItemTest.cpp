#include <gmock/gmock.h>

#include <ctime>
#include <memory>

#include "protocol/ProtocolAnswer.h"
#include "protocol/SetupItemTypeDateTime.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/SetupItemTypeNumeric.h"
#include "protocol/SetupItemTypeString.h"

namespace {

using testing::ElementsAre;

std::string FrameSays(const std::string& text) {
    return "[CreateSetupItemType_Prot100]" + text;
}

/// A fault inside the fields of one kind is said by that kind's decoder, and the frame then says that it has
/// no item: the last but one line is compared.
void ExpectItemFaults(const std::string& tag, const Pieces& good, const std::vector<Fault>& faults) {
    ASSERT_TRUE(Decode(good).record);
    for (const Fault& fault : faults) {
        SCOPED_TRACE("piece " + std::to_string(fault.piece) + ": " + fault.instead);
        Pieces wrong = good;
        wrong.at(fault.piece) = fault.instead;
        const int variants = fault.byType ? 2 : 1;
        for (int variant = 0; variant < variants; ++variant) {
            std::string bytes = Bytes(wrong);
            bytes.pop_back();
            const Decoded decoded = Decode(bytes);
            EXPECT_FALSE(decoded.record);
            EXPECT_EQ(decoded.record.type(), OBJTYPE_NONE);
            ASSERT_GE(decoded.log.size(), 2U);
            EXPECT_EQ(decoded.log.end()[-2], "[" + tag + "]" + fault.line);
            EXPECT_EQ(decoded.log.back(), FrameSays("Extract Type Error"));
            wrong.resize(fault.piece);
        }
    }
}

/// The lines of one operation, without their tag.
std::vector<std::string> LinesOf(const std::vector<std::string>& log, const std::string& tag) {
    const std::string prefix = "[" + tag + "]";
    std::vector<std::string> lines;
    for (const std::string& line : log)
        if (line.compare(0, prefix.size(), prefix) == 0) lines.push_back(line.substr(prefix.size()));
    return lines;
}

/// The frame of an item without links: identifier 77, the type, what the type needs, the sum.
Pieces Item(const char* type, const Pieces& body) {
    Pieces pieces{"<C4>", "<77>", "<0>", type};
    pieces.insert(pieces.end(), body.begin(), body.end());
    pieces.push_back(kSum);
    return pieces;
}

/// The first piece of a body made by Item.
constexpr std::size_t kBody = 4;

const Pieces kListBody{Line("Speed"), "<0>",        "<10>",       "<11>",      "<12>",
                       "<3>",         Line("slow"), Line("fast"), Line("best")};
const Pieces kNumericBody{Line("Density"), "<0>", "<1>", "<9.5>", "<0.5>", "<2>", "<3>"};
const Pieces kDateBody{Line("Clock"), "<0>", "<0124-06-15 10:20:30>"};
const Pieces kStringBody{Line("Name"), "<0>", "<1>", "<20>", "<255>", Line("def"), Line("cur")};

TEST(SetupItemFrame, FaultsAreSaid) {
    const Pieces good{"<C4>",          "<77>", "<1>", "<H>", "<5>", "<6>", "<2>", kNumericBody[0],
                      kNumericBody[1], "<1>",  "<2>", "<1>", "<1>", "<1>", kSum};
    const std::string intError = FrameSays("FTYPE_VINT_VALUE Error");
    ExpectFaults(good, {{1, "<x>", intError},
                        {2, "<x>", intError},
                        {4, "<x>", intError},
                        {5, "<x>", intError},
                        {6, "<x>", intError},
                        {14, "<x>", intError},
                        WrongValue(1, "<4294967296>", intError),
                        WrongValue(2, "<2147483648>", intError),
                        WrongValue(2, "<2147483647>", intError),
                        WrongValue(3, "<H,D,H>", FrameSays("Link Params Error")),
                        WrongValue(3, "<H>,", FrameSays("FTYPE_VINT_VALUE Error")),
                        WrongValue(3, Line(","), FrameSays("Link Params Error")),
                        WrongValue(6, "<0>", FrameSays("Extract Type Error")),
                        WrongValue(6, "<5>", FrameSays("Extract Type Error")),
                        WrongValue(6, "<258>", FrameSays("Extract Type Error")),
                        WrongValue(14, "<0>", FrameSays("Checksum Error"))});
    // Called by itself, the decoder of the item asks for the frame too.
    for (const auto& [bytes, line] :
         {std::pair("\x06", "FTYPE_STX Error"), {"\x02<4>", "FTYPE_VCMDID_VALUE Error"}}) {
        ProtocollFields fields;
        Split(fields, bytes);
        LogCapture log;
        OBJTYPE type = OBJTYPE_LOGO_ITEM;
        EXPECT_EQ(fields.CreateSetupItemType_Prot100(nullptr, &type), nullptr);
        EXPECT_EQ(type, OBJTYPE_NONE);
        EXPECT_THAT(log.Take(), ElementsAre(FrameSays("Begin"), FrameSays(line)));
    }
}

TEST(SetupItemFrame, ReadsLinksAndTheirViews) {
    const struct {
        std::string view;
        int first;
        int second;
    } cases[] = {{"<H>", 0, 1},   {"<D>", 2, 1},  {"<V>", 1, 0},    {"<HD>", 0, 1},
                 {"<>", 1, 0},    {"<5>", 1, 0},  {"<H,D>", 0, 2},  {"<D,H>", 2, 0},
                 {"<V,V>", 1, 1}, {"<H,>", 0, 1}, {Line("D"), 2, 1}};
    Pieces pieces{"<C4>", "<77>", "<11>"};
    for (const auto& row : cases) pieces.insert(pieces.end(), {row.view, "<4000000000>", "<9>"});
    pieces.push_back("<2>");
    pieces.insert(pieces.end(), kNumericBody.begin(), kNumericBody.end());
    pieces.push_back(kSum);
    const Decoded decoded = Decode(pieces);
    const auto* const item = decoded.record.As<SetupItemTypeNumeric>();
    ASSERT_NE(item, nullptr);
    ASSERT_EQ(item->listLinks.size(), std::size(cases));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(cases[i].view);
        EXPECT_EQ(item->listLinks[i].iViewOperation, cases[i].first);
        EXPECT_EQ(item->listLinks[i].iViewOperation2, cases[i].second);
        EXPECT_EQ(item->listLinks[i].uiIDSource, 4000000000U);
        EXPECT_EQ(item->listLinks[i].iLinkIDValue, 9);
        EXPECT_EQ(item->listLinks[i].uiReserved, 0U);
    }
    const auto log = LinesOf(decoded.log, "CreateSetupItemType_Prot100");
    ASSERT_GT(log.size(), 9U);
    EXPECT_THAT(std::vector<std::string>(log.begin(), log.begin() + 6),
                ElementsAre("Begin", "ID Number : 77", "Link Size : 11", "Link 1: View Operation :0/1",
                            "Link 1: ID Source :4000000000", "Link 1: Link ID Value :9"));
    EXPECT_THAT(std::vector<std::string>(log.end() - 4, log.end()),
                ElementsAre("Type : 2", "Type : PROT_TYPE_NUMERIC", "Add 11 Links", "End"));
    EXPECT_EQ(decoded.log.back(), "[CreateSetupItem_Prot100]End");
}

TEST(ListItems, CountFromTheStartValue) {
    const Decoded decoded = Decode(Item("<1>", kListBody));
    const auto* const item = decoded.record.As<SetupItemTypeList>();
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->uiID, 77U);
    EXPECT_EQ(item->iType, PROT_TYPE_LIST);
    EXPECT_STREQ(item->strDescription, "Speed");
    EXPECT_STREQ(item->strAdditionalDescription, "");
    EXPECT_EQ(item->iStartValue, 10);
    EXPECT_EQ(item->iDefaultValue, 11);
    EXPECT_EQ(item->iCurrentValue, 12);
    EXPECT_EQ(item->iValueToWrite, 12);
    ASSERT_EQ(item->listItems.size(), 3U);
    EXPECT_EQ(item->listItems[0].strText, "slow");
    EXPECT_EQ(item->listItems[0].uiValue, 10U);
    EXPECT_EQ(item->listItems[2].strText, "best");
    EXPECT_EQ(item->listItems[2].uiValue, 12U);
    EXPECT_EQ(decoded.dataErrors, 0U);
    EXPECT_THAT(LinesOf(decoded.log, "ExtractIDInfo_TypeList_Prot100"),
                ElementsAre("Begin", "Description : Speed", "Additional Description : {0}", "StartValue : 10",
                            "DefaultValue : 11", "CurrentValue : 12", "Number of Elements : 3", "00 - 10",
                            "01 - 11", "02 - 12"));
}

TEST(ListItems, CountValuesOutsideTheListAsDataErrors) {
    const struct {
        const char* defaultValue;
        const char* currentValue;
        std::vector<std::string> lines;
    } cases[] = {
        {"<13>", "<10>", {"DATA Error - Default Value 13 out of Range"}},
        {"<10>", "<9>", {"DATA Error - Current Value 9 out of Range"}},
        {"<13>",
         "<9>",
         {"DATA Error - Current Value 9 out of Range", "DATA Error - Default Value 13 out of Range"}}};
    for (const auto& row : cases) {
        Pieces body = kListBody;
        body[3] = row.defaultValue;
        body[4] = row.currentValue;
        const Decoded decoded = Decode(Item("<1>", body));
        ASSERT_NE(decoded.record.As<SetupItemTypeList>(), nullptr);
        EXPECT_EQ(decoded.dataErrors, row.lines.size());
        const auto log = LinesOf(decoded.log, "ExtractIDInfo_TypeList_Prot100");
        EXPECT_EQ(std::vector<std::string>(log.begin() + 10, log.end()), row.lines);
    }
}

TEST(ListItems, WrapTheirValuesWithoutOverflow) {
    const Decoded decoded = Decode(Item("<1>", {Line("d"), "<0>", "<2147483647>", "<2147483647>",
                                                "<2147483648>", "<2>", Line("a"), Line("b")}));
    const auto* const item = decoded.record.As<SetupItemTypeList>();
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->listItems[1].uiValue, 2147483648U);
    EXPECT_EQ(decoded.dataErrors, 0U);
}

TEST(ListItems, FaultsAreSaid) {
    const std::string tag = "ExtractIDInfo_TypeList_Prot100";
    const std::string intError = "FTYPE_VINT_VALUE Error";
    const std::string textError = "FTYPE_STRING_VALUE Error";
    ExpectItemFaults(tag, Item("<1>", kListBody),
                     {{kBody, "<x>", textError},
                      {kBody + 1, "<x>", intError},
                      {kBody + 2, "<x>", intError},
                      {kBody + 3, "<-1>", intError},
                      {kBody + 4, "<>", intError},
                      {kBody + 5, "<x>", intError},
                      {kBody + 6, "<x>", textError},
                      {kBody + 8, "<1>", textError},
                      WrongValue(kBody + 1, "<1>", textError),
                      WrongValue(kBody + 5, "<4>", textError),
                      WrongValue(kBody + 5, "<2147483647>", textError),
                      WrongValue(kBody + 5, "<3000000000>", intError)});
}

TEST(NumericItems, HoldTheirRange) {
    Pieces body = kNumericBody;
    body[1] = "<7>";
    body.insert(body.begin() + 2, Line("more"));
    const Decoded decoded = Decode(Item("<2>", body));
    const auto* const item = decoded.record.As<SetupItemTypeNumeric>();
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->iType, PROT_TYPE_NUMERIC);
    EXPECT_STREQ(item->strAdditionalDescription, "more");
    EXPECT_FLOAT_EQ(item->fMinimum, 1.0F);
    EXPECT_FLOAT_EQ(item->fMaximum, 9.5F);
    EXPECT_FLOAT_EQ(item->fStep, 0.5F);
    EXPECT_FLOAT_EQ(item->fDefault, 2.0F);
    EXPECT_FLOAT_EQ(item->fCurrent, 3.0F);
    EXPECT_FLOAT_EQ(item->fValueToWrite, 3.0F);
    EXPECT_EQ(decoded.dataErrors, 0U);
    EXPECT_THAT(
        LinesOf(decoded.log, "ExtractIDInfo_TypeNumeric_Prot100"),
        ElementsAre("Begin", "Description : Density", "Additional Description : more", "MinValue 1.000000",
                    "MaxValue 9.500000", "StepValue 0.500000", "DefValue 2.000000", "CurValue 3.000000"));
}

TEST(NumericItems, CountValuesOutsideTheRangeAsDataErrors) {
    const std::string range = "DATA Error - MinValue >= MaxValue ";
    const std::string step = "DATA Error - StepValue";
    const std::string defBelow = "DATA Error - DefValue < MinValue ";
    const std::string defAbove = "DATA Error - DefValue > MaxValue ";
    const std::string curBelow = "DATA Error - CurValue < MinValue ";
    const std::string curAbove = "DATA Error - CurValue > MaxValue ";
    const struct {
        Pieces values;  // minimum, maximum, step, default, current
        std::vector<std::string> lines;
    } cases[] = {
        {{"<1>", "<5>", "<1>", "<1>", "<5>"}, {}},
        {{"<5>", "<5>", "<1>", "<5>", "<5>"}, {range}},
        {{"<5>", "<5>", "<0>", "<5>", "<5>"}, {range, step}},
        {{"<-5>", "<5>", "<-0.1>", "<0>", "<0>"}, {step}},
        {{"<1>", "<5>", "<1>", "<0.9>", "<1>"}, {defBelow}},
        {{"<1>", "<5>", "<1>", "<5.1>", "<1>"}, {defAbove}},
        {{"<1>", "<5>", "<1>", "<1>", "<0>"}, {curBelow}},
        {{"<1>", "<5>", "<1>", "<1>", "<6>"}, {curAbove}},
        {{"<6>", "<4>", "<1>", "<5>", "<5>"}, {range, defBelow, defAbove, curBelow, curAbove}},
        {{"<nan>", "<5>", "<1>", "<1>", "<nan>"}, {range, defBelow, curBelow, curAbove}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::PrintToString(row.values));
        Pieces body{Line("d"), "<0>"};
        body.insert(body.end(), row.values.begin(), row.values.end());
        const Decoded decoded = Decode(Item("<2>", body));
        ASSERT_NE(decoded.record.As<SetupItemTypeNumeric>(), nullptr);
        EXPECT_EQ(decoded.dataErrors, row.lines.size());
        const auto log = LinesOf(decoded.log, "ExtractIDInfo_TypeNumeric_Prot100");
        EXPECT_EQ(std::vector<std::string>(log.begin() + 8, log.end()), row.lines);
    }
}

TEST(NumericItems, FaultsAreSaid) {
    ExpectItemFaults("ExtractIDInfo_TypeNumeric_Prot100", Item("<2>", kNumericBody),
                     {{kBody, "<x>", "FTYPE_STRING_VALUE Error"},
                      {kBody + 1, "<x>", "FTYPE_VINT_VALUE Error"},
                      {kBody + 2, Line("1"), "Extract MinValue Error"},
                      {kBody + 3, "<>", "Extract MaxValue Error"},
                      {kBody + 4, "<>", "Extract StepValue Error"},
                      {kBody + 5, DataBytes("1"), "Extract DefValue Error"},
                      {kBody + 6, "<>", "Extract CurValue Error"}});
}

TEST(DateTimeItems, HoldLocalTime) {
    const struct {
        const char* sent;
        const char* shown;
    } cases[] = {{"<0124-06-15 10:20:30>", "15-06-2024 10:20:30"},
                 {"<0124/01/02T03.04.05>", "02-01-2024 03:04:05"},
                 {"<0099-12-31 23:59:59 and more>", "31-12-1999 23:59:59"}};
    for (const auto& row : cases) {
        Pieces body = kDateBody;
        body[2] = row.sent;
        const Decoded decoded = Decode(Item("<3>", body));
        const auto* const item = decoded.record.As<SetupItemTypeDateTime>();
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->tValueToWrite, item->tCurrent);
        std::tm local{};
        ASSERT_NE(localtime_r(&item->tCurrent, &local), nullptr);
        char shown[64];
        std::strftime(shown, sizeof shown, "%d-%m-%Y %H:%M:%S", &local);
        EXPECT_STREQ(shown, row.shown);
        EXPECT_THAT(LinesOf(decoded.log, "ExtractIDInfo_TypeDateTime_Prot100"),
                    ElementsAre("Begin", "Description : Clock", "Additional Description : ",
                                std::string("Current Date / Time Value (dd/MM/yyyy HH:mm:ss):") + row.shown));
    }
}

TEST(DateTimeItems, FaultsAreSaid) {
    const std::string notThere = "Extract Current Date / Time Error";
    const std::string notAValue = "Extract Current Date / Time Value Error";
    std::vector<Fault> faults{{kBody, "<x>", "FTYPE_STRING_VALUE Error"},
                              {kBody + 1, "<x>", "FTYPE_VINT_VALUE Error"},
                              {kBody + 2, "<>", notThere},
                              WrongValue(kBody + 2, "<0124>", notAValue),
                              WrongValue(kBody + 2, Line("0124-06-15 10:20:30"), notAValue)};
    for (const char* bad : {"<0124-13-15 10:20:30>", "<0124-00-15 10:20:30>", "<0124-06-32 10:20:30>",
                            "<0124-06-15 24:20:30>", "<0124-06-15 10:60:30>", "<0124-06-15 10:20:3>",
                            "<x124-06-15 10:20:30>", "<-124-06-15 10:20:30>", "<9999-06-15 10:20:30>", "<a>"})
        faults.push_back(WrongValue(kBody + 2, bad, notAValue));
    ExpectItemFaults("ExtractIDInfo_TypeDateTime_Prot100", Item("<3>", kDateBody), faults);
}

TEST(StringItems, HoldLengthsMaskAndTexts) {
    const Decoded decoded = Decode(Item("<4>", kStringBody));
    const auto* const item = decoded.record.As<SetupItemTypeString>();
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->iType, PROT_TYPE_STRING);
    EXPECT_EQ(item->iMinLength, 1);
    EXPECT_EQ(item->iMaxLength, 20);
    EXPECT_EQ(item->uiDataMask, 255U);
    EXPECT_STREQ(item->strDefault, "def");
    EXPECT_STREQ(item->strCurrent, "cur");
    EXPECT_STREQ(item->strTextToWrite, "cur");
    EXPECT_THAT(LinesOf(decoded.log, "ExtractIDInfo_TypeString_Prot100"),
                ElementsAre("Begin", "Description : {0}", "Additional Description : ", "MinLen 1",
                            "MaxLen 20", "DataMask 255", "DefValue def", "CurValue cur"));
}

TEST(StringItems, FaultsAreSaid) {
    const std::string emptyLine("\0\0", 2);
    ExpectItemFaults("ExtractIDInfo_TypeString_Prot100", Item("<4>", kStringBody),
                     {{kBody, "<x>", "FTYPE_STRING_VALUE Error"},
                      {kBody + 1, "<x>", "FTYPE_VINT_VALUE Error"},
                      {kBody + 2, "<>", "Extract MinLen Error"},
                      {kBody + 3, Line("1"), "Extract MaxLen Error"},
                      {kBody + 4, "<>", "Extract DataMask Error"},
                      {kBody + 5, "<x>", "Extract DefValue Error"},
                      {kBody + 6, "<x>", "Extract CurValue Error"},
                      WrongValue(kBody + 2, "<4294967296>", "Extract MinLen Error"),
                      WrongValue(kBody + 4, "<0>", "DataMask can't be 0"),
                      WrongValue(kBody + 4, "<x>", "DataMask can't be 0"),
                      WrongValue(kBody + 5, emptyLine, "Extract DefValue Error"),
                      WrongValue(kBody + 6, emptyLine, "Extract CurValue Error")});
}

TEST(SetupItems, CutLongTextsToTheirMembers) {
    const std::string text(100000, 't');
    const std::string cut(511, 't');
    Pieces body = kStringBody;
    body[0] = body[5] = body[6] = Line(text);
    const Decoded decoded = Decode(Item("<4>", body));
    const auto* const item = decoded.record.As<SetupItemTypeString>();
    ASSERT_NE(item, nullptr);
    for (const char* member :
         {item->strDescription, item->strDefault, item->strCurrent, item->strTextToWrite})
        EXPECT_EQ(member, cut);
    body = kListBody;
    body[6] = Line(text);
    EXPECT_EQ(Decode(Item("<1>", body)).record.As<SetupItemTypeList>()->listItems[0].strText, cut);
}

TEST(ExtractIDInfo, AdvancesTheCallersIndexAndSum) {
    ProtocollFields fields;
    const std::string body = "<1><2><1><1><1>";
    Split(fields, "\x02<C4>" + Line("d") + "<0>" + body + "<9>");
    int index = 2;
    std::uint64_t sum = 1000;
    OBJTYPE type = OBJTYPE_NONE;
    const std::unique_ptr<SetupItemTypeNumeric> item(
        fields.ExtractIDInfo_TypeNumeric_Prot100(index, sum, nullptr, &type));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(index, 9);
    EXPECT_EQ(type, OBJTYPE_ITEM_NUMERIC);
    std::uint64_t expected = 1000;
    for (const char c : Line("d") + "<0>" + body) expected += static_cast<unsigned char>(c);
    EXPECT_EQ(sum, expected);

    // The kind is told with the description, even when the item then fails.
    index = 2;
    EXPECT_EQ(fields.ExtractIDInfo_TypeString_Prot100(index, sum, nullptr, &type), nullptr);
    EXPECT_EQ(type, OBJTYPE_ITEM_STRING);
    for (int outside : {-1, 10, 1000000}) {
        type = OBJTYPE_NONE;
        EXPECT_EQ(fields.ExtractIDInfo_TypeList_Prot100(outside, sum, nullptr, &type), nullptr);
        EXPECT_EQ(type, OBJTYPE_NONE);
    }
}

}  // namespace

#include <gmock/gmock.h>

#include "protocol/Commands.h"
#include "protocol/ProtocolAnswer.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

std::string Raw(const ProtocollFieldInfo& field) {
    return {field.pRawData.get(), field.pRawData.get() + field.uiRawSize};
}

std::uint64_t ByteSum(const std::string& bytes) {
    std::uint64_t sum = 0;
    for (const char c : bytes) sum += static_cast<unsigned char>(c);
    return sum;
}

/// The field that follows STX and a tag.
struct OneField {
    const char* name;
    std::string sent;
    FTYPE type;
    std::string text;
    int value = 0;
    float number = 0.0F;
};

class CreateFieldsOne : public testing::TestWithParam<OneField> {};

TEST_P(CreateFieldsOne, HasItsTypeTextNumbersAndSum) {
    const OneField& expected = GetParam();
    ProtocollFields fields;
    ASSERT_EQ(Split(fields, "\x02<C4>" + expected.sent), 3);
    const ProtocollFieldInfo& field = *fields.Fields()[2];
    EXPECT_EQ(field.iType, expected.type);
    EXPECT_EQ(field.strText, expected.text);
    EXPECT_EQ(field.iValue, expected.value);
    EXPECT_FLOAT_EQ(field.fValue, expected.number);
    if (expected.type == FTYPE_EMPTY) {
        EXPECT_EQ(field.uiRawSize, 0U);
        EXPECT_EQ(field.uiSum, 0U);
    } else if (expected.type != FTYPE_VDATABYTES) {
        EXPECT_EQ(Raw(field), expected.sent);
        EXPECT_EQ(field.uiSum, ByteSum(expected.sent));
    }
}

const OneField kOneField[] = {
    {"Digits", "<12>", FTYPE_VINT_VALUE, "<12>", 12, 12.0F},
    {"DigitsWithInnerOpening", "<<007>", FTYPE_VINT_VALUE, "<<007>", 7, 7.0F},
    {"NoDigits", "<<>", FTYPE_VINT_VALUE, "<<>", 0, 0.0F},
    {"MoreThanALongHolds", "<99999999999999999999>", FTYPE_VINT_VALUE, "<99999999999999999999>", 0, 1e20F},
    {"Minus", "<-5>", FTYPE_VSTRING_VALUE, "<-5>", 0, -5.0F},
    {"Fraction", "<2.5>", FTYPE_VSTRING_VALUE, "<2.5>", 0, 2.5F},
    {"Text", "<abc>", FTYPE_VSTRING_VALUE, "<abc>"},
    {"TagInThirdPlace", "<C40>", FTYPE_VSTRING_VALUE, "<C40>"},
    {"PercentAndControls", "<a%b\x1F\x7F\xFF~ >", FTYPE_VSTRING_VALUE, "<a b   ~ >"},
    {"ZeroEndsTheText", std::string("<a\0b>", 5), FTYPE_VSTRING_VALUE, "<a"},
    {"Empty", "<>", FTYPE_EMPTY, ""},
    {"Line", Line("AB"), FTYPE_STRING_VALUE, "AB"},
    {"LineKeepsDelimitersAndControls", Line("a<1>\x03\x15%"), FTYPE_STRING_VALUE, "a<1>   "},
    {"LineThatBeginsWithZero", std::string("\0xy\0", 4), FTYPE_STRING_VALUE, ""},
};

INSTANTIATE_TEST_SUITE_P(Kinds, CreateFieldsOne, testing::ValuesIn(kOneField),
                         [](const auto& row) { return row.param.name; });

TEST(CreateFields, SplitsAWholeAnswer) {
    ProtocollFields fields;
    LogCapture log;
    EXPECT_EQ(Split(fields, "\x02<C40><12>\x03"), 4);
    EXPECT_EQ(fields.Fields()[0]->iType, FTYPE_STX);
    EXPECT_EQ(fields.Fields()[0]->uiSum, 2U);
    EXPECT_EQ(fields.Fields()[1]->iType, FTYPE_VCMDID_VALUE);
    EXPECT_EQ(fields.Fields()[1]->strText, "<C40>");
    EXPECT_EQ(fields.Fields()[3]->iType, FTYPE_ETX);
    EXPECT_THAT(log.Take("CreateFields"),
                ElementsAre("Begin", "Found Field: Value CMD: <C40>", "Found Field: Value INT: <12>",
                            "Fields Found: Begin", " -> [STX]", " -> <C40>", " -> <12>", " -> [ETX]",
                            "Fields Found: End", "End"));
}

TEST(CreateFields, LogsEveryKind) {
    ProtocollFields fields;
    LogCapture log;
    EXPECT_EQ(Split(fields, "\x02\x06\x15<><a>" + DataBytes("xyz") + Line("t")), 7);
    EXPECT_THAT(log.Take("CreateFields"),
                ElementsAre("Begin", "Found Field: Value STRING: <a>", "Found Field: Value BINARY: Size=3",
                            "Found Field: Value TEXT: t", "Fields Found: Begin", " -> [STX]", " -> [ACK]",
                            " -> [NACK]", " -> ", " -> <a>", " -> DATABYTES size 3", " -> t",
                            "Fields Found: End", "End"));
}

TEST(CreateFields, KnowsTheTagByPlaceAndForm) {
    const struct {
        const char* field;
        FTYPE type;
    } cases[] = {{"<C1>", FTYPE_VCMDID_VALUE},      {"<C12>", FTYPE_VCMDID_VALUE},
                 {"<C1xy>", FTYPE_VCMDID_VALUE},    {"<C1234>", FTYPE_VSTRING_VALUE},
                 {"<C12345>", FTYPE_VSTRING_VALUE}, {"<C>", FTYPE_VSTRING_VALUE},
                 {"<CX>", FTYPE_VSTRING_VALUE},     {"<D12>", FTYPE_VSTRING_VALUE}};
    for (const auto& row : cases) {
        ProtocollFields fields;
        Split(fields, std::string("\x02") + row.field);
        EXPECT_EQ(fields.Fields()[1]->iType, row.type) << row.field;
    }
}

TEST(CreateFields, KeepsABinaryPayloadAsItIs) {
    std::string every;
    for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
    const std::string payloads[] = {"",           "x",  "<", "</DATABYTES", "</DATABYTES<", "<DATABYTES>",
                                    "\x02\x03<>", every};
    for (const std::string& payload : payloads) {
        SCOPED_TRACE(payload);
        ProtocollFields fields;
        // Whatever stands between "<" and the marker belongs to neither.
        ASSERT_EQ(Split(fields, "\x02<C96><skipped" + DataBytes(payload) + "<1>"), 4);
        const ProtocollFieldInfo& field = *fields.Fields()[2];
        EXPECT_EQ(field.iType, FTYPE_VDATABYTES);
        EXPECT_EQ(Raw(field), payload);
        EXPECT_EQ(field.uiSum, ByteSum(DataBytes(payload)));
        EXPECT_EQ(fields.Fields()[3]->iValue, 1);
    }
}

TEST(CreateFields, LeavesOutWhatIsNoField) {
    const struct {
        const char* name;
        std::string bytes;
        int fields;
    } cases[] = {{"nothing", "", 0},
                 {"before STX only controls count", "abc<1>\x06\x15\x03", 3},
                 {"a field without end", "\x02<C4><12", 2},
                 {"a line without end", "\x02<C4>text<1>\x03", 2},
                 {"a lone zero at the end", std::string("\x02<C4>\0", 6), 2},
                 {"a block without end", "\x02<C4><DATABYTES>xyz</DATABYTES", 2},
                 {"STX again", "\x02\x02<1>", 3}};
    for (const auto& row : cases) {
        ProtocollFields fields;
        EXPECT_EQ(Split(fields, row.bytes), row.fields) << row.name;
    }
}

TEST(CreateFields, ReplacesTheFieldsOfTheLastAnswer) {
    ProtocollFields fields;
    Split(fields, "\x02<C4><1>\x03");
    EXPECT_EQ(Split(fields, "\x06"), 1);
    EXPECT_EQ(fields.CreateFields(nullptr, 5), 0);
    EXPECT_TRUE(fields.Fields().empty());
}

struct Reply {
    const char* name;
    std::string bytes;
    int result;
    int code;
    std::vector<std::string> log;
};

class CheckAnswerTo : public testing::TestWithParam<Reply> {};

TEST_P(CheckAnswerTo, GivesResultCodeAndLog) {
    constexpr int kUntouched = -77;
    ProtocollFields fields;
    Split(fields, GetParam().bytes);
    PrinterSetError error;
    error.iErrorCode = kUntouched;
    LogCapture log;
    EXPECT_EQ(fields.CheckAnswer(&error), GetParam().result);
    EXPECT_EQ(error.iErrorCode, GetParam().code == 0 ? kUntouched : GetParam().code);
    EXPECT_THAT(log.Take("CheckAnswer"), ElementsAreArray(GetParam().log));
    EXPECT_EQ(fields.CheckAnswer(), GetParam().result);
}

const std::vector<std::string> kNoNack{"Begin", "FTYPE_NACK Not Found", "End"};
const std::vector<std::string> kCodeStored{"Begin", "Error Code {0} from printer (SW Code {1})"};

const Reply kReplies[] = {
    {"NoFields", "", 1, 13, {"Begin", "FTYPE_STX Error"}},
    {"BareAck", "\x06", 1, 13, {"Begin", "FTYPE_STX Error"}},
    {"StxAlone", "\x02", 1, 13, {"Begin", "Command ID Error"}},
    {"NoTag", "\x02<12>", 1, 13, {"Begin", "Command ID Error"}},
    {"EndsBehindTag", "\x02<C5>", 0, 0, kNoNack},
    {"Ack", "\x02<C5>\x06\x03", 0, 0, kNoNack},
    {"Nack", "\x02<C5>\x15\x03", 0, 0, {"Begin", "Error Code Not OK", "End"}},
    {"EndsBehindNack", "\x02<C5>\x15", 0, 0, {"Begin", "Error Code Not OK", "End"}},
    {"NackWithNumber", "\x02<C5>\x15<23>\x03", 0, 0, {"Begin", "Error Code Not OK", "End"}},
    {"CodeBelowTheKnown", "\x02<C5>\x15<ERR5>\x03", 1, 0, {"Begin", "Error Code 5 not recognized"}},
    {"LastUnknownCode", "\x02<C5>\x15<ERR22>\x03", 1, 0, {"Begin", "Error Code 22 not recognized"}},
    {"FirstKnownCode", "\x02<C5>\x15<ERR23>\x03", 1, 23, kCodeStored},
    {"NegativeCode", "\x02<C5>\x15<ERR-3>\x03", 1, 0, {"Begin", "Error Code -3 not recognized"}},
    {"NoNumber", "\x02<C5>\x15<ERRX>\x03", 1, 101, kCodeStored},
    {"CodeBeyondALong", "\x02<C5>\x15<ERR99999999999999999999>\x03", 1, 101, kCodeStored},
    {"HundredThousandMarks", "\x02<C5>\x15<" + std::string(100000, 'E') + ">\x03", 1, 101, kCodeStored},
};

INSTANTIATE_TEST_SUITE_P(Replies, CheckAnswerTo, testing::ValuesIn(kReplies),
                         [](const auto& row) { return row.param.name; });

std::string Packet(const std::string& data, int end, int begin, const char* tag) {
    ProtocollFields fields;
    int length = -1;
    const std::unique_ptr<unsigned char[]> packet(fields.CreateStandardPacketBuffer(
        std::vector<unsigned char>(data.begin(), data.end()).data(), end, begin, tag, &length));
    EXPECT_EQ(packet == nullptr, length == 0);
    return packet == nullptr ? "null" : std::string(packet.get(), packet.get() + length);
}

TEST(CreateStandardPacketBuffer, CarriesDataForTheStatusTagsAlone) {
    EXPECT_EQ(Packet("abcdef", 4, 1, "<C138>"), "\x02<C138><DATABYTES>bcd</DATABYTES>\x03");
    EXPECT_EQ(Packet("abcdef", 6, 0, "<C139>"), "\x02<C139><DATABYTES>abcdef</DATABYTES>\x03");
    EXPECT_EQ(Packet("abcdef", 2, 4, "<C138>"), "\x02<C138><DATABYTES></DATABYTES>\x03");
    EXPECT_EQ(Packet("abcdef", 4, 1, "<C5>"), "\x02<C5>\x03");
}

TEST(CreateStandardPacketBuffer, KeepsWithin1024Bytes) {
    constexpr int kFullest = 1024 - 2 - 6 - 11 - 12;
    const std::string data(2000, 'd');
    EXPECT_EQ(Packet(data, kFullest, 0, "<C138>").size(), 1024U);
    EXPECT_EQ(Packet(data, kFullest + 1, 0, "<C138>"), "null");
    EXPECT_EQ(Packet(data, 2147483647, 0, "<C138>"), "null");
    EXPECT_EQ(Packet(data, 5, -1, "<C138>"), "null");
    EXPECT_EQ(Packet(data, 0, 0, std::string(1022, 't').c_str()).size(), 1024U);
    EXPECT_EQ(Packet(data, 0, 0, std::string(5000, 't').c_str()), "null");
    EXPECT_EQ(Packet(data, 0, 0, nullptr), "null");
}

struct ToolLines {
    std::vector<std::string> texts;
    bool made = false;
    std::vector<std::string> log;
};

ToolLines ToolAnswer(const std::string& bytes) {
    ProtocollFields fields;
    Split(fields, bytes);
    LogCapture log;
    int lines = 42;
    char** const answer = fields.CreateToolAnswer(&lines);
    EXPECT_EQ(lines, 42);
    ToolLines result;
    result.made = answer != nullptr;
    for (char** text = answer; result.made && *text != nullptr; ++text) result.texts.emplace_back(*text);
    ProtocollFields::DeleteToolAnswer(answer);
    result.log = log.Take("CreateToolAnswer");
    return result;
}

TEST(CreateToolAnswer, GivesTheLines) {
    const ToolLines answer = ToolAnswer(Bytes({"<C81>", "<SB>", "<2>", Line("one"), Line("two"), kSum}));
    EXPECT_THAT(answer.texts, ElementsAre("one", "two"));
    EXPECT_THAT(answer.log,
                ElementsAre("Begin", "Number of Answer Lines : 2", "01 - one", "02 - two", "End"));
    EXPECT_TRUE(ToolAnswer(Bytes({"<C81>", "<xSBx>", "<0>", kSum})).made);
}

TEST(CreateToolAnswer, SaysWhatIsWrong) {
    const struct {
        std::string bytes;
        std::string line;
    } cases[] = {
        {"", "FTYPE_STX Error"},
        {"\x02<81>", "FTYPE_VCMDID_VALUE Error"},
        {"\x02<C81>\x06\x03", "FTYPE_ACK OK (No other data)"},
        {"\x02<C81>\x15\x03", "FTYPE_NACK OK (No other data)"},
        {"\x02<C81><SC><0>", "Data Type <SC> Unsupported"},
        {"\x02<C81>", "Data Type  Unsupported"},
        {"\x02<C81><SB><x>", "FTYPE_VINT_VALUE Error"},
        {"\x02<C81><SB>", "FTYPE_VINT_VALUE Error"},
        {Bytes({"<C81>", "<SB>", "<2>", Line("one"), kSum}), "FTYPE_STRING_VALUE Error"},
        {Bytes({"<C81>", "<SB>", "<2147483647>", Line("one"), kSum}), "FTYPE_STRING_VALUE Error"},
        {Bytes({"<C81>", "<SB>", "<4294967295>", Line("one"), kSum}), "FTYPE_VINT_VALUE Error"},
        {Bytes({"<C81>", "<SB>", "<1>", Line("one"), "<x>"}), "FTYPE_VINT_VALUE Error"},
        {Bytes({"<C81>", "<SB>", "<1>", Line("one"), "<1>"}), "Checksum Error"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.bytes);
        const ToolLines answer = ToolAnswer(row.bytes);
        EXPECT_FALSE(answer.made);
        EXPECT_EQ(answer.log.back(), row.line);
    }
}

template <std::size_t N>
unsigned int SumOf(const std::array<unsigned char, N>& command) {
    unsigned int sum = 0;
    for (const unsigned char byte : command) sum += byte;
    return sum % 256;
}

TEST(Commands, BootCommandsAddUpToZero) {
    EXPECT_EQ(SumOf(Commands::Cmd_DeviceSelection), 0U);
    EXPECT_EQ(SumOf(Commands::Cmd_ClockModeSelection), 0U);
    EXPECT_EQ(SumOf(Commands::Cmd_BitRateSelecion), 0U);
    EXPECT_EQ(SumOf(Commands::Cmd_TerminateProgramming), 0U);
}

}  // namespace

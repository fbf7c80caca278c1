#include "protocol/Commands.h"
#include "protocol/ProtocolAnswer.h"

namespace {

using testing::ElementsAre;

std::string Raw(const ProtocollFieldInfo& field) {
    return {field.pRawData.get(), field.pRawData.get() + field.uiRawSize};
}

TEST(CreateFields, GivesAFieldItsTypeTextNumbersAndSum) {
    const struct {
        std::string sent;
        FTYPE type;
        std::string text;
        int value = 0;
        float number = 0.0F;
    } cases[] = {
        {"<12>", FTYPE_VINT_VALUE, "<12>", 12, 12.0F},
        {"<<007>", FTYPE_VINT_VALUE, "<<007>", 7, 7.0F},
        {"<<>", FTYPE_VINT_VALUE, "<<>"},
        {"<99999999999999999999>", FTYPE_VINT_VALUE, "<99999999999999999999>", 0, 1e20F},
        {"<-5>", FTYPE_VSTRING_VALUE, "<-5>", 0, -5.0F},
        {"<2.5>", FTYPE_VSTRING_VALUE, "<2.5>", 0, 2.5F},
        {"<C40>", FTYPE_VSTRING_VALUE, "<C40>"},
        {"<a%b\x1F\x7F\xFF~ >", FTYPE_VSTRING_VALUE, "<a b   ~ >"},
        {std::string("<a\0b>", 5), FTYPE_VSTRING_VALUE, "<a"},
        {Line("a<1>\x03\x15%"), FTYPE_STRING_VALUE, "a<1>   "},
        {std::string("\0xy\0", 4), FTYPE_STRING_VALUE, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.sent);
        ProtocollFields fields;
        ASSERT_EQ(Split(fields, "\x02<C4>" + row.sent), 3);
        const ProtocollFieldInfo& field = *fields.Fields()[2];
        EXPECT_EQ(field.iType, row.type);
        EXPECT_EQ(field.strText, row.text);
        EXPECT_EQ(field.iValue, row.value);
        EXPECT_FLOAT_EQ(field.fValue, row.number);
        EXPECT_EQ(Raw(field), row.sent);
        EXPECT_EQ(field.uiSum, ByteSum(row.sent));
    }
}

TEST(CreateFields, SplitsAndLogsEveryKind) {
    ProtocollFields fields;
    LogCapture log;
    EXPECT_EQ(Split(fields, "\x02<C40><12>\x06\x15<><a>" + DataBytes("xyz") + Line("t") + "\x03"), 10);
    EXPECT_EQ(
        Joined(log.Take("CreateFields")),
        "Begin|Found Field: Value CMD: <C40>|Found Field: Value INT: <12>|Found Field: Value STRING: <a>|"
        "Found Field: Value BINARY: Size=3|Found Field: Value TEXT: t|Fields Found: Begin| -> [STX]| -> "
        "<C40>|"
        " -> <12>| -> [ACK]| -> [NACK]| -> | -> <a>| -> DATABYTES size 3| -> t| -> [ETX]|Fields Found: "
        "End|End");
    std::vector<unsigned int> types;
    std::vector<std::uint64_t> sums;
    for (const auto& field : fields.Fields()) types.push_back(field->iType);
    for (const auto& field : fields.Fields()) sums.push_back(field->uiSum);
    EXPECT_THAT(types, ElementsAre(0x11, 0x1400, 0x1200, 0x13, 0x14, 0x2000, 0x1100, 0x3000, 0x1800, 0x12));
    EXPECT_THAT(sums, ElementsAre(2, ByteSum("<C40>"), ByteSum("<12>"), 6, 0x15, 0, ByteSum("<a>"),
                                  ByteSum(DataBytes("xyz")), 't', 3));
    EXPECT_EQ(fields.Fields()[5]->uiRawSize, 0U);
}

TEST(CreateFields, KnowsTheTagByPlaceAndForm) {
    ProtocollFields fields;
    for (const std::string field :
         {"<C1>", "<C12>", "<C1xy>", "<C1234>", "<C12345>", "<C>", "<CX>", "<D12>"}) {
        Split(fields, Bytes({field, field}));
        const bool isTag = field[1] == 'C' && field[2] == '1' && field.size() <= 6;
        EXPECT_EQ(fields.Fields()[1]->iType, isTag ? FTYPE_VCMDID_VALUE : FTYPE_VSTRING_VALUE) << field;
        EXPECT_EQ(fields.Fields()[2]->iType, FTYPE_VSTRING_VALUE) << field;
    }
}

TEST(CreateFields, KeepsABinaryPayloadAsItIs) {
    std::string every;
    for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
    for (const std::string& payload : Lines{"", "x", "</DATABYTES<", "<DATABYTES>", "\x02\x03<>", every}) {
        SCOPED_TRACE(payload);
        ProtocollFields fields;
        // Whatever stands between "<" and the marker belongs to neither.
        ASSERT_EQ(Split(fields, "\x02<C96><skipped" + DataBytes(payload) + "<1>"), 4);
        EXPECT_EQ(Raw(*fields.Fields()[2]), payload);
        EXPECT_EQ(fields.Fields()[2]->uiSum, ByteSum(DataBytes(payload)));
        EXPECT_EQ(fields.Fields()[3]->iValue, 1);
    }
}

TEST(CreateFields, LeavesOutWhatIsNoFieldAndForgetsTheLastAnswer) {
    const struct {
        const char* name;
        std::string bytes;
        int fields;
    } cases[] = {{"before STX only controls count", "abc<1>\x06\x15\x03", 3},
                 {"a field without end", "\x02<C4><12", 2},
                 {"a line without end", "\x02<C4>text<1>\x03", 2},
                 {"a lone zero at the end", std::string("\x02<C4>\0", 6), 2},
                 {"a block without end", "\x02<C4><DATABYTES>xyz</DATABYTES", 2},
                 {"STX again", "\x02\x02<1>", 3},
                 {"nothing", "", 0}};
    ProtocollFields fields;
    for (const auto& row : cases) EXPECT_EQ(Split(fields, row.bytes), row.fields) << row.name;
    EXPECT_EQ(fields.CreateFields(nullptr, 5), 0);
}

TEST(CheckAnswer, GivesResultCodeAndLog) {
    constexpr int kUntouched = -77;
    const std::string known = "Error Code {0} from printer (SW Code {1})";
    const struct {
        std::string bytes;
        int result;
        int code;
        std::string line;
    } cases[] = {
        {"", 1, 13, "FTYPE_STX Error"},
        {"\x06", 1, 13, "FTYPE_STX Error"},
        {"\x02", 1, 13, "Command ID Error"},
        {"\x02<12>", 1, 13, "Command ID Error"},
        {"\x02<C5>", 0, kUntouched, "FTYPE_NACK Not Found"},
        {"\x02<C5>\x06\x03", 0, kUntouched, "FTYPE_NACK Not Found"},
        {"\x02<C5>\x15", 0, kUntouched, "Error Code Not OK"},
        {"\x02<C5>\x15<23>\x03", 0, kUntouched, "Error Code Not OK"},
        {"\x02<C5>\x15<ERR5>\x03", 1, kUntouched, "Error Code 5 not recognized"},
        {"\x02<C5>\x15<ERR22>\x03", 1, kUntouched, "Error Code 22 not recognized"},
        {"\x02<C5>\x15<ERR23>\x03", 1, 23, known},
        {"\x02<C5>\x15<ERR-3>\x03", 1, kUntouched, "Error Code -3 not recognized"},
        {"\x02<C5>\x15<ERRX>\x03", 1, 101, known},
        {"\x02<C5>\x15<ERR99999999999999999999>\x03", 1, 101, known},
        {"\x02<C5>\x15<" + std::string(100000, 'E') + ">\x03", 1, 101, known},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.bytes.substr(0, 40));
        ProtocollFields fields;
        Split(fields, row.bytes);
        PrinterSetError error;
        error.iErrorCode = kUntouched;
        LogCapture log;
        EXPECT_EQ(fields.CheckAnswer(&error), row.result);
        EXPECT_EQ(error.iErrorCode, row.code);
        Lines lines{"Begin", row.line};
        if (row.result == 0) lines.emplace_back("End");
        EXPECT_EQ(log.Take("CheckAnswer"), lines);
        EXPECT_EQ(fields.CheckAnswer(), row.result);
    }
}

std::string Packet(int end, int begin, const char* tag) {
    const std::vector<unsigned char> data(2000, 'd');
    ProtocollFields fields;
    int length = -1;
    const std::unique_ptr<unsigned char[]> packet(
        fields.CreateStandardPacketBuffer(data.data(), end, begin, tag, &length));
    EXPECT_EQ(packet == nullptr, length == 0);
    return packet == nullptr ? "null" : std::string(packet.get(), packet.get() + length);
}

TEST(CreateStandardPacketBuffer, CarriesDataForTheStatusTagsWithin1024Bytes) {
    EXPECT_EQ(Packet(4, 1, "<C138>"), "\x02<C138><DATABYTES>ddd</DATABYTES>\x03");
    EXPECT_EQ(Packet(6, 0, "<C139>"), "\x02<C139><DATABYTES>dddddd</DATABYTES>\x03");
    EXPECT_EQ(Packet(2, 4, "<C138>"), "\x02<C138><DATABYTES></DATABYTES>\x03");
    EXPECT_EQ(Packet(4, 1, "<C5>"), "\x02<C5>\x03");
    constexpr int kFullest = 1024 - 2 - 6 - 11 - 12;
    EXPECT_EQ(Packet(kFullest, 0, "<C138>").size(), 1024U);
    EXPECT_EQ(Packet(kFullest + 1, 0, "<C138>"), "null");
    EXPECT_EQ(Packet(2147483647, 0, "<C138>"), "null");
    EXPECT_EQ(Packet(5, -1, "<C138>"), "null");
    EXPECT_EQ(Packet(0, 0, std::string(5000, 't').c_str()), "null");
    EXPECT_EQ(Packet(0, 0, nullptr), "null");
}

/// The lines of the tool's answer that `bytes` is, and what was said of it.
std::pair<Lines, std::string> ToolAnswer(const std::string& bytes) {
    ProtocollFields fields;
    Split(fields, bytes);
    LogCapture log;
    int lines = 42;
    char** const answer = fields.CreateToolAnswer(&lines);
    EXPECT_EQ(lines, 42);
    Lines texts;
    for (char** text = answer; answer != nullptr && *text != nullptr; ++text) texts.emplace_back(*text);
    ProtocollFields::DeleteToolAnswer(answer);
    const Lines said = log.Take("CreateToolAnswer");
    return {answer == nullptr ? Lines{"null"} : texts, answer == nullptr ? said.back() : Joined(said)};
}

TEST(CreateToolAnswer, GivesTheLinesOrSaysWhatIsWrong) {
    const struct {
        std::string bytes;
        Lines texts;
        std::string log;
    } cases[] = {
        {Bytes({"<C81>", "<xSBx>", "<2>", Line("one"), Line("two"), kSum}),
         {"one", "two"},
         "Begin|Number of Answer Lines : 2|01 - one|02 - two|End"},
        {Bytes({"<C81>", "<SB>", "<0>", kSum}), {}, "Begin|Number of Answer Lines : 0|End"},
        {"", {"null"}, "FTYPE_STX Error"},
        {"\x02<81>", {"null"}, "FTYPE_VCMDID_VALUE Error"},
        {"\x02<C81>\x06\x03", {"null"}, "FTYPE_ACK OK (No other data)"},
        {"\x02<C81>\x15\x03", {"null"}, "FTYPE_NACK OK (No other data)"},
        {"\x02<C81><SC><0>", {"null"}, "Data Type <SC> Unsupported"},
        {"\x02<C81>", {"null"}, "Data Type  Unsupported"},
        {"\x02<C81><SB><x>", {"null"}, kIntError},
        {Bytes({"<C81>", "<SB>", "<2>", Line("one"), kSum}), {"null"}, kTextError},
        {Bytes({"<C81>", "<SB>", "<2147483647>", Line("one"), kSum}), {"null"}, kTextError},
        {Bytes({"<C81>", "<SB>", "<1>", Line("one"), "<x>"}), {"null"}, kIntError},
        {Bytes({"<C81>", "<SB>", "<1>", Line("one"), "<1>"}), {"null"}, kChecksumError},
    };
    for (const auto& row : cases)
        EXPECT_EQ(ToolAnswer(row.bytes), std::pair(row.texts, row.log)) << row.bytes;
}

template <std::size_t N>
std::uint64_t SumOf(const unsigned char (&command)[N]) {
    return ByteSum({command, command + N}) % 256;
}

TEST(Commands, BootCommandsAddUpToZero) {
    EXPECT_EQ(SumOf(Commands::Cmd_DeviceSelection), 0U);
    EXPECT_EQ(SumOf(Commands::Cmd_ClockModeSelection), 0U);
    EXPECT_EQ(SumOf(Commands::Cmd_BitRateSelecion), 0U);
    EXPECT_EQ(SumOf(Commands::Cmd_TerminateProgramming), 0U);
}

}  // namespace

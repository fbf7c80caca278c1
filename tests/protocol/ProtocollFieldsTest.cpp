// An answer's bytes to its fields, and what is asked of them as a whole.

#include "protocol/Commands.h"
#include "protocol/ProtocolAnswer.h"
#include "support/Owned.h"

namespace {

std::string Raw(const ProtocollFieldInfo& field) {
    return {field.pRawData.get(), field.pRawData.get() + field.uiRawSize};
}

TEST(CreateFields, GivesAFieldItsTypeTextNumbersAndSum) {
    std::string every;
    for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
    const struct {
        std::string sent;
        FTYPE type;
        std::string text;
        int value = 0;
        float number = 0.0F;
        std::string raw = "";  // empty: as sent
    } cases[] = {
        {"<12>", FTYPE_VINT_VALUE, "<12>", 12, 12.0F},
        {"<<007>", FTYPE_VINT_VALUE, "<<007>", 7, 7.0F},
        {"<99999999999999999999>", FTYPE_VINT_VALUE, "<99999999999999999999>", 0, 1e20F},
        {"<-2.5>", FTYPE_VSTRING_VALUE, "<-2.5>", 0, -2.5F},
        {"<C40>", FTYPE_VSTRING_VALUE, "<C40>"},
        {"<a%b\x1F\x7F\xFF~ >", FTYPE_VSTRING_VALUE, "<a b   ~ >"},
        {std::string("<a\0b>", 5), FTYPE_VSTRING_VALUE, "<a"},
        {std::string("a<1>\x03\x15%\0", 8), FTYPE_STRING_VALUE, "a<1>   "},
        {std::string("\0xy\0", 4), FTYPE_STRING_VALUE, ""},
        {"<DATABYTES></DATABYTES<</DATABYTES>", FTYPE_VDATABYTES, "", 0, 0, "</DATABYTES<"},
        {"<DATABYTES>" + every + "</DATABYTES>", FTYPE_VDATABYTES, "", 0, 0, every},
        {"\x06", FTYPE_ACK, ""},
        {"\x15", FTYPE_NACK, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.sent);
        ProtocollFields fields;
        ASSERT_EQ(Split(fields, "\x02<C4>" + row.sent + "<1>"), 4);
        const ProtocollFieldInfo& field = *fields.Fields()[2];
        EXPECT_EQ(field.iType, row.type);
        EXPECT_EQ(field.strText, row.text);
        EXPECT_EQ(field.iValue, row.value);
        EXPECT_FLOAT_EQ(field.fValue, row.number);
        EXPECT_EQ(Raw(field), row.raw.empty() ? row.sent : row.raw);
        EXPECT_EQ(field.uiSum, ByteSum(row.sent));
    }
}

TEST(CreateFields, LogsEveryKindAndLeavesOutWhatIsNone) {
    const std::pair<std::string, std::string> cases[] = {
        {"\x02<C40><12>\x06\x15<><a><skipped<DATABYTES>xyz</DATABYTES>t" + std::string("\0\x03", 2),
         "Begin|Found Field: Value CMD: <C40>|Found Field: Value INT: <12>|Found Field: Value STRING: <a>|"
         "Found Field: Value BINARY: Size=3|Found Field: Value TEXT: t|Fields Found: Begin| -> [STX]| -> "
         "<C40>|"
         " -> <12>| -> [ACK]| -> [NACK]| -> | -> <a>| -> DATABYTES size 3| -> t| -> [ETX]|Fields Found: End|"
         "End"},
        {"abc<1>\x06\x15\x03", " -> [ACK]| -> [NACK]| -> [ETX]|Fields Found: End|End"},
        {"\x02<C4><12", "Begin| -> [STX]| -> <C4>|Fields Found: End|End"},
        {"\x02<C4>text<1>\x03", "Begin| -> [STX]| -> <C4>|Fields Found: End|End"},
        {"\x02<C4><DATABYTES>xyz</DATABYTES", "Begin| -> [STX]| -> <C4>|Fields Found: End|End"},
        {"", "Begin|Fields Found: Begin|Fields Found: End|End"},
    };
    ProtocollFields fields;
    LogCapture log;
    for (const auto& [bytes, lines] : cases) {
        Split(fields, bytes);
        EXPECT_THAT(Joined(log.Take("CreateFields")), testing::EndsWith(lines));
    }
    EXPECT_EQ(fields.CreateFields(nullptr, 5), 0);
    // The tag is known by its place and form.
    for (const std::string tag : {"<C1>", "<C1xy>", "<C1234>", "<C>", "<CX>", "<D12>"}) {
        Split(fields, Wire(tag));
        EXPECT_EQ(fields.Fields()[1]->iType == FTYPE_VCMDID_VALUE, tag.find("<C1") == 0 && tag.size() < 7)
            << tag;
    }
}

TEST(CheckAnswer, GivesResultCodeAndLog) {
    constexpr int kUntouched = -77;
    const std::string known = "Error Code {0} from printer (SW Code {1})";
    const struct {
        std::string bytes;
        int result;
        int code;
        std::string lines;
    } cases[] = {
        {"\x06", 1, 13, "Begin|FTYPE_STX Error"},
        {"\x02", 1, 13, "Begin|Command ID Error"},
        {"\x02<12>", 1, 13, "Begin|Command ID Error"},
        {"\x02<C5>\x06\x03", 0, kUntouched, "Begin|FTYPE_NACK Not Found|End"},
        {"\x02<C5>\x15<23>\x03", 0, kUntouched, "Begin|Error Code Not OK|End"},
        {"\x02<C5>\x15<ERR5>\x03", 1, kUntouched, "Begin|Error Code 5 not recognized"},
        {"\x02<C5>\x15<ERR22>\x03", 1, kUntouched, "Begin|Error Code 22 not recognized"},
        {"\x02<C5>\x15<ERR23>\x03", 1, 23, "Begin|" + known},
        {"\x02<C5>\x15<ERRX>\x03", 1, 101, "Begin|" + known},
        {"\x02<C5>\x15<" + std::string(100000, 'E') + ">\x03", 1, 101, "Begin|" + known},
    };
    for (const auto& row : cases) {
        ProtocollFields fields;
        Split(fields, row.bytes);
        PrinterSetError error;
        error.iErrorCode = kUntouched;
        LogCapture log;
        EXPECT_EQ(fields.CheckAnswer(&error), row.result);
        EXPECT_EQ(error.iErrorCode, row.code);
        EXPECT_EQ(Joined(log.Take("CheckAnswer")), row.lines);
        EXPECT_EQ(fields.CheckAnswer(), row.result);
    }
}

TEST(CreateStandardPacketBuffer, CarriesDataForTheStatusTagsWithin1024Bytes) {
    constexpr int kFullest = 1024 - 2 - 6 - 11 - 12;
    const std::string data(kFullest, 'd');
    const std::string block = "<DATABYTES>" + data + "</DATABYTES>\x03";
    const std::tuple<int, int, const char*, std::string> cases[] = {
        {4, 1, "<C138>", "\x02<C138><DATABYTES>ddd</DATABYTES>\x03"},
        {2, 4, "<C138>", "\x02<C138><DATABYTES></DATABYTES>\x03"},
        {4, 1, "<C5>", "\x02<C5>\x03"},
        {kFullest, 0, "<C139>", "\x02<C139>" + block},
        {kFullest + 1, 0, "<C138>", ""},
        {2147483647, 0, "<C138>", ""},
        {5, -1, "<C138>", ""},
        {0, 0, nullptr, ""}};
    for (const auto& [end, begin, tag, expected] : cases) {
        const std::vector<unsigned char> bytes(data.begin(), data.end());
        int length = -1;
        const OwnedBytes packet(
            ProtocollFields().CreateStandardPacketBuffer(bytes.data(), end, begin, tag, &length));
        EXPECT_EQ(length, static_cast<int>(expected.size()));
        EXPECT_EQ(std::string(packet.get(), packet.get() + length), expected);
    }
}

TEST(CreateToolAnswer, GivesTheLinesOrSaysWhatIsWrong) {
    const std::pair<std::string, std::string> cases[] = {
        {"<C81><xSBx><2>one~two~#", "Begin|Number of Answer Lines : 2|01 - one|02 - two|End"},
        {"<C81><SB><0>#", "Begin|Number of Answer Lines : 0|End"},
        {"<81>", "Begin|FTYPE_VCMDID_VALUE Error"},
        {"<C81>\x06~", "Begin|FTYPE_ACK OK (No other data)"},
        {"<C81>\x15~", "Begin|FTYPE_NACK OK (No other data)"},
        {"<C81><SC><0>", "Begin|Data Type <SC> Unsupported"},
        {"<C81><>", "Begin|Data Type  Unsupported"},
        {"<C81><SB><x>", "Begin|FTYPE_VINT_VALUE Error"},
        {"<C81><SB><2147483647>one~#",
         "Begin|Number of Answer Lines : 2147483647|01 - one|FTYPE_STRING_VALUE Error"},
        {"<C81><SB><1>one~<x>", "Begin|Number of Answer Lines : 1|01 - one|FTYPE_VINT_VALUE Error"},
        {"<C81><SB><1>one~!", "Begin|Number of Answer Lines : 1|01 - one|Checksum Error"},
    };
    for (const auto& [answer, lines] : cases) {
        ProtocollFields fields;
        Split(fields, Wire(answer));
        LogCapture log;
        char** const texts = fields.CreateToolAnswer(nullptr);
        EXPECT_EQ(Joined(log.Take("CreateToolAnswer")), lines);
        EXPECT_EQ(texts != nullptr, lines.find("|End") != std::string::npos);
        if (answer.find("two~") != std::string::npos) {
            EXPECT_STREQ(texts[1], "two");
            EXPECT_EQ(texts[2], nullptr);
        }
        ProtocollFields::DeleteToolAnswer(texts);
    }
}

TEST(Commands, BootCommandsAddUpToZero) {
    const auto sum = [](const auto& command) {
        return ByteSum({std::begin(command), std::end(command)}) % 256;
    };
    EXPECT_EQ(sum(Commands::Cmd_DeviceSelection) + sum(Commands::Cmd_ClockModeSelection), 0U);
    EXPECT_EQ(sum(Commands::Cmd_BitRateSelecion) + sum(Commands::Cmd_TerminateProgramming), 0U);
}

}  // namespace

// An answer's bytes to its fields, and what is asked of them as a whole.

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
    // The tag is known by its place and form.
    for (const std::string tag : {"<C1>", "<C1xy>", "<C1234>", "<C>", "<CX>", "<D12>"}) {
        Split(fields, Wire(tag));
        EXPECT_EQ(fields.Fields()[1]->iType == FTYPE_VCMDID_VALUE, tag.find("<C1") == 0 && tag.size() < 7)
            << tag;
    }
}

TEST(CheckAnswer, GivesResultCodeAndLog) {
    const std::string known = "|Error Code {0} from printer (SW Code {1})";
    const std::tuple<std::string, const char*, std::string> cases[] = {
        // what the printer sent; the result and the code, 0 where it is left alone; what is said
        {"\x06", "1 13", "|FTYPE_STX Error"},
        {"\x02", "1 13", "|Command ID Error"},
        {"\x02<12>", "1 13", "|Command ID Error"},
        {"\x02<C5>\x06\x03", "0 0", "|FTYPE_NACK Not Found|End"},
        {"\x02<C5>\x15<23>\x03", "0 0", "|Error Code Not OK|End"},
        {"\x02<C5>\x15<ERR5>\x03", "1 0", "|Error Code 5 not recognized"},
        {"\x02<C5>\x15<ERR22>\x03", "1 0", "|Error Code 22 not recognized"},
        {"\x02<C5>\x15<ERR23>\x03", "1 23", known},
        {"\x02<C5>\x15<" + std::string(100000, 'E') + ">\x03", "1 101", known},
    };
    for (const auto& [bytes, outcome, lines] : cases) {
        ProtocollFields fields;
        Split(fields, bytes);
        PrinterSetError error;
        error.iErrorCode = 0;
        LogCapture log;
        const int result = fields.CheckAnswer(&error);
        EXPECT_EQ(std::to_string(result) + " " + std::to_string(error.iErrorCode), outcome);
        EXPECT_EQ(Joined(log.Take("CheckAnswer")), "Begin" + lines);
        EXPECT_EQ(fields.CheckAnswer(), result);
    }
}

TEST(CreateStandardPacketBuffer, CarriesDataForTheStatusTagsWithin1024Bytes) {
    constexpr int kFullest = 1024 - 2 - 6 - 11 - 12;
    const std::string data(kFullest, 'd');
    const std::tuple<int, int, const char*, std::string> cases[] = {
        {4, 1, "<C138>", "\x02<C138><DATABYTES>ddd</DATABYTES>\x03"},
        {2, 4, "<C138>", "\x02<C138><DATABYTES></DATABYTES>\x03"},
        {4, 1, "<C5>", "\x02<C5>\x03"},
        {kFullest, 0, "<C139>", "\x02<C139><DATABYTES>" + data + "</DATABYTES>\x03"},
        {kFullest + 1, 0, "<C138>", ""},
        {5, -1, "<C138>", ""},
        {0, 0, nullptr, ""}};
    for (const auto& [end, begin, tag, expected] : cases) {
        int length = -1;
        const OwnedBytes packet(ProtocollFields().CreateStandardPacketBuffer(
            reinterpret_cast<const unsigned char*>(data.data()), end, begin, tag, &length));
        EXPECT_EQ(length, static_cast<int>(expected.size()));
        EXPECT_EQ(std::string(packet.get(), packet.get() + length), expected);
    }
}

}  // namespace

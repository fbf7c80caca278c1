#include "protocol/FieldWalk.h"
#include "protocol/ProtocolAnswer.h"
#include "protocol/RecordDecoders.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kTag = "CreateSetupItem_Prot100";

template <class Record>
Lines BitsOf(const Record& record) {
    Lines descriptions;
    for (const StatusBitInfo* info : record.GetOnlyBitsAvailable())
        descriptions.emplace_back(info->strDescription);
    return descriptions;
}

TEST(StatusWayPorts, TellsTheWays) {
    for (int ways = 0; ways < 16; ++ways) {
        const StatusWayPorts ports(ways);
        EXPECT_EQ(ports.AvailableStandardPort(), ways % 2 == 1);
        EXPECT_EQ(ports.AvailableUsb0Port(), ways / 2 % 2 == 1);
        EXPECT_EQ(ports.AvailableUdpPort(), ways / 4 % 2 == 1);
        EXPECT_EQ(ports.Available(), ways % 8 != 0);
    }
}

TEST(StatusBitInfo, ParsesItsTexts) {
    const std::string notFrom = "Error extracting byte value from ";
    const struct {
        const char* text;
        int byte;
        int bit;
        Lines log;
    } cases[] = {{"2|7", 2, 7, {}},
                 {"|3|1|", 3, 1, {}},
                 {"2|x", 2, 0, {notFrom + "|"}},
                 {"x|7", 0, 0, {notFrom + "x"}},
                 {"27", 0, 0, {"27"}},
                 {"1|2|3", 0, 0, {"1|2|3"}},
                 {"", 0, 0, {""}},
                 {nullptr, 0, 0, {""}}};
    for (const auto& row : cases) {
        StatusBitInfo info;
        LogCapture log;
        EXPECT_EQ(info.AddByteBit(row.text), row.log.empty());
        EXPECT_THAT((std::vector<int>{info.iByte, info.iBit}), ElementsAre(row.byte, row.bit));
        EXPECT_EQ(log.Take("AddByteBit"), row.log);
    }
    StatusBitInfo info;
    LogCapture log;
    EXPECT_TRUE(info.AddId("12x"));
    EXPECT_TRUE(info.AddSignal("2"));
    EXPECT_FALSE(info.AddId("<13>"));
    EXPECT_FALSE(info.AddSignal(""));
    EXPECT_EQ(info.iID, 12);
    EXPECT_EQ(info.iSignalFamily, 2);
    EXPECT_THAT(log.Take(), ElementsAre("[AddId]<13>", "[AddSignal]"));
}

TEST(StatusInfoGenData, HoldsTheStandardBitsAndListsThoseOfItsMask) {
    StatusInfoGenData record;
    Lines bits;
    for (const auto& info : record.bitList.All())
        bits.push_back(std::to_string(info->iByte) + "|" + std::to_string(info->iBit) + " " +
                       info->strDescription + " " + std::to_string(info->iSignalFamily));
    EXPECT_THAT(
        bits,
        ElementsAre("1|0 Paper not present 2", "1|2 Near paper end 1", "1|5 Ticket present in output 1",
                    "2|0 Thermal print head lifted 1", "2|1 Cover opened 1", "2|2 Spooling 0",
                    "2|3 Drag motor rolling 0", "2|5 LF key pressed 0", "2|6 FF key pressed 0",
                    "3|0 Head temperature Error 2", "3|1 COM Error 2", "3|3 Power supply voltage Error 2",
                    "3|4 Wait char Timeout Error 2", "3|5 Command Error 2", "3|6 Paper jam 2",
                    "4|0 Cutter Error 2", "4|2 RAM Error 2", "4|3 EEPROM Error 2"));
    EXPECT_EQ(record.iNumBytes, 4);
    EXPECT_EQ(record.statusPorts.iWays, 1);
    EXPECT_THAT(BitsOf(record), IsEmpty());
    record.uiSupportedMask = 1U | 1U << 22U;
    EXPECT_THAT(BitsOf(record), ElementsAre("Paper not present", "Paper jam"));
}

TEST(StatusInfoGenData, ReplacesTheDescriptionOfABitInPlace) {
    StatusInfoGenData record;
    EXPECT_TRUE(record.AddStatusBitInfo(new StatusBitInfo(3, 1, 9, "Line noise", "more", 1)));
    EXPECT_FALSE(record.AddStatusBitInfo(nullptr));
    ASSERT_EQ(record.bitList.All().size(), 18U);
    EXPECT_STREQ(record.bitList.All()[10]->strDescription, "Line noise");
    EXPECT_STREQ(record.bitList.All()[10]->strAdditionalDescription, "more");
    EXPECT_EQ(record.bitList.All()[10]->iID, 9);
    record.AddStatusBitInfoList(
        {new StatusBitInfo(1, 7, 0, "late", "", 0), new StatusBitInfo(9, 0, 0, "far", "", 0)});
    // The new bit takes its place in the bits' order; no byte beyond the status or the mask is listed.
    record.uiSupportedMask = 0xA0;
    EXPECT_THAT(BitsOf(record), ElementsAre("Ticket present in output", "late"));
    record.InitWithStandardBits();
    EXPECT_EQ(record.bitList.All().size(), 18U);
}

TEST(StatusInfoExtData, RefusesBytesThatTheStatusLacks) {
    StatusInfoExtData record;
    EXPECT_FALSE(record.AddStatusBitInfo(new StatusBitInfo(1, 0, 0, "none yet", "", 0)));
    record.iNumBytes = 2;
    record.AddStatusBitInfoList(
        {new StatusBitInfo(2, 7, 0, "last", "", 0), new StatusBitInfo(3, 0, 0, "beyond", "", 0),
         new StatusBitInfo(1, 0, 0, "first", "", 0), new StatusBitInfo(1, 8, 0, "no bit", "", 0),
         new StatusBitInfo(0, 1, 0, "no byte", "", 0), nullptr,
         new StatusBitInfo(1, 0, 0, "first again", "", 0)});
    EXPECT_THAT(BitsOf(record), ElementsAre("first again", "last"));
    // However many bytes are announced, listing them takes no longer.
    record.iNumBytes = 2147483647;
    EXPECT_THAT(BitsOf(record), ElementsAre("first again", "last"));
}

TEST(StatusDecoder, ReadsAnswersWithoutDescriptions) {
    // What stands between delimiters keeps them, so that no description is ever read.
    const std::string delimiters = "Add Byte/Bit Error";
    const Pieces general{"<C128>", "<6>", DataBytes("\x01\x05\xFF\x80"), "<0>", "<1|0>"};
    ExpectDecoded(kTag, general, "IDI", 15,
                  "StatusPorts : 6|Bit mask supported : 0x80ff0501|Number of bits to explain : 0|End",
                  {{2, {DataBytes("123")}, "Buffer Size error: 4 - 3"},
                   {2, {DataBytes("12345")}, "Buffer Size error: 4 - 5"},
                   {3, {"<1>"}, delimiters}});
    const Pieces extended{"<C129>", "<1>", "<8>", "<0>", "<1|0>"};
    ExpectDecoded(kTag, extended, "III", 16,
                  "StatusPorts : 1|Number of bytes of extended status : 8|Number of bits to explain : 0|End",
                  {{3, {"<2147483647>"}, delimiters}});
    const Decoded decoded = Decode(general);
    EXPECT_EQ(decoded.record.As<StatusInfoGenData>()->uiSupportedMask, 0x80FF0501U);
    EXPECT_EQ(decoded.record.As<StatusInfoGenData>()->statusPorts.iWays, 6);
    EXPECT_EQ(decoded.record.As<StatusInfoGenData>()->bitList.All().size(), 18U);
    EXPECT_EQ(Decode(extended).record.As<StatusInfoExtData>()->iNumBytes, 8);
}

/// A field as it would have to be for a description to be read: no answer on the wire makes it.
std::unique_ptr<ProtocollFieldInfo> Field(FTYPE type, const std::string& text, int value = 0) {
    auto field = std::make_unique<ProtocollFieldInfo>();
    field->iType = type;
    field->strText = text;
    field->iValue = value;
    return field;
}

/// An extended status of 2 bytes with two descriptions, the first with an additional text.
ProtocollFieldList TwoDescriptions() {
    ProtocollFieldList fields;
    for (const int number : {1, 2, 2}) fields.push_back(Field(FTYPE_VINT_VALUE, "<2>", number));
    for (const char* bit : {"1|0", "2|3"}) {
        const bool more = bit[0] == '1';
        fields.push_back(Field(FTYPE_VSTRING_VALUE, bit));
        fields.push_back(Field(FTYPE_VSTRING_VALUE, "41"));
        fields.push_back(Field(FTYPE_STRING_VALUE, "text"));
        fields.push_back(Field(FTYPE_VINT_VALUE, "<5>", more ? 5 : 0));
        if (more) fields.push_back(Field(FTYPE_STRING_VALUE, "more"));
        fields.push_back(Field(FTYPE_VSTRING_VALUE, "2"));
    }
    return fields;
}

TEST(StatusDecoder, ReadsDescriptionsWithoutDelimiters) {
    ProtocollFieldList fields = TwoDescriptions();
    FieldWalk walk(fields, kTag.c_str());
    LogCapture log;
    const auto record = DecodeStatusInfoExt(walk);
    ASSERT_NE(record, nullptr);
    const auto bits = record->GetOnlyBitsAvailable();
    ASSERT_EQ(bits.size(), 2U);
    EXPECT_EQ(bits[0]->iID, 41);
    EXPECT_EQ(bits[0]->iSignalFamily, 2);
    EXPECT_THAT((Lines{bits[0]->strDescription, bits[0]->strAdditionalDescription,
                       bits[1]->strAdditionalDescription}),
                ElementsAre("text", "more", ""));
    EXPECT_EQ(Joined(log.Take(kTag)),
              "StatusPorts : 1|Number of bytes of extended status : 2|Number of bits to explain : 2|"
              "Byte : 1|Bit : {0}|Id : 41|Description : text|Additional Description : more|Signal Family : 2|"
              "Byte : 2|Bit : {0}|Id : 41|Description : text|Additional Description : |Signal Family : 2");

    // As a general status: bits 1|0 and 2|3 are standard ones and keep their places.
    fields[1]->iType = FTYPE_VDATABYTES;
    fields[1]->uiRawSize = 4;
    fields[1]->pRawData = std::make_unique<unsigned char[]>(4);
    FieldWalk generalWalk(fields, kTag.c_str());
    const auto general = DecodeStatusInfoGen(generalWalk);
    ASSERT_NE(general, nullptr);
    EXPECT_EQ(general->bitList.All().size(), 18U);
    EXPECT_STREQ(general->bitList.All()[0]->strDescription, "text");
    EXPECT_STREQ(general->bitList.All()[6]->strDescription, "text");
    EXPECT_THAT(log.Take(kTag), testing::Contains("Bit : 3"));
}

TEST(StatusDecoder, NamesEachFaultOfADescription) {
    const struct {
        std::size_t field;
        FTYPE type;
        const char* text;
        std::string line;
    } cases[] = {
        {3, FTYPE_VINT_VALUE, "1|0", kStringError},
        {3, FTYPE_VSTRING_VALUE, "10", "Add Byte/Bit Error"},
        {4, FTYPE_VINT_VALUE, "41", kStringError},
        {4, FTYPE_VSTRING_VALUE, "x", "Add Bit ID Error"},
        {5, FTYPE_VSTRING_VALUE, "text", kTextError},
        {6, FTYPE_VSTRING_VALUE, "5", kIntError},
        {7, FTYPE_VSTRING_VALUE, "more", kTextError},
        {8, FTYPE_VINT_VALUE, "2", kStringError},
        {8, FTYPE_VSTRING_VALUE, "x", "Add Signal Family Error"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::to_string(row.field) + " " + row.text);
        ProtocollFieldList fields = TwoDescriptions();
        fields[row.field]->iType = row.type;
        fields[row.field]->strText = row.text;
        FieldWalk walk(fields, kTag.c_str());
        LogCapture log;
        EXPECT_EQ(DecodeStatusInfoExt(walk), nullptr);
        EXPECT_EQ(log.Take(kTag).back(), row.line);
    }
}

}  // namespace

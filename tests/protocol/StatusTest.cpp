#include <gmock/gmock.h>

#include "protocol/FieldWalk.h"
#include "protocol/ProtocolAnswer.h"
#include "protocol/RecordDecoders.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kTag = "CreateSetupItem_Prot100";

std::string Says(const std::string& text) {
    return "[CreateSetupItem_Prot100]" + text;
}

const std::string kIntError = Says("FTYPE_VINT_VALUE Error");
const std::string kDataError = Says("FTYPE_VDATABYTES Error");

template <class Record>
std::vector<std::string> BitsOf(const Record& record) {
    std::vector<std::string> descriptions;
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

TEST(StatusBitInfo, ParsesByteAndBit) {
    const struct {
        const char* text;
        bool good;
        int byte;
        int bit;
        std::vector<std::string> log;
    } cases[] = {{"2|7", true, 2, 7, {}},
                 {"|3|1|", true, 3, 1, {}},
                 {"2|x", false, 2, 0, {"Error extracting byte value from |"}},
                 {"x|7", false, 0, 0, {"Error extracting byte value from x"}},
                 {"27", false, 0, 0, {"27"}},
                 {"1|2|3", false, 0, 0, {"1|2|3"}},
                 {"", false, 0, 0, {""}},
                 {nullptr, false, 0, 0, {""}},
                 {"<1|0>", false, 0, 0, {"Error extracting byte value from <"}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text != nullptr ? row.text : "null");
        StatusBitInfo info;
        LogCapture log;
        EXPECT_EQ(info.AddByteBit(row.text), row.good);
        EXPECT_EQ(info.iByte, row.byte);
        EXPECT_EQ(info.iBit, row.bit);
        EXPECT_EQ(log.Take("AddByteBit"), row.log);
    }
}

TEST(StatusBitInfo, ParsesIdAndSignal) {
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

TEST(StatusInfoGen, ListsTheStandardBitsByItsMask) {
    StatusInfoGenData record;
    EXPECT_EQ(record.bitList.All().size(), 18U);
    EXPECT_EQ(record.iNumBytes, 4);
    EXPECT_TRUE(record.statusPorts.AvailableStandardPort());
    EXPECT_THAT(BitsOf(record), IsEmpty());
    record.uiSupportedMask = 1;
    EXPECT_THAT(BitsOf(record), ElementsAre("Paper not present"));
    record.uiSupportedMask = 0xFFFFFFFF;
    EXPECT_THAT(BitsOf(record),
                ElementsAre("Paper not present", "Near paper end", "Ticket present in output",
                            "Thermal print head lifted", "Cover opened", "Spooling", "Drag motor rolling",
                            "LF key pressed", "FF key pressed", "Head temperature Error", "COM Error",
                            "Power supply voltage Error", "Wait char Timeout Error", "Command Error",
                            "Paper jam", "Cutter Error", "RAM Error", "EEPROM Error"));
    // Byte 3, bit 6 is position 22, and its family is the most serious.
    record.uiSupportedMask = 1U << 22U;
    ASSERT_THAT(BitsOf(record), ElementsAre("Paper jam"));
    EXPECT_EQ(record.GetOnlyBitsAvailable().front()->iSignalFamily, 2);
}

TEST(StatusInfoGen, ReplacesTheDescriptionOfABitInPlace) {
    StatusInfoGenData record;
    EXPECT_TRUE(record.AddStatusBitInfo(new StatusBitInfo(3, 1, 9, "Line noise", "more", 1)));
    EXPECT_FALSE(record.AddStatusBitInfo(nullptr));
    ASSERT_EQ(record.bitList.All().size(), 18U);
    EXPECT_STREQ(record.bitList.All()[10]->strDescription, "Line noise");
    EXPECT_STREQ(record.bitList.All()[10]->strAdditionalDescription, "more");
    EXPECT_EQ(record.bitList.All()[10]->iID, 9);
    record.AddStatusBitInfoList(
        {new StatusBitInfo(1, 7, 0, "late", "", 0), new StatusBitInfo(9, 0, 0, "far", "", 0)});
    EXPECT_EQ(record.bitList.All().size(), 20U);
    // The new bit takes its place in the bits' order; the byte beyond the status is not listed.
    record.uiSupportedMask = 0xA0;
    EXPECT_THAT(BitsOf(record), ElementsAre("Ticket present in output", "late"));
    record.iNumBytes = 2147483647;
    EXPECT_THAT(BitsOf(record), ElementsAre("Ticket present in output", "late"));
    record.InitWithStandardBits();
    EXPECT_EQ(record.bitList.All().size(), 18U);
}

TEST(StatusInfoExt, RefusesBytesThatTheStatusLacks) {
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

TEST(StatusInfoGen, IsDecodedWithoutDescriptions) {
    const Pieces good{"<C128>", "<6>", DataBytes("\x01\x05\xFF\x80"), "<0>"};
    const Decoded decoded = Decode(good);
    const auto* const record = decoded.record.As<StatusInfoGenData>();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->uiSupportedMask, 0x80FF0501U);
    EXPECT_EQ(record->statusPorts.iWays, 6);
    EXPECT_EQ(record->bitList.All().size(), 18U);
    EXPECT_EQ(decoded.log, LogOf(kTag, {"StatusPorts : 6", "Bit mask supported : 0x80ff0501",
                                        "Number of bits to explain : 0", "End"}));
    ExpectFaults(good, {{1, "<x>", kIntError},
                        {2, "<1>", kDataError},
                        {3, "<x>", kIntError},
                        WrongValue(2, DataBytes("123"), Says("Buffer Size error: 4 - 3")),
                        WrongValue(2, DataBytes("12345"), Says("Buffer Size error: 4 - 5")),
                        WrongValue(3, "<4294967295>", kIntError),
                        WrongValue(3, "<1>", Says("FTYPE_VSTRING_VALUE Error"))});
}

TEST(StatusInfoExt, IsDecodedWithoutDescriptions) {
    const Pieces good{"<C129>", "<1>", "<8>", "<0>"};
    const Decoded decoded = Decode(good);
    const auto* const record = decoded.record.As<StatusInfoExtData>();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->iNumBytes, 8);
    EXPECT_THAT(record->bitList.All(), IsEmpty());
    EXPECT_EQ(decoded.log, LogOf(kTag, {"StatusPorts : 1", "Number of bytes of extended status : 8",
                                        "Number of bits to explain : 0", "End"}));
    ExpectFaults(good, {{1, "<x>", kIntError},
                        {2, "<x>", kIntError},
                        {3, "<x>", kIntError},
                        WrongValue(2, "<4294967295>", kIntError),
                        WrongValue(3, "<2147483647>", Says("FTYPE_VSTRING_VALUE Error"))});
}

TEST(StatusDescriptions, FailByTheirDelimiters) {
    const Pieces description{"<1|0>", "<7>", Line("text"), "<0>", "<2>"};
    for (Pieces pieces :
         {Pieces{"<C128>", "<1>", DataBytes("1234"), "<1>"}, Pieces{"<C129>", "<1>", "<1>", "<1>"}}) {
        pieces.insert(pieces.end(), description.begin(), description.end());
        const Decoded decoded = Decode(pieces);
        EXPECT_FALSE(decoded.record);
        ASSERT_GE(decoded.log.size(), 2U);
        EXPECT_EQ(decoded.log.end()[-2], "[AddByteBit]Error extracting byte value from <");
        EXPECT_EQ(decoded.log.back(), Says("Add Byte/Bit Error"));
    }
}

/// A field as it would have to be for a description to be read: no answer on the wire makes it, since what
/// stands between delimiters keeps them.
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
    fields.push_back(Field(FTYPE_VINT_VALUE, "<1>", 1));
    fields.push_back(Field(FTYPE_VINT_VALUE, "<2>", 2));
    fields.push_back(Field(FTYPE_VINT_VALUE, "<2>", 2));
    for (const char* bit : {"1|0", "2|3"}) {
        fields.push_back(Field(FTYPE_VSTRING_VALUE, bit));
        fields.push_back(Field(FTYPE_VSTRING_VALUE, "41"));
        fields.push_back(Field(FTYPE_STRING_VALUE, "text"));
        const bool more = bit[0] == '1';
        fields.push_back(Field(FTYPE_VINT_VALUE, more ? "<5>" : "<0>", more ? 5 : 0));
        if (more) fields.push_back(Field(FTYPE_STRING_VALUE, "more"));
        fields.push_back(Field(FTYPE_VSTRING_VALUE, "2"));
    }
    return fields;
}

TEST(StatusDescriptions, AreReadFromTextsWithoutDelimiters) {
    const ProtocollFieldList fields = TwoDescriptions();
    FieldWalk walk(fields, kTag);
    LogCapture log;
    const auto record = DecodeStatusInfoExt(walk);
    ASSERT_NE(record, nullptr);
    const auto bits = record->GetOnlyBitsAvailable();
    ASSERT_EQ(bits.size(), 2U);
    const StatusBitInfo& first = *bits.front();
    EXPECT_EQ(first.iID, 41);
    EXPECT_STREQ(first.strDescription, "text");
    EXPECT_STREQ(first.strAdditionalDescription, "more");
    EXPECT_EQ(first.iSignalFamily, 2);
    EXPECT_STREQ(bits.back()->strAdditionalDescription, "");
    EXPECT_THAT(
        log.Take(kTag),
        ElementsAre("StatusPorts : 1", "Number of bytes of extended status : 2",
                    "Number of bits to explain : 2", "Byte : 1", "Bit : {0}", "Id : 41", "Description : text",
                    "Additional Description : more", "Signal Family : 2", "Byte : 2", "Bit : {0}", "Id : 41",
                    "Description : text", "Additional Description : ", "Signal Family : 2"));
}

TEST(StatusDescriptions, ReplaceStandardBitsAndLogTheBit) {
    ProtocollFieldList fields = TwoDescriptions();
    fields[1]->iType = FTYPE_VDATABYTES;
    fields[1]->uiRawSize = 4;
    fields[1]->pRawData = std::make_unique<unsigned char[]>(4);
    FieldWalk walk(fields, kTag);
    LogCapture log;
    const auto record = DecodeStatusInfoGen(walk);
    ASSERT_NE(record, nullptr);
    // Byte 2, bit 3 was "Drag motor rolling", byte 1, bit 0 "Paper not present".
    EXPECT_EQ(record->bitList.All().size(), 18U);
    EXPECT_STREQ(record->bitList.All()[0]->strDescription, "text");
    EXPECT_STREQ(record->bitList.All()[6]->strDescription, "text");
    EXPECT_THAT(log.Take(kTag), testing::Contains("Bit : 3"));
}

TEST(StatusDescriptions, FaultsAreSaid) {
    const struct {
        std::size_t field;
        FTYPE type;
        const char* text;
        const char* line;
    } cases[] = {
        {3, FTYPE_VINT_VALUE, "1|0", "FTYPE_VSTRING_VALUE Error"},
        {3, FTYPE_VSTRING_VALUE, "10", "Add Byte/Bit Error"},
        {4, FTYPE_VINT_VALUE, "41", "FTYPE_VSTRING_VALUE Error"},
        {4, FTYPE_VSTRING_VALUE, "x", "Add Bit ID Error"},
        {5, FTYPE_VSTRING_VALUE, "text", "FTYPE_STRING_VALUE Error"},
        {6, FTYPE_VSTRING_VALUE, "5", "FTYPE_VINT_VALUE Error"},
        {7, FTYPE_VSTRING_VALUE, "more", "FTYPE_STRING_VALUE Error"},
        {8, FTYPE_VINT_VALUE, "2", "FTYPE_VSTRING_VALUE Error"},
        {8, FTYPE_VSTRING_VALUE, "x", "Add Signal Family Error"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.line);
        ProtocollFieldList fields = TwoDescriptions();
        fields[row.field]->iType = row.type;
        fields[row.field]->strText = row.text;
        FieldWalk walk(fields, kTag);
        LogCapture log;
        EXPECT_EQ(DecodeStatusInfoExt(walk), nullptr);
        EXPECT_EQ(log.Take(kTag).back(), row.line);
    }
}

}  // namespace

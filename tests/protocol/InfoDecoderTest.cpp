#include <limits>

#include "protocol/InfoItemPrnDeviceInfo.h"
#include "protocol/InfoItemPrnHeadInfo.h"
#include "protocol/InfoItemPrnLifeInfo.h"
#include "protocol/ModuleItemPrnModuleList.h"
#include "protocol/ProtocolAnswer.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/SetupItemHeader.h"
#include "protocol/SetupItemIDList.h"
#include "protocol/StatusData.h"
#include "protocol/ToolsData.h"
#include "protocol/UpgradeDataInfo.h"

namespace {

using testing::ElementsAre;

const std::string kTag = "CreateSetupItem_Prot100";

const std::string kFont("\x02\x03<\0>", 5);
const Pieces kIDs{"<C3>", "<3>", "<7>", "<4294967295>", "<5>", kSum};
const Pieces kTools{"<C80>", "<10>", "<4294967295>"};
const Pieces kFontAnswer{"<C96>", "<5>", DataBytes(kFont), kSum};
const Pieces kStatus{"<C138>", DataBytes(std::string("\0\x01\xFF<", 4))};

TEST(InfoDecoder, TakesGoodAnswersAndNamesEachFault) {
    ExpectDecoded(kTag, {"<C1>", "<1.00>"}, "S", 1,
                  "Printer Protocoll Version : 100|Printer Protocoll Version Supported|End");
    ExpectDecoded(kTag, kIDs, "IIIII", 3, "Total Number of ID : 3|01 - 7|02 - 4294967295|03 - 5|End",
                  {{1, {"<4>"}, kIntError}, {1, {"<2>"}, kChecksumError}, {5, {"<1>"}, kChecksumError}});
    ExpectDecoded(kTag, {"<C3>", "<0>", kSum}, "II", 3, "Total Number of ID : 0|End");
    ExpectDecoded(kTag, {"<C40>", "<4294967295>"}, "I", 8, "Protocoll Data Available : 4294967295|End");
    // Longer numbers keep their lowest 32 bits, those beyond 64 are 0.
    ExpectDecoded(kTag, {"<C3>", "<4294967297>", "<4294967301>", kSum}, "III", 3,
                  "Total Number of ID : 1|01 - 5|End");
    ExpectDecoded(kTag, {"<C3>", "<4294967295>", kSum}, "II", 3, "Total Number of ID : -1|End");
    ExpectDecoded(kTag, {"<C3>", "<99999999999999999999>", kSum}, "II", 3, "Total Number of ID : 0|End");
    ExpectDecoded(kTag, kTools, "II", 12, "Tools1 : 0x0000000a|Tools1 : 0xffffffff|End");
    ExpectDecoded(kTag, kFontAnswer, "IDI", 13, "Module Font Size Expected : 5|End",
                  {{2, {DataBytes("1234")}, "Buffer Size error: 5 - 4"},
                   {2, {DataBytes("123456")}, "Buffer Size error: 5 - 6"},
                   {1, {"<4294967295>"}, "Buffer Size error: -1 - 5"},
                   {3, {"<0>"}, kChecksumError}});
    ExpectDecoded(kTag, kStatus, "D", 17, "End",
                  {{1, {DataBytes("123")}, "Buffer Size error: 4 - 3"},
                   {1, {DataBytes("12345")}, "Buffer Size error: 4 - 5"}});
    ExpectDecoded(kTag, {"<C112>", "<U3>", "<>", "<1;2;3>"}, "S.S", 14, "End",
                  {{2, {Line("x"), kEnd}, "FTYPE_VSTRING_VALUE/FTYPE_EMPTY/FTYPE_VINT_VALUE Error"},
                   {1, {"<U7>", "<U33>"}, "SetUpgradeMode Error"},
                   {3, {"<12;3>", "<1;2;3;4>", "<1;x;3>"}, "SetUpgradeDeviceIDs Error"}});
}

TEST(InfoDecoder, NeedsAFramedAnswerWithAKnownTag) {
    ExpectRefused(kTag, "", "FTYPE_STX Error");
    ExpectRefused(kTag, "\x06", "FTYPE_STX Error");
    ExpectRefused(kTag, "\x02<40><12>", "FTYPE_VCMDID_VALUE Error");
    // The extended status is not decoded.
    for (const char* unknown : {"<C5>", "<C139>", "<C012>"})
        ExpectRefused(kTag, Bytes({unknown, DataBytes("abcd")}), "");
}

TEST(InfoDecoder, LooksAtNothingInAnUnknownVersion) {
    ProtocollFields fields;
    Split(fields, Bytes({"<C40>", "<12>"}));
    const ProtocollVersion version(200);
    LogCapture log;
    EXPECT_EQ(fields.CreateSetupItem(nullptr, &version, nullptr), nullptr);
    EXPECT_THAT(log.Take(),
                ElementsAre("[CreateSetupItem]Current Protocoll Version : 200", "[CreateSetupItem]End"));
    const ProtocollVersion known(100);
    EXPECT_EQ(ProtocolRecord::Decode(fields, &known).type(), OBJTYPE_DATA_AVAILABLE);
}

TEST(InfoDecoder, LooksTheVersionUpAmongTheSupported) {
    const struct {
        const char* field;
        std::uint64_t version;
        const char* log;
    } cases[] = {{"<0.00>", 0, "Version : 0|Printer Protocoll Version Supported|End"},
                 {"<1,00>", 100, "Version : 100|Printer Protocoll Version Supported|End"},
                 {"<2.00>", 0, "Version : 200|Printer Protocoll Version NOT Supported"},
                 {"<1.01>", 0, "Version : 101|Printer Protocoll Version NOT Supported"},
                 {"<a>", 0, "Version : 4900|Printer Protocoll Version NOT Supported"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.field);
        const Decoded decoded = Decode(Pieces{"<C1>", row.field});
        const std::string log = std::string("Printer Protocoll ") + row.log;
        EXPECT_EQ(Joined(Said(decoded.log, kTag)), log);
        EXPECT_EQ(decoded.record.type(), OBJTYPE_PROTOCOLL_VERSION);
        EXPECT_EQ(static_cast<bool>(decoded.record), log.find("NOT") == std::string::npos);
        EXPECT_EQ(decoded.record ? *decoded.record.As<std::uint64_t>() : 0, row.version);
    }
}

template <class Record>
Lines LinesOf(const ProtocolRecord& record) {
    return record.As<Record>() == nullptr ? Lines{} : record.As<Record>()->GetTextLines();
}

TEST(InfoDecoder, HoldsLinesInOrder) {
    const struct {
        const char* tag;
        unsigned int type;
        const char* count;
        Lines (*lines)(const ProtocolRecord&);
    } records[] = {
        {"<C2>", 2, "Number of Header Lines : ", LinesOf<SetupItemHeader>},
        {"<C32>", 5, "Number of Printer Life Info Lines : ", LinesOf<InfoItemPrnLifeInfo>},
        {"<C33>", 6, "Number of Printer Device Info Lines : ", LinesOf<InfoItemPrnDeviceInfo>},
        {"<C35>", 7, "Number of Printer Head Info Lines : ", LinesOf<InfoItemPrnHeadInfo>},
        {"<C64>", 11, "Number of Modules List : ", LinesOf<ModuleItemPrnModuleList>},
    };
    for (const auto& row : records) {
        const std::string count = row.count;
        const Pieces good{row.tag, "<2>", Line("first 50%"), Line("second")};
        EXPECT_THAT(row.lines(Decode(good).record), ElementsAre("first 50 ", "second"));
        ExpectDecoded(kTag, {row.tag, "<0>"}, "I", row.type, count + "0|End");
        ExpectDecoded(kTag, good, "ITT", row.type, count + "2|01 - first 50 |02 - second|End",
                      {{1, {"<3>", "<2147483647>"}, kTextError}, {1, {"<-1>"}, kIntError}});
    }
}

TEST(InfoDecoder, KeepsTheValues) {
    const Decoded ids = Decode(kIDs);
    EXPECT_THAT(ids.record.As<SetupItemIDList>()->GetIDs(), ElementsAre(7U, 4294967295U, 5U));
    const Decoded available = Decode(Pieces{"<C40>", "<4294967295>"});
    EXPECT_EQ(available.record.As<ProtocollDataAvailable>()->Available, 0xFFFFFFFFU);
    EXPECT_EQ(available.record.As<ProtocollDataAvailable>()->ToSave, 0U);
    const Decoded tools = Decode(kTools);
    EXPECT_EQ(tools.record.As<ToolsData>()->uiTools1, 10U);
    EXPECT_EQ(tools.record.As<ToolsData>()->uiTools2, 0xFFFFFFFFU);
    const Decoded font = Decode(kFontAnswer);
    EXPECT_EQ(std::string(font.record.As<unsigned char[]>(), font.record.As<unsigned char[]>() + 5), kFont);
    EXPECT_THAT(Decode(kStatus).record.As<StatusData>()->pData, ElementsAre(0, 1, 0xFF, '<'));
}

TEST(InfoDecoder, ReadsModeConfigurationAndIdentity) {
    const struct {
        const char* mode;
        UPGRADEMODE expectedMode;
        const char* configuration;
        const char* expectedConfiguration;
    } cases[] = {{"<u3>", UPGRADEMODE_U3, "<a;b>", "a;b"},
                 {"<U1>", UPGRADEMODE_U1, "<>", ""},
                 {"<U6>", UPGRADEMODE_U6, "<0042>", "42;"},
                 {"<U2>", UPGRADEMODE_U2, "< >", ""}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.mode);
        const Decoded decoded = Decode(Pieces{"<C112>", row.mode, row.configuration, "<12;3;0>"});
        const auto* const info = decoded.record.As<UpgradeDataInfo>();
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->iUpgradeMode, row.expectedMode);
        EXPECT_STREQ(info->strConfigurationSettings, row.expectedConfiguration);
        EXPECT_THAT((std::vector<int>{info->iFamilyID, info->iModelID, info->iCustomizationID}),
                    ElementsAre(12, 3, 0));
    }
}

TEST(UpgradeDataInfo, RefusedTextsLeaveTheIdentity) {
    UpgradeDataInfo info;
    EXPECT_TRUE(info.SetUpgradeDeviceIDs("7;;8x;-9"));
    EXPECT_FALSE(info.SetUpgradeDeviceIDs("1;2;99999999999999999999"));
    EXPECT_FALSE(info.SetUpgradeDeviceIDs(nullptr));
    EXPECT_THAT((std::vector<int>{info.iFamilyID, info.iModelID, info.iCustomizationID}),
                ElementsAre(7, 8, -9));
    EXPECT_TRUE(info.SetUpgradeConfigurationSettings(std::string(100000, 's').c_str()));
    EXPECT_EQ(std::string(info.strConfigurationSettings), std::string(511, 's'));
}

TEST(ProtocollDataAvailable, AccessorsReachOneBitOfOneSet) {
    using Data = ProtocollDataAvailable;
    using Accessor = bool (Data::*)(bool, bool);
    const std::pair<Accessor, Accessor> bits[] = {
        {&Data::SetupDataAvailable, &Data::SetupDataToSave},
        {&Data::LogoDataAvailable, &Data::LogoDataToSave},
        {&Data::UpgradeModulesAvailable, &Data::UpgradeModulesToSave},
        {&Data::FontsDataAvailable, &Data::FontsDataToSave},
        {&Data::ToolsAvailable, &Data::ToolsToSave},
        {&Data::UpgradePrinterAvailable, &Data::UpgradePrinterToSave},
        {nullptr, nullptr},
        {&Data::StatusPrinterAvailable, &Data::StatusPrinterToSave}};
    constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();
    for (std::size_t i = 0; i < std::size(bits); ++i) {
        SCOPED_TRACE(i);
        const auto& [available, toSave] = bits[i];
        const std::uint64_t bit = 1U << i;
        if (available == nullptr) continue;
        Data data;
        EXPECT_FALSE((data.*available)(true, true));
        (data.*available)(false, true);
        EXPECT_EQ(data.Available, bit);
        EXPECT_EQ(data.ToSave, 0U);
        (data.*toSave)(false, true);
        EXPECT_EQ(data.ToSave, bit);
        data.Available = data.ToSave = kAll;
        EXPECT_TRUE((data.*available)(true, false));
        (data.*available)(false, false);
        (data.*toSave)(false, false);
        EXPECT_EQ(data.Available & data.ToSave, kAll ^ bit);
    }
}

}  // namespace

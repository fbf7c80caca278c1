#include <gmock/gmock.h>

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

constexpr const char* kTag = "CreateSetupItem_Prot100";

std::string Says(const std::string& text) {
    return "[CreateSetupItem_Prot100]" + text;
}

const std::string kIntError = Says("FTYPE_VINT_VALUE Error");
const std::string kStringError = Says("FTYPE_VSTRING_VALUE Error");
const std::string kTextError = Says("FTYPE_STRING_VALUE Error");
const std::string kDataError = Says("FTYPE_VDATABYTES Error");
const std::string kChecksumError = Says("Checksum Error");

TEST(CreateSetupItem, NeedsAFramedAnswerWithAKnownTag) {
    ExpectRefused("", Says("FTYPE_STX Error"));
    ExpectRefused("\x06", Says("FTYPE_STX Error"));
    ExpectRefused("\x02", Says("FTYPE_VCMDID_VALUE Error"));
    ExpectRefused("\x02<40><12>", Says("FTYPE_VCMDID_VALUE Error"));
    // The extended status is not decoded.
    for (const char* unknown : {"<C5>", "<C139>", "<C012>"})
        ExpectRefused(Bytes({unknown, DataBytes("abcd")}),
                      "[CreateSetupItem]Current Protocoll Version : 100");
}

TEST(CreateSetupItem, LooksAtNothingInAnUnknownVersion) {
    ProtocollFields fields;
    Split(fields, Bytes({"<C40>", "<12>"}));
    const ProtocollVersion version(200);
    LogCapture log;
    const ProtocolRecord record = ProtocolRecord::Decode(fields, &version);
    EXPECT_FALSE(record);
    EXPECT_THAT(log.Take(),
                ElementsAre("[CreateSetupItem]Current Protocoll Version : 200", "[CreateSetupItem]End"));
    const ProtocollVersion known(100);
    EXPECT_EQ(ProtocolRecord::Decode(fields, &known).type(), OBJTYPE_DATA_AVAILABLE);
    EXPECT_EQ(fields.CreateSetupItem(nullptr, &version, nullptr), nullptr);
}

TEST(ProtocolRecord, IsMovedAndAskedForItsKind) {
    ProtocolRecord record = Decode(Pieces{"<C40>", "<12>"}).record;
    EXPECT_EQ(record.As<ToolsData>(), nullptr);
    ProtocolRecord other(std::move(record));
    ASSERT_NE(other.As<ProtocollDataAvailable>(), nullptr);
    EXPECT_EQ(other.As<ProtocollDataAvailable>()->Available, 12U);
    other = ProtocolRecord();
    EXPECT_EQ(other.As<ProtocollDataAvailable>(), nullptr);
}

TEST(VersionRecord, IsLookedUpAmongTheSupported) {
    const struct {
        const char* field;
        int version;
        bool supported;
    } cases[] = {{"<1.00>", 100, true}, {"<2.00>", 200, false}, {"<1.01>", 101, false},
                 {"<0.00>", 0, true},   {"<1,00>", 100, true},  {"<a>", 4900, false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.field);
        const Decoded decoded = Decode(Pieces{"<C1>", row.field});
        std::vector<std::string> log{"Printer Protocoll Version : " + std::to_string(row.version)};
        log.push_back(row.supported ? "Printer Protocoll Version Supported"
                                    : "Printer Protocoll Version NOT Supported");
        if (row.supported) log.push_back("End");
        EXPECT_EQ(decoded.log, LogOf(kTag, log));
        EXPECT_EQ(decoded.record.type(), OBJTYPE_PROTOCOLL_VERSION);
        ASSERT_EQ(decoded.record.As<std::uint64_t>() != nullptr, row.supported);
        if (!row.supported) continue;
        EXPECT_EQ(*decoded.record.As<std::uint64_t>(), static_cast<unsigned>(row.version));
    }
    ExpectFaults({"<C1>", "<1.00>"}, {{1, "<100>", kStringError}});
}

struct LinesRecord {
    const char* tag;
    const char* count;
    std::vector<std::string> (*lines)(const ProtocolRecord&);
};

template <class Record>
std::vector<std::string> LinesOf(const ProtocolRecord& record) {
    return record.As<Record>() == nullptr ? std::vector<std::string>{} : record.As<Record>()->GetTextLines();
}

TEST(LineRecords, HoldTheirLinesInOrder) {
    const LinesRecord records[] = {
        {"<C2>", "Number of Header Lines : ", LinesOf<SetupItemHeader>},
        {"<C32>", "Number of Printer Life Info Lines : ", LinesOf<InfoItemPrnLifeInfo>},
        {"<C33>", "Number of Printer Device Info Lines : ", LinesOf<InfoItemPrnDeviceInfo>},
        {"<C35>", "Number of Printer Head Info Lines : ", LinesOf<InfoItemPrnHeadInfo>},
        {"<C64>", "Number of Modules List : ", LinesOf<ModuleItemPrnModuleList>},
    };
    for (const LinesRecord& row : records) {
        SCOPED_TRACE(row.tag);
        const Pieces good{row.tag, "<2>", Line("first 50%"), Line("second")};
        const Decoded decoded = Decode(good);
        EXPECT_THAT(row.lines(decoded.record), ElementsAre("first 50 ", "second"));
        EXPECT_EQ(decoded.log,
                  LogOf(kTag, {std::string(row.count) + "2", "01 - first 50 ", "02 - second", "End"}));
        EXPECT_TRUE(Decode(Pieces{row.tag, "<0>"}).record);
        ExpectFaults(good, {{1, "<x>", kIntError},
                            {2, "<1>", kTextError},
                            {3, "<>", kTextError},
                            WrongValue(1, "<3>", kTextError),
                            WrongValue(1, "<2147483647>", kTextError),
                            WrongValue(1, "<4294967298>", kIntError),
                            WrongValue(1, "<4294967295>", kIntError),
                            WrongValue(1, "<-1>", kIntError)});
    }
}

TEST(InfoItemGenericInfo, CopiesAndCleansItsLines) {
    InfoItemGenericInfo info;
    char text[] = "abc";
    info.AddTextLine(text);
    info.AddTextLine(nullptr);
    text[0] = 'x';
    EXPECT_THAT(info.GetTextLines(), ElementsAre("abc"));
    info.Clean();
    EXPECT_TRUE(info.GetTextLines().empty());
}

TEST(SetupIDList, HoldsTheIDsAndChecksTheSum) {
    const Pieces good{"<C3>", "<3>", "<7>", "<4294967295>", "<5>", kSum};
    const Decoded decoded = Decode(good);
    ASSERT_NE(decoded.record.As<SetupItemIDList>(), nullptr);
    EXPECT_THAT(decoded.record.As<SetupItemIDList>()->GetIDs(), ElementsAre(7U, 4294967295U, 5U));
    EXPECT_EQ(decoded.log,
              LogOf(kTag, {"Total Number of ID : 3", "01 - 7", "02 - 4294967295", "03 - 5", "End"}));
    // The sum is that of the bytes sent: two equal ones in another order make no difference, one byte does.
    EXPECT_TRUE(Decode(Pieces{"<C3>", "<0>", kSum}).record);
    ExpectFaults(good, {{1, "<x>", kIntError},
                        {2, Line("7"), kIntError},
                        {4, "<>", kIntError},
                        {5, "<x>", kIntError},
                        WrongValue(3, "<4294967296>", kIntError),
                        WrongValue(1, "<4>", kIntError),
                        WrongValue(1, "<2>", kChecksumError),
                        WrongValue(5, "<1>", kChecksumError),
                        WrongValue(5, "<99999999999>", kIntError)});
}

TEST(DataAvailable, HoldsTheMaskAndNothingToSave) {
    const Decoded decoded = Decode(Pieces{"<C40>", "<4294967295>"});
    auto* const data = decoded.record.As<ProtocollDataAvailable>();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->Available, 0xFFFFFFFFU);
    EXPECT_EQ(data->ToSave, 0U);
    EXPECT_EQ(decoded.log, LogOf(kTag, {"Protocoll Data Available : 4294967295", "End"}));
    ExpectFaults({"<C40>", "<12>"}, {{1, "<x>", kIntError}, WrongValue(1, "<4294967296>", kIntError)});
}

TEST(DataAvailable, AccessorsReachOneBitOfOneSet) {
    using Accessor = bool (ProtocollDataAvailable::*)(bool, bool);
    const struct {
        std::uint64_t bit;
        Accessor available;
        Accessor toSave;
    } rows[] = {
        {0x01, &ProtocollDataAvailable::SetupDataAvailable, &ProtocollDataAvailable::SetupDataToSave},
        {0x02, &ProtocollDataAvailable::LogoDataAvailable, &ProtocollDataAvailable::LogoDataToSave},
        {0x04, &ProtocollDataAvailable::UpgradeModulesAvailable,
         &ProtocollDataAvailable::UpgradeModulesToSave},
        {0x08, &ProtocollDataAvailable::FontsDataAvailable, &ProtocollDataAvailable::FontsDataToSave},
        {0x10, &ProtocollDataAvailable::ToolsAvailable, &ProtocollDataAvailable::ToolsToSave},
        {0x20, &ProtocollDataAvailable::UpgradePrinterAvailable,
         &ProtocollDataAvailable::UpgradePrinterToSave},
        {0x80, &ProtocollDataAvailable::StatusPrinterAvailable, &ProtocollDataAvailable::StatusPrinterToSave},
    };
    constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bit);
        ProtocollDataAvailable data;
        EXPECT_FALSE((data.*row.available)(true, true));
        EXPECT_EQ(data.Available, 0U);
        (data.*row.available)(false, true);
        EXPECT_EQ(data.Available, row.bit);
        EXPECT_EQ(data.ToSave, 0U);
        EXPECT_TRUE((data.*row.available)(true, false));
        (data.*row.toSave)(false, true);
        EXPECT_EQ(data.ToSave, row.bit);
        data.Available = data.ToSave = kAll;
        (data.*row.available)(false, false);
        (data.*row.toSave)(false, false);
        EXPECT_EQ(data.Available, kAll ^ row.bit);
        EXPECT_EQ(data.ToSave, kAll ^ row.bit);
        data.Init();
        EXPECT_EQ(data.Available | data.ToSave, 0U);
    }
}

TEST(Tools, HoldBothMasksLoggedByOneName) {
    const Pieces good{"<C80>", "<10>", "<4294967295>"};
    const Decoded decoded = Decode(good);
    ASSERT_NE(decoded.record.As<ToolsData>(), nullptr);
    EXPECT_EQ(decoded.record.As<ToolsData>()->uiTools1, 10U);
    EXPECT_EQ(decoded.record.As<ToolsData>()->uiTools2, 0xFFFFFFFFU);
    EXPECT_EQ(decoded.log, LogOf(kTag, {"Tools1 : 0x0000000a", "Tools1 : 0xffffffff", "End"}));
    ExpectFaults(good, {{1, "<x>", kIntError}, {2, Line("1"), kIntError}});
}

TEST(ModuleFont, IsExactlyAsLongAsAnnounced) {
    const std::string font("\x02\x03<\0>", 5);
    const Pieces good{"<C96>", "<5>", DataBytes(font), kSum};
    const Decoded decoded = Decode(good);
    const unsigned char* const bytes = decoded.record.As<unsigned char[]>();
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes, bytes + 5), font);
    EXPECT_EQ(decoded.log, LogOf(kTag, {"Module Font Size Expected : 5", "End"}));
    EXPECT_TRUE(Decode(Pieces{"<C96>", "<0>", DataBytes(""), kSum}).record);
    ExpectFaults(good, {{1, "<x>", kIntError},
                        {2, "<1>", kDataError},
                        {3, "<x>", kIntError},
                        WrongValue(2, DataBytes("1234"), Says("Buffer Size error: 5 - 4")),
                        WrongValue(2, DataBytes("123456"), Says("Buffer Size error: 5 - 6")),
                        WrongValue(1, "<4294967295>", Says("Buffer Size error: -1 - 5")),
                        WrongValue(1, "<2147483647>", Says("Buffer Size error: 2147483647 - 5")),
                        WrongValue(3, "<0>", kChecksumError)});
}

TEST(Status, IsFourBytes) {
    const Pieces good{"<C138>", DataBytes(std::string("\0\x01\xFF<", 4))};
    const Decoded decoded = Decode(good);
    ASSERT_NE(decoded.record.As<StatusData>(), nullptr);
    EXPECT_THAT(decoded.record.As<StatusData>()->pData, ElementsAre(0, 1, 0xFF, '<'));
    EXPECT_EQ(decoded.log, LogOf(kTag, {"End"}));
    ExpectFaults(good, {{1, "<1>", kDataError},
                        WrongValue(1, DataBytes("123"), Says("Buffer Size error: 4 - 3")),
                        WrongValue(1, DataBytes("12345"), Says("Buffer Size error: 4 - 5"))});
}

TEST(UpgradeInfo, HoldsModeConfigurationAndIdentity) {
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
        EXPECT_EQ(info->iFamilyID, 12);
        EXPECT_EQ(info->iModelID, 3);
        EXPECT_EQ(info->iCustomizationID, 0);
        EXPECT_EQ(decoded.log, LogOf(kTag, {"End"}));
    }
    const std::string configuration = Says("FTYPE_VSTRING_VALUE/FTYPE_EMPTY/FTYPE_VINT_VALUE Error");
    ExpectFaults({"<C112>", "<U3>", "<>", "<1;2;3>"},
                 {{1, "<3>", kStringError},
                  {2, Line("x"), configuration},
                  {3, "<123>", kStringError},
                  WrongValue(2, "<4294967296>", configuration),
                  WrongValue(1, "<U7>", Says("SetUpgradeMode Error")),
                  WrongValue(1, "<U33>", Says("SetUpgradeMode Error")),
                  WrongValue(3, "<12;3>", Says("SetUpgradeDeviceIDs Error")),
                  WrongValue(3, "<1;2;3;4>", Says("SetUpgradeDeviceIDs Error")),
                  WrongValue(3, "<1;x;3>", Says("SetUpgradeDeviceIDs Error"))});
}

TEST(UpgradeInfo, RefusedTextsLeaveTheIdentity) {
    UpgradeDataInfo info;
    EXPECT_TRUE(info.SetUpgradeDeviceIDs("7;;8x;-9"));
    EXPECT_FALSE(info.SetUpgradeDeviceIDs("1;2;99999999999999999999"));
    EXPECT_FALSE(info.SetUpgradeDeviceIDs(nullptr));
    EXPECT_THAT((std::vector<int>{info.iFamilyID, info.iModelID, info.iCustomizationID}),
                ElementsAre(7, 8, -9));
    EXPECT_TRUE(info.SetUpgradeMode("U4"));
    EXPECT_FALSE(info.SetUpgradeMode(""));
    EXPECT_EQ(info.iUpgradeMode, UPGRADEMODE_NONE);
    EXPECT_TRUE(info.SetUpgradeConfigurationSettings(std::string(100000, 's').c_str()));
    EXPECT_EQ(std::string(info.strConfigurationSettings), std::string(511, 's'));
}

}  // namespace

#include <gmock/gmock.h>

#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/LogosType.h"
#include "protocol/ProtocolAnswer.h"

namespace {

using testing::ElementsAre;

constexpr const char* kTag = "CreateSetupItem_Prot100";

std::string Says(const std::string& text) {
    return "[CreateSetupItem_Prot100]" + text;
}

std::string LogoSays(const std::string& text) {
    return "[CreateLogoData_Prot100]" + text;
}

TEST(CalcNumMaxLogo, TakesTheLargestOrNoLimit) {
    const struct {
        std::vector<int> counts;
        int maximum;
        std::string line;
    } cases[] = {{{5, 0, 9}, LogosType::INFINITE, "NumMaxLogo = INFINITE"},
                 {{5, 9}, 9, "NumMaxLogo = 9"},
                 {{9, 5}, 9, "NumMaxLogo = 9"},
                 {{-1}, 0, "NumMaxLogo = 0"},
                 {{}, 0, "NumMaxLogo = 0"}};
    for (const auto& row : cases) {
        LogosType logos;
        logos.iNumMaxLogo = 77;
        for (const int count : row.counts) {
            logos.listLogosInfo.emplace_back();
            logos.listLogosInfo.back().iMaxCount = count;
        }
        LogCapture log;
        logos.CalcNumMaxLogo();
        EXPECT_EQ(logos.iNumMaxLogo, row.maximum);
        EXPECT_THAT(log.Take("CalcNumMaxLogo"), ElementsAre(row.line));
    }
}

const Pieces kTwoKinds{"<C48>", "<2>",                                                                //
                       "<1>",   "<5>", "<BMP>", "<Y>", "<M1>", "<6>",  "<F 640X48>", "<10>", "<11>",  //
                       "<21>",  "<9>", "<RAW>", "<N>", "<M2>", "<26>", "<640>",      "<30>", "<31>",  //
                       "<Y>"};

TEST(LogosTypes, HoldTheirKinds) {
    const Decoded decoded = Decode(kTwoKinds);
    const auto* const logos = decoded.record.As<LogosType>();
    ASSERT_NE(logos, nullptr);
    EXPECT_TRUE(logos->bPrintPreview);
    EXPECT_EQ(logos->iNumMaxLogo, 9);
    ASSERT_EQ(logos->listLogosInfo.size(), 2U);
    const LogosInfo& bmp = logos->listLogosInfo[0];
    EXPECT_THAT((std::vector<int>{bmp.iNumber1, bmp.iMaxCount, bmp.iFormat, bmp.bY, bmp.iM1, bmp.iNumber6,
                                  bmp.iWidth, bmp.iHeight, bmp.bF, bmp.iNumber10, bmp.iNumber11}),
                ElementsAre(1, 5, 0, 1, 0, 6, 640, 48, 1, 10, 11));
    const LogosInfo& raw = logos->listLogosInfo[1];
    EXPECT_THAT((std::vector<int>{raw.iNumber1, raw.iMaxCount, raw.iFormat, raw.bY, raw.iM1, raw.iNumber6,
                                  raw.iWidth, raw.iHeight, raw.bF, raw.iNumber10, raw.iNumber11}),
                ElementsAre(21, 9, 1, 0, 1, 26, 0xFFFFFF, 0xFFFFFF, 0, 30, 31));
    std::vector<std::string> log =
        LogOf(kTag, {"Total Number of Logos Info : 2", "01 - 1", "01 - 5", "<BMP>", "<Y>", "<M1>", "01 - 6",
                     "<F 640X48>", "01 - 10", "01 - 11", "02 - 21", "02 - 9", "<RAW>", "<N>", "<M2>",
                     "02 - 26", "<640>", "02 - 30", "02 - 31"});
    log.insert(log.end(), {"[CalcNumMaxLogo]NumMaxLogo = 9", Says("End")});
    EXPECT_EQ(decoded.log, log);
}

TEST(LogosTypes, TakeNoSizeFromHalfASize) {
    Pieces pieces = kTwoKinds;
    pieces[8] = "<640X>";
    pieces.back() = "<no>";
    const Decoded decoded = Decode(pieces);
    ASSERT_NE(decoded.record.As<LogosType>(), nullptr);
    EXPECT_EQ(decoded.record.As<LogosType>()->listLogosInfo[0].iWidth, 0xFFFFFF);
    EXPECT_EQ(decoded.record.As<LogosType>()->listLogosInfo[0].iHeight, 0xFFFFFF);
    EXPECT_FALSE(decoded.record.As<LogosType>()->bPrintPreview);
    EXPECT_TRUE(Decode(Pieces{"<C48>", "<0>", "<Y>"}).record);
}

TEST(LogosTypes, FaultsAreSaid) {
    const std::string intError = Says("FTYPE_VINT_VALUE Error");
    const std::string stringError = Says("FTYPE_VSTRING_VALUE Error");
    ExpectFaults(kTwoKinds, {{1, "<x>", intError},
                             {2, "<x>", intError},
                             {3, "<x>", intError},
                             {4, "<1>", stringError},
                             {5, "<1>", stringError},
                             {6, "<1>", stringError},
                             {7, "<x>", intError},
                             {8, "<>", Says("FTYPE_VSTRING_VALUE or FTYPE_VINT_VALUE Error")},
                             {9, "<x>", intError},
                             {10, "<x>", intError},
                             {19, "<x>", intError},
                             {20, "<1>", stringError},
                             WrongValue(1, "<1>", stringError),
                             WrongValue(1, "<2147483647>", intError),
                             WrongValue(1, "<4294967295>", intError)});
}

TEST(LogosIDs, AreHeldInAscendingOrder) {
    const Pieces good{"<C49>", "<3>", "<7>", "<3>", "<4000000000>", kSum};
    const Decoded decoded = Decode(good);
    ASSERT_NE(decoded.record.As<LogosIDList>(), nullptr);
    EXPECT_THAT(decoded.record.As<LogosIDList>()->GetIDs(), ElementsAre(3U, 7U, 4000000000U));
    EXPECT_EQ(decoded.log,
              LogOf(kTag, {"Total Number of ID : 3", "01 - 7", "02 - 3", "03 - 4000000000", "End"}));
    const std::string intError = Says("FTYPE_VINT_VALUE Error");
    ExpectFaults(good, {{1, "<x>", intError},
                        {2, "<x>", intError},
                        {4, Line("5"), intError},
                        {5, "<x>", intError},
                        WrongValue(1, "<2147483647>", intError),
                        WrongValue(1, "<2>", Says("Checksum Error")),
                        WrongValue(5, "<256>", Says("Checksum Error"))});
    LogosIDList list;
    for (const unsigned long id : {7UL, 3UL, 5UL, 3UL}) list.AddID(id);
    EXPECT_THAT(list.GetIDs(), ElementsAre(3U, 3U, 5U, 7U));
}

const Pieces kLogo{"<C50>", "<3>", "<BMP24>", Line("logo.bmp"), "<640x48>", "<5>", DataBytes("<\x02\x03>x"),
                   kSum};

TEST(Logos, HoldTheirImage) {
    const Decoded decoded = Decode(kLogo);
    const auto* const logo = decoded.record.As<LogoItem>();
    ASSERT_NE(logo, nullptr);
    EXPECT_EQ(logo->uiID, 3U);
    EXPECT_EQ(logo->iType, 0);
    EXPECT_EQ(logo->strFileName, "logo.bmp");
    EXPECT_EQ(logo->iWidth, 640);
    EXPECT_EQ(logo->iHeight, 48);
    ASSERT_EQ(logo->uiDataSize, 5U);
    EXPECT_EQ(std::string(logo->pData.get(), logo->pData.get() + 5), "<\x02\x03>x");
    std::vector<std::string> log =
        LogOf("CreateLogoData_Prot100", {"Logo ID Number : 3", "Logo Type : 0", "Logo Filename : logo.bmp",
                                         "Logo Image Size : <640x48> (640 x 48)", "Logo Image data Size : 5",
                                         "Logo Image data Size : 5", "End"});
    log.push_back(Says("End"));
    EXPECT_EQ(decoded.log, log);
    Pieces other = kLogo;
    other[2] = "<PNG>";
    EXPECT_EQ(Decode(other).record.As<LogoItem>()->iType, 1);
}

TEST(Logos, FaultsAreSaid) {
    const std::string intError = LogoSays("FTYPE_VINT_VALUE Error");
    const std::string stringError = LogoSays("FTYPE_VSTRING_VALUE Error");
    const std::string sizeError = LogoSays("Extract Image size Error");
    ExpectFaults(kLogo, {{1, "<x>", intError},
                         {2, "<1>", stringError},
                         {3, "<x>", LogoSays("FTYPE_STRING_VALUE Error")},
                         {4, "<640>", stringError},
                         {5, "<x>", intError},
                         {6, "<1>", LogoSays("FTYPE_VDATABYTES Error")},
                         {7, "<x>", intError},
                         WrongValue(4, "<640x>", sizeError),
                         WrongValue(4, "<6x4x2>", sizeError),
                         WrongValue(4, "<x>", sizeError),
                         WrongValue(5, "<6>", LogoSays("Image size Error (6 - 5)")),
                         WrongValue(5, "<4>", LogoSays("Image size Error (4 - 5)")),
                         WrongValue(5, "<4294967295>", LogoSays("Image size Error (-1 - 5)")),
                         WrongValue(5, "<4294967301>", intError),
                         WrongValue(7, "<0>", LogoSays("Checksum Error"))});
    // Called by itself, the decoder asks for the frame too.
    for (const auto& [bytes, line] :
         {std::pair("\x15", "FTYPE_STX Error"), {"\x02<5>", "FTYPE_VCMDID_VALUE Error"}}) {
        ProtocollFields fields;
        Split(fields, bytes);
        LogCapture log;
        EXPECT_EQ(fields.CreateLogoData_Prot100(nullptr, nullptr), nullptr);
        EXPECT_THAT(log.Take(), ElementsAre(LogoSays(line)));
    }
}

}  // namespace

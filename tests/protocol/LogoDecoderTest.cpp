#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/LogosType.h"
#include "protocol/ProtocolAnswer.h"

namespace {

using testing::ElementsAre;

const std::string kTag = "CreateSetupItem_Prot100";
const std::string kLogoTag = "CreateLogoData_Prot100";

const Pieces kTwoKinds{"<C48>", "<2>",                                                                //
                       "<1>",   "<5>", "<BMP>", "<Y>", "<M1>", "<6>",  "<F 640X48>", "<10>", "<11>",  //
                       "<21>",  "<9>", "<RAW>", "<N>", "<M2>", "<26>", "<640>",      "<30>", "<31>",  //
                       "<Y>"};

const Pieces kLogo{"<C50>", "<3>", "<BMP24>", Line("logo.bmp"), "<640x48>", "<5>", DataBytes("<\x02\x03>x"),
                   kSum};

TEST(LogoDecoder, ReadsKindsOfLogo) {
    ExpectDecoded(
        kTag, kTwoKinds, "IIISSSI.IIIISSSI.IIS", 9,
        "Total Number of Logos Info : 2|01 - 1|01 - 5|<BMP>|<Y>|<M1>|01 - 6|<F 640X48>|01 - 10|"
        "01 - 11|02 - 21|02 - 9|<RAW>|<N>|<M2>|02 - 26|<640>|02 - 30|02 - 31|End",
        {{8, {"<>", kEnd}, "FTYPE_VSTRING_VALUE or FTYPE_VINT_VALUE Error"}, {1, {"<1>"}, kStringError}});
    ExpectDecoded(kTag, {"<C48>", "<0>", "<Y>"}, "IS", 9, "Total Number of Logos Info : 0|End");

    Pieces half = kTwoKinds;
    half[8] = "<640X>";
    half.back() = "<no>";
    const Decoded good = Decode(kTwoKinds);
    const Decoded halved = Decode(half);
    const auto& logos = *good.record.As<LogosType>();
    EXPECT_TRUE(logos.bPrintPreview);
    EXPECT_FALSE(halved.record.As<LogosType>()->bPrintPreview);
    EXPECT_EQ(logos.iNumMaxLogo, 9);
    const auto members = [](const LogosInfo& kind) {
        return std::vector<int>{kind.iNumber1, kind.iMaxCount, kind.iFormat,  kind.bY,
                                kind.iM1,      kind.iNumber6,  kind.iWidth,   kind.iHeight,
                                kind.bF,       kind.iNumber10, kind.iNumber11};
    };
    EXPECT_THAT(members(logos.listLogosInfo[0]), ElementsAre(1, 5, 0, 1, 0, 6, 640, 48, 1, 10, 11));
    EXPECT_THAT(members(logos.listLogosInfo[1]),
                ElementsAre(21, 9, 1, 0, 1, 26, 0xFFFFFF, 0xFFFFFF, 0, 30, 31));
    EXPECT_THAT(members(halved.record.As<LogosType>()->listLogosInfo[0]),
                ElementsAre(1, 5, 0, 1, 0, 6, 0xFFFFFF, 0xFFFFFF, 0, 10, 11));
}

TEST(LogosType, TakesTheLargestCountOrNoLimit) {
    const struct {
        std::vector<int> counts;
        int maximum;
        std::string line;
    } cases[] = {{{5, 0, 9}, LogosType::INFINITE, "NumMaxLogo = INFINITE"},
                 {{9, 5}, 9, "NumMaxLogo = 9"},
                 {{-1}, 0, "NumMaxLogo = 0"},
                 {{}, 0, "NumMaxLogo = 0"}};
    for (const auto& row : cases) {
        LogosType logos;
        logos.iNumMaxLogo = 77;
        for (const int count : row.counts) logos.listLogosInfo.emplace_back().iMaxCount = count;
        LogCapture log;
        logos.CalcNumMaxLogo();
        EXPECT_EQ(logos.iNumMaxLogo, row.maximum);
        EXPECT_THAT(log.Take("CalcNumMaxLogo"), ElementsAre(row.line));
    }
}

TEST(LogoDecoder, HoldsIdentifiersInAscendingOrder) {
    const Pieces good{"<C49>", "<3>", "<7>", "<3>", "<4000000000>", kSum};
    ExpectDecoded(kTag, good, "IIIII", 10, "Total Number of ID : 3|01 - 7|02 - 3|03 - 4000000000|End",
                  {{1, {"<2>"}, kChecksumError}, {5, {"<256>"}, kChecksumError}});
    EXPECT_THAT(Decode(good).record.As<LogosIDList>()->GetIDs(), ElementsAre(3U, 7U, 4000000000U));
    LogosIDList list;
    for (const unsigned long id : {7UL, 3UL, 5UL, 3UL}) list.AddID(id);
    EXPECT_THAT(list.GetIDs(), ElementsAre(3U, 3U, 5U, 7U));
}

TEST(LogoDecoder, ReadsALogoWithItsImage) {
    ExpectDecoded(
        kLogoTag, kLogo, "ISTSIDI", 22,
        "Logo ID Number : 3|Logo Type : 0|Logo Filename : logo.bmp|Logo Image Size : <640x48> (640 x 48)|"
        "Logo Image data Size : 5|Logo Image data Size : 5|End",
        {{4, {"<640x>", "<6x4x2>"}, "Extract Image size Error"},
         {5, {"<6>"}, "Image size Error (6 - 5)"},
         {5, {"<4294967295>"}, "Image size Error (-1 - 5)"},
         {7, {"<0>"}, kChecksumError}});
    const Decoded decoded = Decode(kLogo);
    EXPECT_EQ(decoded.log.back(), "[" + kTag + "]End");
    const auto& logo = *decoded.record.As<LogoItem>();
    EXPECT_EQ(logo.uiID, 3U);
    EXPECT_EQ(logo.strFileName, "logo.bmp");
    EXPECT_THAT((std::vector<int>{logo.iType, logo.iWidth, logo.iHeight}), ElementsAre(0, 640, 48));
    EXPECT_EQ(std::string(logo.pData.get(), logo.pData.get() + logo.uiDataSize), "<\x02\x03>x");
    Pieces other = kLogo;
    other[2] = "<PNG>";
    EXPECT_EQ(Decode(other).record.As<LogoItem>()->iType, 1);
}

}  // namespace

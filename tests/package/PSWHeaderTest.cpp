#include "package/PSWHeader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "harness/LogCapture.h"
#include "package/PSWHeaderBin.h"
#include "package/PSWHeaderBootLoader.h"
#include "package/PSWHeaderFonts.h"
#include "package/PSWHeaderGenericData.h"
#include "package/PSWHeaderLogos.h"
#include "package/PSWHeaderModule.h"
#include "package/PSWHeaderPrinter.h"
#include "package/PSWHeaderSoftware.h"
#include "package/PSWHeaderUSBLoader.h"
#include "package/PSWHeaderUpgrade.h"
#include "package/PackageBytes.h"

namespace {

// Bytes that tell their place: the one at offset n is 'A' + n ("B" at 1, "`" at 31). A field that is read
// from a wrong place, or is a byte too long or too short, shows another value.
Bytes TellingRecord(char marker, std::size_t offset, const std::string& edit) {
    Bytes record = Record(marker);
    for (std::size_t i = 1; i < record.size(); ++i) record[i] = static_cast<unsigned char>('A' + i);
    std::copy(edit.begin(), edit.end(), record.begin() + static_cast<std::ptrdiff_t>(offset));
    return record;
}

template <class Header>
std::unique_ptr<PSWHeader> Make() {
    return std::make_unique<Header>();
}

TEST(PSWHeader, ReadsTheFieldsOfItsKindAndNamesTheFirstThatIsCut) {
    const std::string module =
        " iNumModule: 67 iTotModules: 68 uiAddrStart: 1162233672 uiModuleSize: 1229605708";
    const std::string loader = "uiAddrStart: 1111704645 strRelHeaderSupp: 4605768 strHeaderType: 73";
    const std::string printer =
        "strPrinterModel: BCDEFGHI strReleaseHW: JK strReleasePSW: LMN strCreationDate: OPQRST "
        "iNumBanksVectorInterrupt: 85 iGSILow: 86 cComPortType: ";
    const std::string logo = " iNumLogo: 66 iTotLogos: 67 iDotSizeX: 17477 iDotSizeY: 17991 uiAddrStart: ";
    const std::string font =
        " iNumFont: 66 iTotFonts: 67 iFontSizeX: 68 iFontSizeY: 69 iFontAsciiStart: 70 iFontAsciiEnd: 71 "
        "uiAddrStart: ";
    const struct {
        std::unique_ptr<PSWHeader> (*make)();
        char marker;
        std::size_t edited;
        std::string edit;
        std::size_t size;  // up to the end of the last field
        std::string fields;
    } rows[] = {
        {Make<PSWHeaderPrinter>, 'P', 22, "W", 30,
         printer + "2 iScrambleByte: 88 iPswType: 0 iGSIHight: 90 uiChecksum: 1532779870"},
        {Make<PSWHeaderPrinter>, 'P', 22, "SX2Z\xFF\xFF\xFF\xFF", 30,
         printer + "0 iScrambleByte: 88 iPswType: 1 iGSIHight: 90 uiChecksum: -1"},
        {Make<PSWHeaderPrinter>, 'P', 22, "P", 30,
         printer + "1 iScrambleByte: 88 iPswType: 0 iGSIHight: 90 uiChecksum: 1532779870"},
        {Make<PSWHeaderSoftware>, 'S', 1, "B", 7,
         "iPswType: 0 iNumBank: 66 iNumTotBanks: 67 uiAddrStart: 4474182 bex: 71"},
        {Make<PSWHeaderSoftware>, 's', 1, "B", 12,
         "iPswType: 1 uiAddrStart: 1145390663 strRelHeaderSupp: HIJ strHeaderType: K bex: 76"},
        {Make<PSWHeaderUpgrade>, 'S', 6, "\xAA", 13,
         "iPswType: 0 iIDFamily: 18505 iIDModel: 19019 iIDCustomization: 19533"},
        {Make<PSWHeaderUpgrade>, 's', 11, "\xAA", 18,
         "iPswType: 1 iIDFamily: 19790 iIDModel: 20304 iIDCustomization: 20818"},
        {Make<PSWHeaderModule>, 'm', 1, "f", 12, "modModuleID: 0" + module},
        {Make<PSWHeaderModule>, 'm', 1, "C", 12, "modModuleID: 1" + module},
        {Make<PSWHeaderModule>, 'm', 1, "d", 12, "modModuleID: 2" + module},
        {Make<PSWHeaderModule>, 'm', 1, "u", 12, "modModuleID: 3" + module},
        {Make<PSWHeaderModule>, 'm', 1, "b", 12, "modModuleID: 4" + module},
        {Make<PSWHeaderModule>, 'm', 1, "B", 12, "modModuleID: 5" + module},
        {Make<PSWHeaderModule>, 'm', 1, "l", 12, "modModuleID: 7" + module},
        {Make<PSWHeaderModule>, 'm', 1, "s", 17,
         "modModuleID: 6" + module + " iNumBank: 19790 uiBankDim: 5197905"},
        {Make<PSWHeaderLogos>, 'L', 1, "B", 11, "iPswType: 0" + logo + "4737354 iNumColors: 75"},
        {Make<PSWHeaderLogos>, 'l', 1, "B", 16,
         "iPswType: 1" + logo + "1212762699 iNumColors: 76 strRelHeaderSupp: MNO strHeaderType: P"},
        {Make<PSWHeaderFonts>, 'F', 11, std::string("\x80\xFF\x7F\0", 4), 16,
         "iPswType: 0" + font +
             "4737354 iFontOrient: 75 iMarginLeft: -128 iMarginRight: -1 iMarginUp: 127 "
             "iMarginDown: 0 iSort: 80"},
        {Make<PSWHeaderFonts>, 'f', 12, "\xFE\x80\xFF\x81", 30,
         "iPswType: 1" + font +
             "1212762699 iFontOrient: 76 iMarginLeft: -2 iMarginRight: -128 iMarginUp: -1 "
             "iMarginDown: -127 iSort: 81 strFontName: RSTUVWXY iNumModuleParent: 90 strRelHeaderSupp: [\\] "
             "strHeaderType: ^"},
        {Make<PSWHeaderUSBLoader>, 'u', 1, "B", 9, loader},
        {Make<PSWHeaderBootLoader>, 'b', 1, "B", 9, loader},
        {Make<PSWHeaderGenericData>, 'd', 1, "B", 11,
         "iBlock: 66 iTotBlocks: 67 uiAddrStart: 1145390663 strRelHeaderSupp: HIJ strHeaderType: K"},
        {Make<PSWHeaderBin>, '@', 1, std::string("\0\0\1", 3), 9,
         "iPswType: 0 uiBinLength: 1 iNumBanks: 69 uiBinSize: 4605768 iStartDataIntoFile: 15"},
        {Make<PSWHeaderBin>, '?', 1, std::string("\0\0\0\1", 4), 6,
         "iPswType: 1 uiBinLength: 1 iStartDataIntoFile: 12"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.marker + row.fields);
        const Bytes record = TellingRecord(row.marker, row.edited, row.edit);
        const Bytes file = Bytes(7, 'x') + Slice(record, 0, row.size);
        LogCapture log;
        EXPECT_EQ(row.make()->ExtractHederInfo(View(file), 7, nullptr), 0);
        EXPECT_EQ(Joined(log.Take("ExtractHederInfo"), " "), row.fields);
        EXPECT_EQ(row.make()->ExtractHederInfo(View(Slice(file, 0, file.size() - 1)), 7, nullptr), -1);
        const std::string before = row.fields.substr(0, row.fields.rfind(':'));
        if (row.make()->iHType == HTYPE_BIN) continue;
        EXPECT_EQ(log.Take("ExtractHederInfo").back(),
                  before.substr(before.rfind(' ') + 1) + " lies outside the file");
    }
}

TEST(PSWHeader, TheIdentityNeedsItsAnnouncement) {
    const std::tuple<std::size_t, char, bool> places[] = {
        {6, 'S', true}, {11, 'S', false}, {11, 's', true}, {6, 's', false}};
    for (const auto& [offset, marker, announced] : places) {
        const Bytes record = TellingRecord(marker, offset, "\xAA");
        PSWHeaderUpgrade upgrade;
        bool follow = !announced;
        EXPECT_EQ(PSWHeaderSoftware().ExtractHederInfo(View(record), 0, &follow), 0);
        EXPECT_EQ(upgrade.ExtractHederInfo(View(record), 0, nullptr), 0);
        EXPECT_EQ(follow, announced) << marker << offset;
        EXPECT_EQ(upgrade.iIDFamily != 0, announced) << marker << offset;
    }
}

}  // namespace

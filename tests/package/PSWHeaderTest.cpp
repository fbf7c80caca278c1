#include "package/PSWHeader.h"

#include <gtest/gtest.h>

#include <sstream>

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

// Bytes that tell their place: the one at offset n is 'A' + n ("B" at 1, "`" at 31). Any field that is read
// from a wrong place, or is a byte too long or too short, shows another value.
Bytes TellingRecord(char marker) {
    Bytes record = Record(marker);
    for (std::size_t i = 1; i < record.size(); ++i) record[i] = static_cast<unsigned char>('A' + i);
    return record;
}

template <class... Values>
std::string Row(const Values&... values) {
    std::ostringstream row;
    ((row << values << ' '), ...);
    return row.str();
}

/// The number that the bytes of a text make.
long Number(const char* text) {
    long number = 0;
    for (; *text != '\0'; ++text) number = number * 256 + *text;
    return number;
}

/// Extracts the record from the middle of a file that ends with its last field, `size` bytes from the marker.
/// `fields` gives the names and values in order: the log shows them, `members` the values. One byte less is
/// refused with the last field's name.
template <class Header, class Members>
void ExpectFields(const Bytes& record, std::size_t size, const std::string& fields, Members members) {
    SCOPED_TRACE(fields);
    std::vector<std::string> lines;
    std::string values;
    std::istringstream words(fields);
    std::string name;
    for (std::string value; words >> name >> value; values.append(value).append(" "))
        lines.emplace_back(name).append(": ").append(value);
    const Bytes file = Bytes(7, 'x') + Slice(record, 0, size);
    Header header;
    LogCapture log;
    EXPECT_EQ(header.ExtractHederInfo(View(file), 7, nullptr), 0);
    EXPECT_EQ(log.Take("ExtractHederInfo"), lines);
    EXPECT_EQ(members(header), values);
    EXPECT_EQ(Header().ExtractHederInfo(View(Slice(file, 0, file.size() - 1)), 7, nullptr), -1);
    EXPECT_EQ(log.Take("ExtractHederInfo").back(),
              lines.back().substr(0, lines.back().find(':')) + " lies outside the file");
}

TEST(PSWHeader, PrinterSoftwareAndUpgradeFields) {
    ExpectFields<PSWHeaderPrinter>(
        TellingRecord('P'), 30,
        "strPrinterModel BCDEFGHI strReleaseHW JK strReleasePSW LMN strCreationDate OPQRST "
        "iNumBanksVectorInterrupt 85 iGSILow 86 cComPortType 2 iScrambleByte 88 iPswType 0 iGSIHight 90 "
        "uiChecksum 1532779870",  // 5B 5C 5D 5E
        [](const PSWHeaderPrinter& h) {
            return Row(h.strPrinterModel, h.strReleaseHW, h.strReleasePSW, h.strCreationDate,
                       h.iNumBanksVectorInterrupt, h.iGSILow, h.cComPortType, h.iScrambleByte, h.iPswType,
                       h.iGSIHight, h.uiChecksum);
        });
    ExpectFields<PSWHeaderSoftware>(
        TellingRecord('S'), 7,
        "iPswType 0 iNumBank 66 iNumTotBanks 67 uiAddrStart 4474182 bex 71",  // 44 45 46
        [](const PSWHeaderSoftware& h) {
            return Row(h.iPswType, h.iNumBank, h.iNumTotBanks, h.uiAddrStart, h.bex);
        });
    ExpectFields<PSWHeaderSoftware>(
        TellingRecord('s'), 12,
        "iPswType 1 uiAddrStart 1145390663 strRelHeaderSupp HIJ strHeaderType K bex 76",  // 44 45 46 47
        [](const PSWHeaderSoftware& h) {
            return Row(h.iPswType, h.uiAddrStart, h.strRelHeaderSupp, h.strHeaderType, h.bex);
        });
    const auto identity = [](const PSWHeaderUpgrade& h) {
        return Row(h.iPswType, h.iIDFamily, h.iIDModel, h.iIDCustomization);
    };
    ExpectFields<PSWHeaderUpgrade>(With(TellingRecord('S'), 6, 1, 0xAA), 13,
                                   "iPswType 0 iIDFamily 18505 iIDModel 19019 iIDCustomization 19533",
                                   identity);
    ExpectFields<PSWHeaderUpgrade>(With(TellingRecord('s'), 11, 1, 0xAA), 18,
                                   "iPswType 1 iIDFamily 19790 iIDModel 20304 iIDCustomization 20818",
                                   identity);
}

TEST(PSWHeader, ModuleFields) {
    const std::pair<char, const char*> kinds[] = {{'f', "0"}, {'C', "1"}, {'d', "2"}, {'u', "3"}, {'b', "4"},
                                                  {'B', "5"}, {'F', "5"}, {'s', "6"}, {'l', "7"}};
    for (const auto& [letter, number] : kinds) {
        const bool software = letter == 's';
        ExpectFields<PSWHeaderModule>(
            With(TellingRecord('m'), 1, 1, static_cast<unsigned char>(letter)), software ? 17 : 12,
            std::string("modModuleID ") + number + " iNumModule 67 iTotModules 68 uiAddrStart 1162233672 " +
                "uiModuleSize 1229605708" + (software ? " iNumBank 19790 uiBankDim 5197905" : ""),
            [software](const PSWHeaderModule& h) {
                return Row(h.modModuleID, h.iNumModule, h.iTotModules, h.uiAddrStart, h.uiModuleSize) +
                       (software ? Row(h.iNumBank, h.uiBankDim) : "");
            });
    }
}

TEST(PSWHeader, LogoAndFontFields) {
    const std::string logo = " iNumLogo 66 iTotLogos 67 iDotSizeX 17477 iDotSizeY 17991 uiAddrStart ";
    const auto logoRow = [](const PSWHeaderLogos& h) {
        return Row(h.iPswType, h.iNumLogo, h.iTotLogos, h.iDotSizeX, h.iDotSizeY, h.uiAddrStart,
                   h.iNumColors);
    };
    ExpectFields<PSWHeaderLogos>(TellingRecord('L'), 11, "iPswType 0" + logo + "4737354 iNumColors 75",
                                 logoRow);
    ExpectFields<PSWHeaderLogos>(
        TellingRecord('l'), 16,
        "iPswType 1" + logo + "1212762699 iNumColors 76 strRelHeaderSupp MNO strHeaderType P",
        [&](const PSWHeaderLogos& h) { return logoRow(h) + Row(h.strRelHeaderSupp, h.strHeaderType); });

    const std::string font =
        " iNumFont 66 iTotFonts 67 iFontSizeX 68 iFontSizeY 69 iFontAsciiStart 70 "
        "iFontAsciiEnd 71 uiAddrStart ";
    const auto fontRow = [](const PSWHeaderFonts& h) {
        return Row(h.iPswType, h.iNumFont, h.iTotFonts, h.iFontSizeX, h.iFontSizeY, h.iFontAsciiStart,
                   h.iFontAsciiEnd, h.uiAddrStart, h.iFontOrient, h.iMarginLeft, h.iMarginRight, h.iMarginUp,
                   h.iMarginDown, h.iSort);
    };
    ExpectFields<PSWHeaderFonts>(With(TellingRecord('F'), 11, 4, 0x80FF7F00), 16,
                                 "iPswType 0" + font +
                                     "4737354 iFontOrient 75 iMarginLeft -128 iMarginRight -1 "
                                     "iMarginUp 127 iMarginDown 0 iSort 80",
                                 fontRow);
    ExpectFields<PSWHeaderFonts>(
        With(TellingRecord('f'), 12, 4, 0xFE80FF81), 30,
        "iPswType 1" + font +
            "1212762699 iFontOrient 76 iMarginLeft -2 iMarginRight -128 iMarginUp -1 "
            "iMarginDown -127 iSort 81 strFontName RSTUVWXY iNumModuleParent 90 strRelHeaderSupp [\\] "
            "strHeaderType ^",
        [&](const PSWHeaderFonts& h) {
            return fontRow(h) + Row(h.strFontName, h.iNumModuleParent, h.strRelHeaderSupp, h.strHeaderType);
        });
}

TEST(PSWHeader, LoaderAndGenericDataFields) {
    const auto row = [](const auto& h) {  // a loader's texts are logged as numbers
        return Row(h.uiAddrStart, Number(h.strRelHeaderSupp), Number(h.strHeaderType));
    };
    const char* const fields = "uiAddrStart 1111704645 strRelHeaderSupp 4605768 strHeaderType 73";
    ExpectFields<PSWHeaderUSBLoader>(TellingRecord('u'), 9, fields, row);
    ExpectFields<PSWHeaderBootLoader>(TellingRecord('b'), 9, fields, row);
    ExpectFields<PSWHeaderGenericData>(
        TellingRecord('d'), 11,
        "iBlock 66 iTotBlocks 67 uiAddrStart 1145390663 strRelHeaderSupp HIJ strHeaderType K",
        [](const PSWHeaderGenericData& h) {
            return Row(h.iBlock, h.iTotBlocks, h.uiAddrStart, h.strRelHeaderSupp, h.strHeaderType);
        });
}

TEST(PSWHeader, BinTakesItsPayload) {
    const Bytes oldFile = Bytes{'x', '@', 0, 0, 3, 0x11, 0x12, 0x13, 0x14, 'a', 'b', 'c', 'd'};
    PSWHeaderBin bin;
    LogCapture log;
    ASSERT_EQ(bin.ExtractHederInfo(View(oldFile), 1, nullptr), 0);
    EXPECT_EQ(log.Take(), (std::vector<std::string>{
                              "[ExtractHederInfo]iPswType: 0", "", "[ExtractHederInfo]uiBinLength: 3",
                              "[ExtractHederInfo]iNumBanks: 17", "[ExtractHederInfo]uiBinSize: 1184532",
                              "[ExtractHederInfo]iStartDataIntoFile: 9"}));
    const auto row = [](const PSWHeaderBin& h) {
        return Row(h.iPswType, h.uiBinLength, h.iNumBanks, h.uiBinSize, h.iStartDataIntoFile,
                   std::string(h.pData.get(), h.pData.get() + h.uiBinLength));
    };
    EXPECT_EQ(row(bin), "0 3 17 1184532 9 abc ");
    ASSERT_EQ(bin.ExtractHederInfo(View(Bytes{'?', 0, 0, 0, 3, 'a', 'b', 'c'}), 0, nullptr), 0);
    EXPECT_EQ(row(bin), "1 3 0 0 5 abc ");
    for (const Bytes& cut : {Bytes{'?', 0, 0, 0, 3, 'a', 'b'}, Bytes{'?', 0, 0, 0}, Slice(oldFile, 1, 7),
                             Bytes{'?', 0xFF, 0xFF, 0xFF, 0xFF, 'a'}})
        EXPECT_EQ(bin.ExtractHederInfo(View(cut), 0, nullptr), -1);
}

TEST(PSWHeader, LettersAreTranslatedAndTheIdentityNeedsItsAnnouncement) {
    const struct {
        unsigned char letter;
        const char* values;  // port, form
    } letters[] = {{'S', "0 0 "}, {'P', "1 0 "}, {'s', "2 0 "}, {'2', "2 1 "}, {2, "2 0 "}};
    for (const auto& each : letters) {
        PSWHeaderPrinter printer;
        const Bytes record = With(With(Record('P'), 22, 1, each.letter), 24, 1, each.letter);
        ASSERT_EQ(printer.ExtractHederInfo(View(With(record, 26, 4, 0xFFFFFFFF)), 0, nullptr), 0);
        EXPECT_EQ(Row(printer.cComPortType, printer.iPswType), each.values) << each.letter;
        EXPECT_EQ(printer.uiChecksum, 0xFFFFFFFFU) << "not signed";
    }
    const std::tuple<std::size_t, char, bool> places[] = {
        {6, 'S', true}, {11, 'S', false}, {11, 's', true}, {6, 's', false}};
    for (const auto& [offset, marker, announced] : places) {
        const Bytes record = With(TellingRecord(marker), offset, 1, 0xAA);
        PSWHeaderUpgrade upgrade;
        bool follow = !announced;
        EXPECT_EQ(PSWHeaderSoftware().ExtractHederInfo(View(record), 0, &follow), 0);
        EXPECT_EQ(upgrade.ExtractHederInfo(View(record), 0, nullptr), 0);
        EXPECT_EQ(follow, announced) << marker << offset;
        EXPECT_EQ(upgrade.iIDFamily != 0, announced) << marker << offset;
    }
}

}  // namespace

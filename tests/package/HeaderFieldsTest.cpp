#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

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

std::string Shown(int value) {
    return std::to_string(value);
}
std::string Shown(std::uint64_t value) {
    return std::to_string(value);
}
std::string Shown(const char* value) {
    return value;
}

// Bytes that tell their place: the one at offset n is 'A' + n ("B" at 1, "`" at 31). Any field that is read
// from a wrong place, or is a byte too long or too short, shows another value.
Bytes TellingRecord(char marker) {
    Bytes record(32);
    for (std::size_t i = 0; i < record.size(); ++i) record[i] = static_cast<unsigned char>('A' + i);
    record[0] = static_cast<unsigned char>(marker);
    return record;
}

template <class Header>
struct Field {
    const char* name;
    std::string value;
    std::function<std::string(const Header&)> member;
    std::string logged = value;  // where the log shows something else
};

// Extracts the record from the middle of a file and compares members and log lines with what is expected.
template <class Header>
void ExpectFields(const Bytes& record, const std::vector<Field<Header>>& fields) {
    const Bytes file = Bytes(7, 'x') + record;
    Header header;
    LogCapture log;
    ASSERT_EQ(header.ExtractHederInfo(View(file), 7, nullptr), 0);
    std::vector<std::string> expected;
    for (const Field<Header>& field : fields) {
        EXPECT_EQ(field.member(header), field.value) << field.name;
        expected.push_back(std::string(field.name) + ": " + field.logged);
    }
    EXPECT_EQ(log.Take("ExtractHederInfo"), expected);
}

#define OF(Header, name) [](const Header& h) { return Shown(h.name); }

TEST(HeaderFields, Printer) {
    using H = PSWHeaderPrinter;
    ExpectFields<H>(TellingRecord('P'), {{"strPrinterModel", "BCDEFGHI", OF(H, strPrinterModel)},
                                         {"strReleaseHW", "JK", OF(H, strReleaseHW)},
                                         {"strReleasePSW", "LMN", OF(H, strReleasePSW)},
                                         {"strCreationDate", "OPQRST", OF(H, strCreationDate)},
                                         {"iNumBanksVectorInterrupt", "85", OF(H, iNumBanksVectorInterrupt)},
                                         {"iGSILow", "86", OF(H, iGSILow)},
                                         {"cComPortType", "2", OF(H, cComPortType)},
                                         {"iScrambleByte", "88", OF(H, iScrambleByte)},
                                         {"iPswType", "0", OF(H, iPswType)},
                                         {"iGSIHight", "90", OF(H, iGSIHight)},
                                         {"uiChecksum", "1532779870", OF(H, uiChecksum)}});  // 5B 5C 5D 5E
}

TEST(HeaderFields, PrinterLettersAreTranslated) {
    const struct {
        char letter;
        int comPort;
        int pswType;
    } cases[] = {{'S', 0, 0}, {'P', 1, 0}, {'s', 2, 0}, {'2', 2, 1}, {2, 2, 0}};
    for (const auto& each : cases) {
        const auto letter = static_cast<unsigned char>(each.letter);
        PSWHeaderPrinter printer;
        ASSERT_EQ(
            printer.ExtractHederInfo(View(With(With(Record('P'), 22, 1, letter), 24, 1, letter)), 0, nullptr),
            0);
        EXPECT_EQ(printer.cComPortType, each.comPort) << each.letter;
        EXPECT_EQ(printer.iPswType, each.pswType) << each.letter;
    }
}

TEST(HeaderFields, Software) {
    using H = PSWHeaderSoftware;
    ExpectFields<H>(TellingRecord('S'), {{"iPswType", "0", OF(H, iPswType)},
                                         {"iNumBank", "66", OF(H, iNumBank)},
                                         {"iNumTotBanks", "67", OF(H, iNumTotBanks)},
                                         {"uiAddrStart", "4474182", OF(H, uiAddrStart)},  // 44 45 46
                                         {"bex", "71", OF(H, bex)}});
    ExpectFields<H>(TellingRecord('s'), {{"iPswType", "1", OF(H, iPswType)},
                                         {"uiAddrStart", "1145390663", OF(H, uiAddrStart)},  // 44 45 46 47
                                         {"strRelHeaderSupp", "HIJ", OF(H, strRelHeaderSupp)},
                                         {"strHeaderType", "K", OF(H, strHeaderType)},
                                         {"bex", "76", OF(H, bex)}});
}

TEST(HeaderFields, Upgrade) {
    using H = PSWHeaderUpgrade;
    ExpectFields<H>(With(TellingRecord('S'), 6, 1, 0xAA),
                    {{"iPswType", "0", OF(H, iPswType)},
                     {"iIDFamily", "18505", OF(H, iIDFamily)},  // 48 49
                     {"iIDModel", "19019", OF(H, iIDModel)},
                     {"iIDCustomization", "19533", OF(H, iIDCustomization)}});
    ExpectFields<H>(With(TellingRecord('s'), 11, 1, 0xAA),
                    {{"iPswType", "1", OF(H, iPswType)},
                     {"iIDFamily", "19790", OF(H, iIDFamily)},  // 4D 4E
                     {"iIDModel", "20304", OF(H, iIDModel)},
                     {"iIDCustomization", "20818", OF(H, iIDCustomization)}});
}

TEST(HeaderFields, UpgradeIdentifiersNeedTheAnnouncingByte) {
    const struct {
        std::size_t offset;
        char marker;
        bool announced;
    } cases[] = {{6, 'S', true}, {11, 'S', false}, {11, 's', true}, {6, 's', false}};
    for (const auto& each : cases) {
        const Bytes record = With(TellingRecord(each.marker), each.offset, 1, 0xAA);
        PSWHeaderSoftware software;
        PSWHeaderUpgrade upgrade;
        bool follow = false;
        EXPECT_EQ(software.ExtractHederInfo(View(record), 0, &follow), 0);
        EXPECT_EQ(upgrade.ExtractHederInfo(View(record), 0, nullptr), 0);
        EXPECT_EQ(follow, each.announced) << each.marker << each.offset;
        EXPECT_EQ(upgrade.iIDFamily != 0, each.announced) << each.marker << each.offset;
    }
}

TEST(HeaderFields, Module) {
    using H = PSWHeaderModule;
    const std::vector<Field<H>> common = {
        {"iNumModule", "67", OF(H, iNumModule)},
        {"iTotModules", "68", OF(H, iTotModules)},
        {"uiAddrStart", "1162233672", OF(H, uiAddrStart)},     // 45 46 47 48
        {"uiModuleSize", "1229605708", OF(H, uiModuleSize)}};  // 49 4A 4B 4C
    const std::pair<char, const char*> kinds[] = {{'f', "0"}, {'C', "1"}, {'d', "2"}, {'u', "3"}, {'b', "4"},
                                                  {'B', "5"}, {'F', "5"}, {'s', "6"}, {'l', "7"}};
    for (const auto& [letter, number] : kinds) {
        SCOPED_TRACE(letter);
        std::vector<Field<H>> fields = {{"modModuleID", number, OF(H, modModuleID)}};
        fields.insert(fields.end(), common.begin(), common.end());
        if (letter == 's') {
            fields.push_back({"iNumBank", "19790", OF(H, iNumBank)});      // 4D 4E
            fields.push_back({"uiBankDim", "5197905", OF(H, uiBankDim)});  // 4F 50 51
        }
        ExpectFields<H>(With(TellingRecord('m'), 1, 1, static_cast<unsigned char>(letter)), fields);
    }
}

TEST(HeaderFields, Logos) {
    using H = PSWHeaderLogos;
    const std::vector<Field<H>> common = {{"iNumLogo", "66", OF(H, iNumLogo)},
                                          {"iTotLogos", "67", OF(H, iTotLogos)},
                                          {"iDotSizeX", "17477", OF(H, iDotSizeX)},   // 44 45
                                          {"iDotSizeY", "17991", OF(H, iDotSizeY)}};  // 46 47
    std::vector<Field<H>> old = {{"iPswType", "0", OF(H, iPswType)}};
    old.insert(old.end(), common.begin(), common.end());
    old.push_back({"uiAddrStart", "4737354", OF(H, uiAddrStart)});  // 48 49 4A
    old.push_back({"iNumColors", "75", OF(H, iNumColors)});
    ExpectFields<H>(TellingRecord('L'), old);
    std::vector<Field<H>> fresh = {{"iPswType", "1", OF(H, iPswType)}};
    fresh.insert(fresh.end(), common.begin(), common.end());
    fresh.push_back({"uiAddrStart", "1212762699", OF(H, uiAddrStart)});  // 48 49 4A 4B
    fresh.push_back({"iNumColors", "76", OF(H, iNumColors)});
    fresh.push_back({"strRelHeaderSupp", "MNO", OF(H, strRelHeaderSupp)});
    fresh.push_back({"strHeaderType", "P", OF(H, strHeaderType)});
    ExpectFields<H>(TellingRecord('l'), fresh);
}

TEST(HeaderFields, Fonts) {
    using H = PSWHeaderFonts;
    const std::vector<Field<H>> common = {{"iNumFont", "66", OF(H, iNumFont)},
                                          {"iTotFonts", "67", OF(H, iTotFonts)},
                                          {"iFontSizeX", "68", OF(H, iFontSizeX)},
                                          {"iFontSizeY", "69", OF(H, iFontSizeY)},
                                          {"iFontAsciiStart", "70", OF(H, iFontAsciiStart)},
                                          {"iFontAsciiEnd", "71", OF(H, iFontAsciiEnd)}};
    // What follows the address stands a byte later in the new form.
    const auto rest = [](int shift) {
        const auto at = [shift](int value) { return std::to_string(value + shift); };
        return std::vector<Field<H>>{
            {"iFontOrient", at(75), OF(H, iFontOrient)},   {"iMarginLeft", at(76), OF(H, iMarginLeft)},
            {"iMarginRight", at(77), OF(H, iMarginRight)}, {"iMarginUp", at(78), OF(H, iMarginUp)},
            {"iMarginDown", at(79), OF(H, iMarginDown)},   {"iSort", at(80), OF(H, iSort)}};
    };
    const auto joined = [](const std::vector<std::vector<Field<H>>>& parts) {
        std::vector<Field<H>> all;
        for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    };
    ExpectFields<H>(TellingRecord('F'), joined({{{"iPswType", "0", OF(H, iPswType)}},
                                                common,
                                                {{"uiAddrStart", "4737354", OF(H, uiAddrStart)}},
                                                rest(0)}));
    ExpectFields<H>(TellingRecord('f'), joined({{{"iPswType", "1", OF(H, iPswType)}},
                                                common,
                                                {{"uiAddrStart", "1212762699", OF(H, uiAddrStart)}},
                                                rest(1),
                                                {{"strFontName", "RSTUVWXY", OF(H, strFontName)},
                                                 {"iNumModuleParent", "90", OF(H, iNumModuleParent)},
                                                 {"strRelHeaderSupp", "[\\]", OF(H, strRelHeaderSupp)},
                                                 {"strHeaderType", "^", OF(H, strHeaderType)}}}));
}

TEST(HeaderFields, MarginsAreSignedAndAddressesAreNot) {
    using H = PSWHeaderFonts;
    H font;
    const Bytes record = With(With(Record('f'), 7, 4, 0xFFFFFFFE), 12, 4, 0x80FF7F00);
    ASSERT_EQ(font.ExtractHederInfo(View(record), 0, nullptr), 0);
    EXPECT_EQ(font.iMarginLeft, -128);
    EXPECT_EQ(font.iMarginRight, -1);
    EXPECT_EQ(font.iMarginUp, 127);
    EXPECT_EQ(font.iMarginDown, 0);
    EXPECT_EQ(font.uiAddrStart, 0xFFFFFFFEU);
    PSWHeaderPrinter printer;
    ASSERT_EQ(printer.ExtractHederInfo(View(With(Record('P'), 26, 4, 0xFFFFFFFF)), 0, nullptr), 0);
    EXPECT_EQ(printer.uiChecksum, 0xFFFFFFFFU);
}

template <class Header>
void ExpectLoaderFields(char marker) {
    ExpectFields<Header>(TellingRecord(marker),
                         {{"uiAddrStart", "1111704645", OF(Header, uiAddrStart)},  // 42 43 44 45
                          {"strRelHeaderSupp", "FGH", OF(Header, strRelHeaderSupp), "4605768"},
                          {"strHeaderType", "I", OF(Header, strHeaderType), "73"}});
}

TEST(HeaderFields, LoadersAndGenericData) {
    ExpectLoaderFields<PSWHeaderUSBLoader>('u');
    ExpectLoaderFields<PSWHeaderBootLoader>('b');
    using H = PSWHeaderGenericData;
    ExpectFields<H>(TellingRecord('d'), {{"iBlock", "66", OF(H, iBlock)},
                                         {"iTotBlocks", "67", OF(H, iTotBlocks)},
                                         {"uiAddrStart", "1145390663", OF(H, uiAddrStart)},  // 44 45 46 47
                                         {"strRelHeaderSupp", "HIJ", OF(H, strRelHeaderSupp)},
                                         {"strHeaderType", "K", OF(H, strHeaderType)}});
}

TEST(HeaderFields, BinTakesItsPayload) {
    const Bytes oldFile = Bytes{'x', '@', 0, 0, 3, 0x11, 0x12, 0x13, 0x14, 'a', 'b', 'c', 'd'};
    PSWHeaderBin old;
    LogCapture log;
    ASSERT_EQ(old.ExtractHederInfo(View(oldFile), 1, nullptr), 0);
    EXPECT_EQ(log.Take(), (std::vector<std::string>{
                              "[ExtractHederInfo]iPswType: 0", "", "[ExtractHederInfo]uiBinLength: 3",
                              "[ExtractHederInfo]iNumBanks: 17", "[ExtractHederInfo]uiBinSize: 1184532",
                              "[ExtractHederInfo]iStartDataIntoFile: 9"}));
    EXPECT_EQ(old.iNumBanks, 0x11);
    EXPECT_EQ(old.uiBinSize, 0x121314U);
    EXPECT_EQ(old.iStartDataIntoFile, 9);
    EXPECT_EQ(Bytes(old.pData.get(), old.pData.get() + old.uiBinLength), FromText("abc"));

    const Bytes newFile = {'?', 0, 0, 0, 3, 'a', 'b', 'c'};
    PSWHeaderBin fresh;
    ASSERT_EQ(fresh.ExtractHederInfo(View(newFile), 0, nullptr), 0);
    EXPECT_EQ(fresh.iPswType, 1);
    EXPECT_EQ(fresh.iNumBanks, 0);
    EXPECT_EQ(fresh.uiBinSize, 0U);
    EXPECT_EQ(fresh.iStartDataIntoFile, 5);
    EXPECT_EQ(Bytes(fresh.pData.get(), fresh.pData.get() + fresh.uiBinLength), FromText("abc"));
}

template <class Header>
std::unique_ptr<PSWHeader> Make() {
    return std::make_unique<Header>();
}

TEST(HeaderFields, ARecordThatTheFileCutsIsRefusedWithTheFieldsName) {
    const struct {
        Bytes record;
        std::size_t needed;  // bytes up to the end of the last field
        const char* lastField;
        std::unique_ptr<PSWHeader> (*make)();
    } cases[] = {
        {Record('P'), 30, "uiChecksum", Make<PSWHeaderPrinter>},
        {Record('S'), 7, "bex", Make<PSWHeaderSoftware>},
        {Record('s'), 12, "bex", Make<PSWHeaderSoftware>},
        {With(Record('S'), 6, 1, 0xAA), 13, "iIDCustomization", Make<PSWHeaderUpgrade>},
        {With(Record('s'), 11, 1, 0xAA), 18, "iIDCustomization", Make<PSWHeaderUpgrade>},
        {Record('m'), 12, "uiModuleSize", Make<PSWHeaderModule>},
        {With(Record('m'), 1, 1, 's'), 17, "uiBankDim", Make<PSWHeaderModule>},
        {Record('L'), 11, "iNumColors", Make<PSWHeaderLogos>},
        {Record('l'), 16, "strHeaderType", Make<PSWHeaderLogos>},
        {Record('F'), 16, "iSort", Make<PSWHeaderFonts>},
        {Record('f'), 30, "strHeaderType", Make<PSWHeaderFonts>},
        {Record('u'), 9, "strHeaderType", Make<PSWHeaderUSBLoader>},
        {Record('b'), 9, "strHeaderType", Make<PSWHeaderBootLoader>},
        {Record('d'), 11, "strHeaderType", Make<PSWHeaderGenericData>},
        {Record('@'), 8, "uiBinSize", Make<PSWHeaderBin>},
        {Record('?'), 5, "uiBinLength", Make<PSWHeaderBin>},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << static_cast<char>(each.record[0]) << " " << each.lastField);
        const Bytes whole(each.record.begin(),
                          each.record.begin() + static_cast<std::ptrdiff_t>(each.needed));
        const Bytes cut(whole.begin(), whole.end() - 1);
        EXPECT_EQ(each.make()->ExtractHederInfo(View(whole), 0, nullptr), 0);
        LogCapture log;
        EXPECT_EQ(each.make()->ExtractHederInfo(View(cut), 0, nullptr), -1);
        EXPECT_EQ(log.Take("ExtractHederInfo").back(),
                  std::string(each.lastField) + " lies outside the file");
    }
}

}  // namespace

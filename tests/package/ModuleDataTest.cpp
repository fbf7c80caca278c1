#include "package/ModuleData.h"

#include <gtest/gtest.h>

#include <cstring>

#include "harness/LogCapture.h"
#include "package/ModuleBytes.h"

namespace {

using Lines = std::vector<std::string>;

bool Load(ModuleData& module, const Bytes& file) {
    return module.LoadModuleFromMemory(file.data(), static_cast<int>(file.size()));
}

Bytes Body(const ModuleData& module, std::size_t size) {
    return {module.pModuleBuffer.get() + 4102, module.pModuleBuffer.get() + 4102 + size};
}

// All lines but those of keys that were found.
Lines Failures(const Bytes& file) {
    ModuleData module;
    LogCapture log;
    EXPECT_FALSE(Load(module, file));
    Lines lines;
    for (const std::string& line : log.Take()) {
        if (line.find("String Found with Param") == std::string::npos) lines.push_back(line);
    }
    return lines;
}

std::string Extract(const std::string& text) {
    return "[ExtractStringFieldFromHeader]" + text;
}
std::string Param(const std::string& text) {
    return "[ExtractModuleHeaderParams]File not Correct! Exctract param " + text + "!";
}
const std::string kParams = "[LoadModuleFromMemory]File not Correct! Params Error!";
const Lines kOptional = {Extract("FACTORY: not found!"), Extract("NOTE: not found!"),
                         Extract("ENMODE: not found!")};

TEST(ModuleData, ReadsItsHeader) {
    for (const char mark : {'B', 'L'}) {
        ModuleData module;
        const Bytes file =
            ModuleBytes(FromText("body")).Mark(mark).Set("FACTORY:", "F\x01G").Set("NOTE:", "n").File();
        LogCapture log;
        ASSERT_TRUE(Load(module, file));
        EXPECT_EQ(
            log.Take("ExtractStringFieldFromHeader"),
            (Lines{"String Found with Param REL: : 1.00", "String Found with Param MOD_ID: : D",
                   "String Found with Param DATE: : 070324", "String Found with Param CODE: : C1",
                   "String Found with Param FILE_SIZE: : 4112", "String Found with Param FACTORY: : F G",
                   "String Found with Param NOTE: : n", "ENMODE: not found!"}));
        EXPECT_STREQ(module.strRelease, "1.00");
        EXPECT_STREQ(module.strModuleID, "D");
        EXPECT_STREQ(module.strDate, "070324");
        EXPECT_STREQ(module.strCode, "C1");
        EXPECT_STREQ(module.strFactory, "F G");
        EXPECT_STREQ(module.strNote, "n");
        EXPECT_EQ(module.iFileSize, 4112);
        EXPECT_EQ(module.iHeaderLength, 4102);
        EXPECT_EQ(module.iFileLength, 4124);
        EXPECT_EQ(module.iModuleLength, 4124);
        EXPECT_EQ(Bytes(module.pFileBuffer.get(), module.pFileBuffer.get() + 4124), file);
    }
}

TEST(ModuleData, KeepsValuesAsTheyStand) {
    ModuleData module;
    const std::string text(4000, 'x');
    ASSERT_FALSE(Load(module, ModuleBytes({}).LineEnd("\r\n").File())) << "a blank behind the module ID";
    EXPECT_STREQ(module.strModuleID, "D ");
    EXPECT_STREQ(module.strRelease, "1.00 ");
    ASSERT_TRUE(Load(module, ModuleBytes({}).Set("NOTE:", text.substr(0, 3000).c_str()).File()));
    EXPECT_EQ(module.strNote, std::string(255, 'x')) << "cut to the field";
}

TEST(ModuleData, NamesWhatIsWrong) {
    const Bytes good = ModuleBytes(FromText("body")).File();
    const std::size_t size = good.size();
    const auto stored = [&](std::size_t at) { return good[at] * 256 + good[at + 1]; };
    const std::string sum1 = std::to_string(stored(size - 4));
    const std::string sum2 = std::to_string(stored(size - 2));
    const std::string checksums = "[LoadModuleFromMemory]File not Correct! CheckSumOk Error!";
    const std::string endianism = "[LoadModuleFromMemory]File not Correct! Endianism Error!";
    const struct {
        const char* what;
        Bytes file;
        Lines lines;
    } cases[] = {
        {"no mark", ModuleBytes({}).Mark('b').File(), {endianism}},
        {"ends before the mark", FromText("HEADER END"), {endianism}},
        {"ends in the header",
         FromText("HEADER ENDB\nREL:1\n"),
         {"[LoadModuleFromMemory]File not Correct! Length Error!"}},
        {"sum 1",
         With(good, size - 4, 2, 7),
         {"[CheckSumOk]Checksums 1 not Correct! Read value 7 Calc value  " + sum1 + "!", checksums}},
        {"sum 2",
         With(good, size - 2, 2, 7),
         {"[CheckSumOk]Checksums 2 not Correct! Read value 7 Calc value  " + sum2 + "!", checksums}},
        {"no release", ModuleBytes({}).Set("REL:", nullptr).File(),
         Lines{Extract("REL: not found!")} + kOptional + Lines{Param("REL: Error(Value <>)"), kParams}},
        {"empty release", ModuleBytes({}).Set("REL:", "").File(),
         kOptional + Lines{Param("REL: Error(Value <>)"), kParams}},
        {"ID twice", ModuleBytes({}).Twice("MOD_ID:").File(),
         Lines{Extract("MOD_ID: not found!")} + kOptional + Lines{Param("MOD_ID: Error(Value <>)"), kParams}},
        {"two letters", ModuleBytes({}).Set("MOD_ID:", "DF").File(),
         kOptional + Lines{Param("MOD_ID: Error(Value <DF>)"), kParams}},
        {"empty date", ModuleBytes({}).Set("DATE:", "").File(),
         kOptional + Lines{Param("DATE: Error(Value <>)"), kParams}},
        {"empty code", ModuleBytes({}).Set("CODE:", "").File(),
         kOptional + Lines{Param("CODE: Error(Value <>)"), kParams}},
        {"size 0", ModuleBytes({}).Set("FILE_SIZE:", "0").File(),
         kOptional + Lines{Param("FILE_SIZE: Error(Value <0>)"), kParams}},
        {"size off by one", ModuleBytes({}).Set("FILE_SIZE:", "4107").File(),
         kOptional + Lines{Param("FILE_SIZE: Error(Value <4107> and not 4108)"), kParams}},
        {"size beyond an int", ModuleBytes({}).Set("FILE_SIZE:", "4294971404").File(),
         kOptional + Lines{Param("FILE_SIZE: Error(Value <2147483647> and not 4108)"), kParams}},
    };
    for (const auto& each : cases) EXPECT_EQ(Failures(each.file), each.lines) << each.what;

    Bytes unended = good;
    std::fill(unended.begin() + 12, unended.begin() + 4102, 'x');
    std::copy_n("CODE:1", 6, unended.begin() + 4090);
    const Lines lines = Failures(ModuleBytes::WithChecksums(unended));
    EXPECT_EQ(lines[3], Extract("CODE: Error!")) << "no line feed behind the key";
}

// A file with nothing, or less than nothing, between its header and what follows the body.
TEST(ModuleData, RefusesABodyThatCannotBe) {
    for (const int missing : {0, 1, 17}) {
        for (const int mode : {0, 1}) {
            Bytes file = ModuleBytes({})
                             .Key(9, mode)
                             .Set("ENMODE:", mode == 1 ? "1" : "0")
                             .Set("FILE_SIZE:", std::to_string(4108 - missing).c_str())
                             .File();
            file.resize(file.size() - static_cast<std::size_t>(missing));
            file = ModuleBytes::WithChecksums(file);
            ModuleData module;
            LogCapture log;
            EXPECT_EQ(Load(module, file), missing == 0) << missing;
            if (missing == 0) continue;
            EXPECT_EQ(log.Take("DecodingBufferExtractInfo"),
                      Lines{mode == 1 ? "Decryption Buffer, mode 1, Error!"
                                      : "Decryption Buffer, mode PSW, Error!"});
        }
    }
    EXPECT_EQ(Failures(ModuleBytes::WithChecksums(
                           With(ModuleBytes({}).Set("FILE_SIZE:", "4090").File(), 0, 1, 'x')))
                  .back(),
              kParams);
}

TEST(ModuleData, DescramblesByModeAndKey) {
    const Bytes body = FromText(std::string(700, 'q') + "end");
    const struct {
        unsigned char key;
        int mode;
        const char* enmode;
        int encodingMode;
        bool plain;
    } cases[] = {
        {0, -1, nullptr, 0, true}, {0x11, 0, "0", 0, true},  {0x12, 0, "0", 0, true},
        {0x11, 1, "1", 1, true},   {0x12, 1, "1", 1, true},  {0x11, 0, nullptr, -1, false},
        {0x11, 0, "", -1, false},  {0x11, 1, "2", 2, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << int{each.key} << " " << each.mode);
        const Bytes file = ModuleBytes(body).Key(each.key, each.mode).Set("ENMODE:", each.enmode).File();
        ModuleData module;
        ASSERT_TRUE(Load(module, file));
        EXPECT_EQ(module.iEncodingMode, each.encodingMode);
        EXPECT_EQ(module.iScrambleByte, each.key);
        Bytes expected = file;
        if (each.plain) {
            expected[4101] = 0;
            std::copy(body.begin(), body.end(), expected.begin() + 4102);
        }
        EXPECT_EQ(Bytes(module.pModuleBuffer.get(), module.pModuleBuffer.get() + module.iModuleLength),
                  expected);
    }
}

TEST(ModuleData, EveryBitOfTheCheckedRangeCounts) {
    const Bytes good = ModuleBytes(Bytes(66000, 0x5A)).File();  // the second sum's index passes 16 bits
    ModuleData module;
    ASSERT_TRUE(Load(module, good));
    const std::size_t size = good.size();
    for (const std::size_t at : {std::size_t{6}, std::size_t{4102}, std::size_t{65541}, std::size_t{65542},
                                 size - 7, size - 4, size - 1}) {
        EXPECT_FALSE(Load(module, With(good, at, 1, good[at] ^ 0x80U))) << at;
    }
    for (const std::size_t at : {std::size_t{0}, std::size_t{5}, size - 6, size - 5}) {
        EXPECT_TRUE(Load(module, With(good, at, 1, good[at] ^ 0x80U))) << at << " is not covered";
    }
    Bytes swapped = good;  // the same sum, bytes in another order
    std::swap(swapped[7], swapped[8]);
    EXPECT_FALSE(Load(module, swapped));
}

TEST(ModuleData, KindsHaveTheirCodeAndLine) {
    const struct {
        const char* letter;
        int id;
        const char* type;
        const char* line;
    } kinds[] = {
        {"D", 2, "DISK MODULE", "DISK MODULE"}, {"F", 1, "FONT MODULE", "FONT MODULE:"},
        {"H", 4, "", "RFID_HF MODULE:"},        {"I", 8, "", "RFID_UHF MODULE:"},
        {"E", 16, "", "BLUETOOTH MODULE:"},     {"L", 64, "", "LOGOS MODULE:"},
        {"N", 128, "", "RADIO_ISM MODULE:"},    {"O", 128, "", "CAMERA MODULE:"},
        {"d", 0x8000, "", "OTHER MODULE:"},
    };
    const std::string dashes = std::string(48, '-') + "\n";
    for (const auto& kind : kinds) {
        ModuleData module;
        ASSERT_TRUE(
            Load(module,
                 ModuleBytes({}).Set("MOD_ID:", kind.letter).Set("FACTORY:", "f").Set("NOTE:", "n").File()));
        EXPECT_EQ(module.GetModuleID(), kind.id) << kind.letter;
        char text[8192] = "replaced";
        module.GetFileInfo(text, sizeof text);
        std::string expected = dashes;
        for (const char* piece :
             {"Type:       ", kind.type, "\nRelease:    1.00\nFactory:    f\nNote:       n\n",
              "Code:       C1\n", dashes.c_str(), "\n", kind.line, "\n"}) {
            expected += piece;
        }
        EXPECT_EQ(text, expected);
        char small[10] = "replaced";
        module.GetFileInfo(small, 6);
        EXPECT_STREQ(small, "-----");
    }
    EXPECT_EQ(ModuleData().GetModuleID(), 0x8000);
}

// A font record: its mark and name, the byte at 26 and the code at 37.
Bytes Font(const std::string& name, char mark, unsigned char code) {
    Bytes record = FromText("FNT:" + name);
    record.resize(40, 0);
    return With(With(record, 26, 1, static_cast<unsigned char>(mark)), 37, 1, code);
}

TEST(ModuleData, ListsItsFonts) {
    const Bytes body = Font("First", 'N', 7) + Font("Sixteen letters.and more", 'n', 8) + Font("", 'N', 255) +
                       FromText("FNT:cut");
    ModuleData module;
    ASSERT_TRUE(Load(
        module,
        ModuleBytes(body).Set("MOD_ID:", "F").Key(3, 1).Set("ENMODE:", "1").Set("NOTE:", "FNT:none").File()));
    // What follows the last mark is the end of the file: 14 bytes of filling and the checksums.
    const std::string info = module.strInfo;
    const std::string start =
        "\nFONT MODULE:\n  First (Code: 7) (Code: 7)\n  Sixteen letters.\n   (Code: 255) (Code: 255)\n  cut";
    EXPECT_EQ(info.substr(0, start.size()), start);
    EXPECT_EQ(std::count(info.begin(), info.end(), '\n'), 6);

    Bytes many;
    for (int i = 0; i < 2000; ++i) many = std::move(many) + Font("Sixteen letters.", 'N', 9);
    ASSERT_TRUE(Load(module, ModuleBytes(many).Set("MOD_ID:", "F").File()));
    EXPECT_EQ(std::strlen(module.strInfo), 8191U) << "cut to the field";
}

TEST(ModuleData, BuffersAreKeptOrGivenUpByTheKindOfLoad) {
    const Bytes bad = ModuleBytes({}).Mark('x').File();
    ModuleData memory;
    EXPECT_FALSE(Load(memory, bad));
    EXPECT_EQ(memory.pFileBuffer, nullptr);
    EXPECT_EQ(memory.pModuleBuffer, nullptr);
    EXPECT_EQ(memory.pHeaderBuffer, nullptr);
    ModuleData file;
    LogCapture log;
    EXPECT_FALSE(file.LoadModuleFromFile(TemporaryFile(bad).Name()));
    EXPECT_NE(file.pFileBuffer, nullptr);
    EXPECT_NE(file.pModuleBuffer, nullptr);
    EXPECT_EQ(log.Take(), Lines{"[LoadModuleFromFile]File not Correct! Endianism Error!"});
    EXPECT_FALSE(file.LoadModuleFromFile("/no/such/file"));
    EXPECT_FALSE(file.LoadModuleFromMemory(nullptr, 5));
    EXPECT_FALSE(file.LoadModuleFromMemory(bad.data(), 0));
    EXPECT_TRUE(log.Take().empty());
    EXPECT_TRUE(file.LoadModuleFromFile(TemporaryFile(ModuleBytes(FromText("b")).File()).Name()));
    EXPECT_EQ(Body(file, 1), FromText("b"));
}

}  // namespace

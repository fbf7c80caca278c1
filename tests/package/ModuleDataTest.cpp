#include "package/ModuleData.h"

#include <gtest/gtest.h>

#include <cstring>

#include "harness/LogCapture.h"
#include "package/ModuleBytes.h"

namespace {

bool Load(ModuleData& module, const Bytes& file) {
    return module.LoadModuleFromMemory(file.data(), static_cast<int>(file.size()));
}

/// All lines of a load that fails but those of keys that were found, without the tag.
Lines Failures(const Bytes& file) {
    ModuleData module;
    LogCapture log;
    EXPECT_FALSE(Load(module, file));
    Lines lines;
    for (const std::string& line : log.Take()) {
        if (line.find("String Found") == std::string::npos) lines.push_back(line.substr(line.find(']') + 1));
    }
    return lines;
}

TEST(ModuleData, ReadsItsHeader) {
    const std::string longNote(3000, 'x');
    const Bytes file = Module(EditedLines("f\nNOTE:n\nENMODE:0\n", "F\x01G\r\nNOTE:" + longNote + "\n"),
                              BytesOf("body"), 0, 0, 'L');
    ModuleData module;
    LogCapture log;
    ASSERT_TRUE(Load(module, file));
    EXPECT_EQ(log.Take("ExtractStringFieldFromHeader"),
              (Lines{"String Found with Param REL: : 1.00", "String Found with Param MOD_ID: : D",
                     "String Found with Param DATE: : 070324", "String Found with Param CODE: : C1",
                     "String Found with Param FILE_SIZE: : 4112", "String Found with Param FACTORY: : F G ",
                     "String Found with Param NOTE: : " + longNote.substr(0, 255), "ENMODE: not found!"}));
    for (const auto& [held, expected] : {std::pair{module.strRelease, "1.00"},
                                         {module.strModuleID, "D"},
                                         {module.strDate, "070324"},
                                         {module.strCode, "C1"},
                                         {module.strFactory, "F G "}})
        EXPECT_STREQ(held, expected);
    EXPECT_EQ(module.strNote, longNote.substr(0, 255)) << "cut to the field";
    EXPECT_EQ(module.iFileSize, 4112);
    EXPECT_EQ(module.iHeaderLength, 4102);
    EXPECT_EQ(module.iModuleLength, 4124);
    EXPECT_EQ(Bytes(module.pFileBuffer.get(), module.pFileBuffer.get() + module.iFileLength), file);
}

TEST(ModuleData, NamesTheParameterThatIsWrong) {
    const struct {
        const char* from;
        const char* to;
        Lines lines;  // "param" stands for what begins each parameter's line
    } cases[] = {
        {"REL:1.00\n", "", {"REL: not found!", "param REL: Error(Value <>)!"}},
        {"REL:1.00", "REL:", {"param REL: Error(Value <>)!"}},
        {"FACTORY:f", "FACTORY:MOD_ID:", {"MOD_ID: not found!", "param MOD_ID: Error(Value <>)!"}},
        {"MOD_ID:D", "MOD_ID:DF", {"param MOD_ID: Error(Value <DF>)!"}},
        {"MOD_ID:D", "MOD_ID:D\r", {"param MOD_ID: Error(Value <D >)!"}},
        {"070324", "", {"param DATE: Error(Value <>)!"}},
        {"CODE:C1", "CODE:", {"param CODE: Error(Value <>)!"}},
        {"C1\nFILE_SIZE:#\nFACTORY:f\nNOTE:n\nENMODE:0\n",
         "",
         {"CODE: Error!", "FILE_SIZE: not found!", "FACTORY: not found!", "NOTE: not found!",
          "ENMODE: not found!", "param CODE: Error(Value <>)!"}},
        {"#", "0", {"param FILE_SIZE: Error(Value <0>)!"}},
        {"#", "4107", {"param FILE_SIZE: Error(Value <4107> and not 4108)!"}},
        {"#", "4294971404", {"param FILE_SIZE: Error(Value <2147483647> and not 4108)!"}},
    };
    for (const auto& each : cases) {
        Lines lines = each.lines;
        lines.back().insert(0, "File not Correct! Exctract ");
        lines.emplace_back("File not Correct! Params Error!");
        EXPECT_EQ(Failures(Module(EditedLines(each.from, each.to))), lines) << each.to;
    }
}

TEST(ModuleData, RefusesBytesThatAreNoModule) {
    const Bytes good = Module(kModuleLines, Bytes(66000, 0x5A));  // the second sum's index passes 16 bits
    const std::size_t size = good.size();
    const auto stored = [&](std::size_t at) { return std::to_string(good[at] * 256 + good[at + 1]) + "!"; };
    const char* const checksums = "File not Correct! CheckSumOk Error!";
    EXPECT_EQ(Failures(With(good, size - 4, 2, 7)),
              (Lines{"Checksums 1 not Correct! Read value 7 Calc value  " + stored(size - 4), checksums}));
    EXPECT_EQ(Failures(With(good, size - 2, 2, 7)),
              (Lines{"Checksums 2 not Correct! Read value 7 Calc value  " + stored(size - 2), checksums}));
    EXPECT_EQ(Failures(Module(kModuleLines, {}, 0, 0, 'b')), Lines{"File not Correct! Endianism Error!"});
    EXPECT_EQ(Failures(BytesOf("HEADER END")), Lines{"File not Correct! Endianism Error!"});
    EXPECT_EQ(Failures(BytesOf("HEADER ENDB\nREL:1\n")), Lines{"File not Correct! Length Error!"});

    ModuleData module;
    for (const std::size_t at :
         {std::size_t{6}, std::size_t{4102}, std::size_t{65541}, std::size_t{65542}, size - 7})
        EXPECT_FALSE(Load(module, With(good, at, 1, good[at] ^ 0x80U))) << at;
    for (const std::size_t at : {std::size_t{0}, std::size_t{5}, size - 6, size - 5})
        EXPECT_TRUE(Load(module, With(good, at, 1, good[at] ^ 0x80U))) << at << " is not covered";
    Bytes swapped = good;  // the same sum, bytes in another order
    std::swap(swapped[7], swapped[8]);
    EXPECT_FALSE(Load(module, swapped));
}

TEST(ModuleData, DescramblesByModeAndKey) {
    const Bytes body = BytesOf(std::string(700, 'q') + "end");
    const struct {
        unsigned char key;
        int mode;
        const char* line;
        int encodingMode;
        bool plain;
    } cases[] = {
        {0, 0, "", 0, true},
        {0x11, 0, "ENMODE:0\n", 0, true},
        {0x12, 0, "ENMODE:0\n", 0, true},
        {0x12, 1, "ENMODE:1\n", 1, true},
        {0x11, 0, "", -1, false},
        {0x11, 0, "ENMODE:\n", -1, false},
        {0x11, 1, "ENMODE:2\n", 2, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << int{each.key} << " " << each.line);
        const Bytes file = Module(EditedLines("ENMODE:0\n", each.line), body, each.key, each.mode);
        ModuleData module;
        ASSERT_TRUE(Load(module, file));
        EXPECT_EQ(module.iEncodingMode, each.encodingMode);
        EXPECT_EQ(module.iScrambleByte, each.key);
        Bytes expected = each.plain ? With(file, 4101, 1, 0) : file;
        if (each.plain) std::copy(body.begin(), body.end(), expected.begin() + 4102);
        EXPECT_EQ(Bytes(module.pModuleBuffer.get(), module.pModuleBuffer.get() + module.iModuleLength),
                  expected);
    }
}

// A scrambled body of less than no bytes: the file ends where what follows the body should stand.
TEST(ModuleData, RefusesABodyThatCannotBe) {
    for (const char* const mode : {"0", "1"}) {
        for (const std::size_t missing : {std::size_t{0}, std::size_t{1}, std::size_t{17}}) {
            const Bytes whole = Module(EditedLines("#\nFACTORY:f\nNOTE:n\nENMODE:0",
                                                   std::to_string(4108 - missing) + "\nENMODE:" + mode),
                                       {}, 9);
            ModuleData module;
            LogCapture log;
            EXPECT_EQ(Load(module, WithChecksums(Slice(whole, 0, whole.size() - missing))), missing == 0);
            const std::string name = *mode == '1' ? "mode 1" : "mode PSW";
            EXPECT_EQ(log.Take("DecodingBufferExtractInfo"),
                      missing == 0 ? Lines{} : Lines{"Decryption Buffer, " + name + ", Error!"});
        }
    }
}

TEST(ModuleData, KindsHaveTheirCodeAndLine) {
    const struct {
        const char* letter;
        int id;
        std::string type;
        std::string line;
    } kinds[] = {
        {"D", 2, "DISK MODULE", "DISK MODULE"}, {"F", 1, "FONT MODULE", "FONT MODULE:"},
        {"H", 4, "", "RFID_HF MODULE:"},        {"I", 8, "", "RFID_UHF MODULE:"},
        {"E", 16, "", "BLUETOOTH MODULE:"},     {"L", 64, "", "LOGOS MODULE:"},
        {"N", 128, "", "RADIO_ISM MODULE:"},    {"O", 128, "", "CAMERA MODULE:"},
        {"d", 0x8000, "", "OTHER MODULE:"},
    };
    const std::string dashes = std::string(48, '-') + "\n";
    const auto described = [&](const std::string& type, const std::string& line) {
        return dashes + "Type:       " + type + "\nRelease:    1.00\nFactory:    f\nNote:       n\n" +
               "Code:       C1\n" + dashes + "\n" + line + "\n";
    };
    for (const auto& kind : kinds) {
        ModuleData module;
        ASSERT_TRUE(Load(module, Module(EditedLines("ID:D", std::string("ID:") + kind.letter))));
        EXPECT_EQ(module.GetModuleID(), kind.id) << kind.letter;
        char text[8192] = "replaced";
        module.GetFileInfo(text, sizeof text);
        EXPECT_EQ(text, described(kind.type, kind.line));
        module.GetFileInfo(text, 6);
        EXPECT_STREQ(text, "-----");
    }
    EXPECT_EQ(ModuleData().GetModuleID(), 0x8000);
}

/// A font record: its mark and name, the byte at 26 and the code at 37.
Bytes Font(const std::string& name, unsigned char mark, unsigned char code) {
    Bytes record = BytesOf("FNT:" + name);
    record.resize(40, 0);
    return With(With(record, 26, 1, mark), 37, 1, code);
}

TEST(ModuleData, ListsItsFonts) {
    const Bytes body = Font("Fi\x1Brst", 'N', 7) + Font("Sixteen letters.and more", 'n', 8) +
                       Font("", 'N', 255) + BytesOf("FNT:cut");
    ModuleData module;
    ASSERT_TRUE(Load(module, Module(EditedLines("D\nDATE:", "F\nDATE:FNT:"), body, 3)));
    // What follows the last mark is the end of the file: 14 bytes of filling and the checksums.
    const std::string info = module.strInfo;
    const std::string start =
        "\nFONT MODULE:\n  Fi rst (Code: 7) (Code: 7)\n  Sixteen letters.\n"
        "   (Code: 255) (Code: 255)\n  cut";
    EXPECT_EQ(info.substr(0, start.size()), start);
    EXPECT_EQ(std::count(info.begin(), info.end(), '\n'), 6);

    Bytes many;
    for (int i = 0; i < 400; ++i) many = std::move(many) + Font("Sixteen letters.", 'N', 9);
    ASSERT_TRUE(Load(module, Module(EditedLines("ID:D", "ID:F"), many)));
    EXPECT_EQ(std::strlen(module.strInfo), 8191U) << "cut to the field";
}

TEST(ModuleData, BuffersAreKeptOrGivenUpByTheKindOfLoad) {
    const Bytes bad = Module(kModuleLines, {}, 0, 0, 'x');
    ModuleData memory;
    EXPECT_FALSE(Load(memory, bad));
    EXPECT_TRUE(memory.pFileBuffer == nullptr && memory.pModuleBuffer == nullptr &&
                memory.pHeaderBuffer == nullptr);
    ModuleData file;
    LogCapture log;
    EXPECT_FALSE(file.LoadModuleFromFile(TemporaryFile(bad).Name()));
    EXPECT_TRUE(file.pFileBuffer != nullptr && file.pModuleBuffer != nullptr);
    EXPECT_EQ(log.Take(), Lines{"[LoadModuleFromFile]File not Correct! Endianism Error!"});
    EXPECT_FALSE(file.LoadModuleFromFile("/no/such/file"));
    EXPECT_FALSE(file.LoadModuleFromMemory(nullptr, 5));
    EXPECT_FALSE(file.LoadModuleFromMemory(bad.data(), 0));
    EXPECT_TRUE(log.Take().empty());
    EXPECT_TRUE(file.LoadModuleFromFile(TemporaryFile(Module(kModuleLines)).Name()));
}

}  // namespace

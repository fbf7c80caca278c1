#include "package/ModuleData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "harness/LogCapture.h"
#include "package/ModuleBytes.h"

namespace {

bool Load(ModuleData& module, const Bytes& file) {
    return module.LoadModuleFromMemory(file.data(), static_cast<int>(file.size()));
}

TEST(ModuleData, ReadsItsHeader) {
    const std::string longNote(3000, 'x');
    ModuleData module;
    LogCapture log;
    ASSERT_TRUE(Load(module, Module(EditedLines("f\nNOTE:n\nENMODE:0\n", "F\x01G\r\nNOTE:" + longNote + "\n"),
                                    BytesOf("body"), 0, 0, 'L')));
    const std::string found = "String Found with Param ";
    EXPECT_EQ(Joined(log.Take("ExtractStringFieldFromHeader")),
              found + "REL: : 1.00|" + found + "MOD_ID: : D|" + found + "DATE: : 070324|" + found +
                  "CODE: : C1|" + found + "FILE_SIZE: : 4112|" + found + "FACTORY: : F G |" + found +
                  "NOTE: : " + longNote.substr(0, 255) + "|ENMODE: not found!");
    EXPECT_EQ(
        Joined({module.strRelease, module.strModuleID, module.strDate, module.strCode, module.strFactory}),
        "1.00|D|070324|C1|F G ");
    EXPECT_EQ(module.strNote, longNote.substr(0, 255)) << "cut to the field";
    EXPECT_EQ(module.iFileSize, 4112);
}

/// All lines of a load that fails but those of keys that were found, without the tag.
std::string Failures(const Bytes& file) {
    ModuleData module;
    LogCapture log;
    EXPECT_FALSE(Load(module, file));
    Lines lines;
    for (const std::string& line : log.Take())
        if (line.find("String Found") == std::string::npos) lines.push_back(line.substr(line.find(']') + 1));
    return Joined(lines);
}

TEST(ModuleData, NamesTheParameterThatIsWrong) {
    const struct {
        const char* from;
        const char* to;
        std::string lines;  // "param" stands for what begins each parameter's line
    } cases[] = {
        {"REL:1.00\n", "", "REL: not found!|param REL: Error(Value <>)!"},
        {"REL:1.00", "REL:", "param REL: Error(Value <>)!"},
        {"FACTORY:f", "FACTORY:MOD_ID:", "MOD_ID: not found!|param MOD_ID: Error(Value <>)!"},
        {"MOD_ID:D", "MOD_ID:D\r", "param MOD_ID: Error(Value <D >)!"},
        {"070324", "", "param DATE: Error(Value <>)!"},
        {"CODE:C1", "CODE:", "param CODE: Error(Value <>)!"},
        {"C1\nFILE_SIZE:#\nFACTORY:f\nNOTE:n\nENMODE:0\n", "",
         "CODE: Error!|FILE_SIZE: not found!|FACTORY: not found!|NOTE: not found!|ENMODE: not found!|"
         "param CODE: Error(Value <>)!"},
        {"#", "0", "param FILE_SIZE: Error(Value <0>)!"},
        {"#", "4107", "param FILE_SIZE: Error(Value <4107> and not 4108)!"},
        {"#", "4294971404", "param FILE_SIZE: Error(Value <2147483647> and not 4108)!"},
    };
    for (const auto& each : cases) {
        std::string lines = each.lines;
        lines.insert(lines.find("param "), "File not Correct! Exctract ");
        EXPECT_EQ(Failures(Module(EditedLines(each.from, each.to))),
                  lines + "|File not Correct! Params Error!");
    }
}

TEST(ModuleData, RefusesBytesThatAreNoModule) {
    const Bytes good = Module(kModuleLines, Bytes(66000, 0x5A));  // the second sum's index passes 16 bits
    const std::size_t size = good.size();
    const auto stored = [&](std::size_t at) { return std::to_string(good[at] * 256 + good[at + 1]); };
    for (const std::size_t number : {std::size_t{1}, std::size_t{2}}) {
        const std::size_t at = size - 6 + 2 * number;
        EXPECT_EQ(Failures(With(good, at, 2, 7)), "Checksums " + std::to_string(number) +
                                                      " not Correct! Read value 7 Calc value  " + stored(at) +
                                                      "!|File not Correct! CheckSumOk Error!");
    }
    EXPECT_EQ(Failures(Module(kModuleLines, {}, 0, 0, 'b')), "File not Correct! Endianism Error!");
    EXPECT_EQ(Failures(BytesOf("HEADER END")), "File not Correct! Endianism Error!");
    EXPECT_EQ(Failures(BytesOf("HEADER ENDB\nREL:1\n")), "File not Correct! Length Error!");
    for (const std::size_t at : {std::size_t{0}, std::size_t{5}, std::size_t{6}, std::size_t{4102},
                                 std::size_t{65542}, size - 7, size - 6}) {
        ModuleData module;
        const bool covered = at > 5 && at < size - 6;
        EXPECT_EQ(Load(module, With(good, at, 1, good[at] ^ 0x80U)), !covered) << at;
    }
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
        {0, 0, "", 0, true},      {0x11, 0, "ENMODE:0\n", 0, true},  {0x12, 1, "ENMODE:1\n", 1, true},
        {0x11, 0, "", -1, false}, {0x11, 0, "ENMODE:\n", -1, false}, {0x11, 1, "ENMODE:2\n", 2, false},
    };
    for (const auto& each : cases) {
        const Bytes file = Module(EditedLines("ENMODE:0\n", each.line), body, each.key, each.mode);
        ModuleData module;
        ASSERT_TRUE(Load(module, file));
        EXPECT_EQ(module.iEncodingMode, each.encodingMode);
        Bytes expected = each.plain ? With(file, 4101, 1, 0) : file;
        if (each.plain) std::copy(body.begin(), body.end(), expected.begin() + 4102);
        EXPECT_EQ(Bytes(module.pModuleBuffer.get(), module.pModuleBuffer.get() + module.iModuleLength),
                  expected);
    }
    // A scrambled body of less than no bytes: the file ends where what follows the body should stand.
    for (const std::string mode : {"0", "1"}) {
        const Bytes whole =
            Module(EditedLines("#\nFACTORY:f\nNOTE:n\nENMODE:0", "4107\nENMODE:" + mode), {}, 9);
        EXPECT_EQ(Failures(WithChecksums(Slice(whole, 0, whole.size() - 1))),
                  "FACTORY: not found!|NOTE: not found!|Decryption Buffer, mode " +
                      std::string(mode == "1" ? "1" : "PSW") + ", Error!|File not Correct! Decoding Error!");
    }
}

/// A font record: its mark and name, the byte at 26 and the code at 37.
Bytes Font(const std::string& name, unsigned char mark, unsigned char code) {
    Bytes record = BytesOf("FNT:" + name);
    record.resize(40, 0);
    return With(With(record, 26, 1, mark), 37, 1, code);
}

TEST(ModuleData, IsDescribed) {
    const std::tuple<const char*, int, const char*, const char*> kinds[] = {
        {"D", 2, "DISK MODULE", "DISK MODULE"},
        {"H", 4, "", "RFID_HF MODULE:"},
        {"I", 8, "", "RFID_UHF MODULE:"},
        {"E", 16, "", "BLUETOOTH MODULE:"},
        {"L", 64, "", "LOGOS MODULE:"},
        {"N", 128, "", "RADIO_ISM MODULE:"},
        {"O", 128, "", "CAMERA MODULE:"},
        {"d", 0x8000, "", "OTHER MODULE:"},
        {"F", 1, "FONT MODULE",
         "FONT MODULE:\n  Fi rst (Code: 7) (Code: 7)\n  Sixteen letters.\n   (Code: 255) (Code: 255)"}};
    const std::string dashes = std::string(48, '-') + "\n";
    const Bytes fonts =
        Font("Fi\x9Brst", 'N', 7) + Font("Sixteen letters.and more", 'n', 8) + Font("", 'N', 255);
    char text[16384];
    for (const auto& [letter, id, type, line] : kinds) {
        ModuleData module;
        ASSERT_TRUE(
            Load(module, Module(EditedLines("D\nDATE:", letter + std::string("\nDATE:FNT:")), fonts, 3)));
        EXPECT_EQ(module.GetModuleID(), id);
        module.GetFileInfo(text, sizeof text);
        EXPECT_EQ(text, dashes + "Type:       " + type +
                            "\nRelease:    1.00\nFactory:    f\nNote:       n\n" + "Code:       C1\n" +
                            dashes + "\n" + line + "\n");
        module.GetFileInfo(text, 6);
        EXPECT_STREQ(text, "-----");
    }
    Bytes many;
    for (int i = 0; i < 400; ++i) many = std::move(many) + Font("Sixteen letters.", 'N', 9);
    ModuleData module;
    ASSERT_TRUE(Load(module, Module(EditedLines("ID:D", "ID:F"), many + BytesOf("FNT:cut"))));
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
    EXPECT_TRUE(log.Take().empty());
    EXPECT_TRUE(file.LoadModuleFromFile(TemporaryFile(Module(kModuleLines)).Name()));
}

}  // namespace

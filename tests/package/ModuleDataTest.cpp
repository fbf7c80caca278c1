#include "package/ModuleData.h"

#include <cstring>

#include "harness/LogCapture.h"
#include "package/PackageBytes.h"

namespace {

using simulator::ModuleSample;

bool Load(ModuleData& module, const Bytes& file) {
    return module.LoadModuleFromMemory(file.data(), static_cast<int>(file.size()));
}

/// What is said of the file but the keys that are found. Empty when it is taken.
std::string Failures(const Bytes& file) {
    ModuleData module;
    LogCapture log;
    const bool loaded = Load(module, file);
    Lines lines;
    for (const std::string& line : log.Take())
        if (line.find("String Found") == std::string::npos) lines.push_back(line.substr(line.find(']') + 1));
    EXPECT_EQ(loaded, lines.empty());
    return Joined(lines);
}

TEST(ModuleData, SaysWhatIsWrong) {
    const std::tuple<const char*, const char*, std::string> edits[] = {
        // "$" stands for what begins each parameter's line
        {"REL:1.00\n", "", "REL: not found!|$REL: Error(Value <>)!"},
        {"REL:1.00", "REL:", "$REL: Error(Value <>)!"},
        {"SIMULATED", "MOD_ID:", "MOD_ID: not found!|$MOD_ID: Error(Value <>)!"},
        {"MOD_ID:F", "MOD_ID:F\r", "$MOD_ID: Error(Value <F >)!"},
        {"21/11/2026", "", "$DATE: Error(Value <>)!"},
        {"FNT-001", "", "$CODE: Error(Value <>)!"},
        {"FNT-001\nFILE_SIZE:10108\nFACTORY:SIMULATED\nNOTE:SAMPLE\nENMODE:1\n", "",
         "CODE: Error!|FILE_SIZE: not found!|FACTORY: not found!|NOTE: not found!|ENMODE: not found!|"
         "$CODE: Error(Value <>)!"},
        {"10108", "0", "$FILE_SIZE: Error(Value <0>)!"},
        {"10108", "10107", "$FILE_SIZE: Error(Value <10107> and not 10108)!"},
        {"10108", "4294971404", "$FILE_SIZE: Error(Value <2147483647> and not 10108)!"}};
    for (auto [from, to, lines] : edits) {
        lines.replace(lines.find('$'), 1, "File not Correct! Exctract param ");
        EXPECT_EQ(Failures(Module({}, from, to)), lines + "|File not Correct! Params Error!");
    }
    EXPECT_EQ(Failures(Module({}, "ENDIAN:B", "ENDIAN:L")), "");
    EXPECT_EQ(Failures(Module({}, "ENDIAN:B", "ENDIAN:b")), "File not Correct! Endianism Error!");
    EXPECT_EQ(Failures(BytesOf("M1\nENDIAN:")), "File not Correct! Endianism Error!");
    EXPECT_EQ(Failures(BytesOf("M1\nENDIAN:B\nREL:1\n")), "File not Correct! Length Error!");

    ModuleSample large;
    large.bodySize = 66000;  // the second sum's index passes 16 bits
    const Bytes good = Module(large);
    const std::size_t size = good.size();
    const auto bent = [&](std::size_t at) { return Failures(With(good, at, 1, good[at] ^ 0x80U)); };
    EXPECT_EQ(bent(0) + bent(5) + bent(size - 6), "") << "not covered by the sums";
    for (const std::size_t at : {std::size_t{6}, std::size_t{65542}, size - 7, size - 4})
        EXPECT_THAT(bent(at), testing::StartsWith("Checksums 1 not Correct! Read value "));
    EXPECT_EQ(Failures(With(good, size - 2, 2, 7)),
              "Checksums 2 not Correct! Read value 7 Calc value  " +
                  std::to_string(good[size - 2] * 256 + good[size - 1]) +
                  "!|File not Correct! CheckSumOk Error!");
}

TEST(ModuleData, DescramblesByModeAndKey) {
    for (const unsigned char key : Bytes{0, 0x11, 0x12}) {
        for (const int mode : {-1, 0, 1, 2}) {
            ModuleSample sample;
            sample.encodingMode = mode;
            sample.key = key;
            const Bytes file = Module(sample);
            ModuleData module;
            ASSERT_TRUE(Load(module, file));
            EXPECT_EQ(module.iEncodingMode, mode < 0 && key == 0 ? 0 : mode);
            EXPECT_EQ(Bytes(module.pModuleBuffer.get(), module.pModuleBuffer.get() + module.iModuleLength),
                      simulator::SampleFiles::AsSent(file));
        }
    }
}

/// A font record: its mark and name, the byte at 26 and the code at 37.
Bytes Font(const std::string& name, unsigned char mark, unsigned char code) {
    Bytes record = BytesOf("FNT:" + name);
    record.resize(40, 0);
    return With(With(record, 26, 1, mark), 37, 1, code);
}

TEST(ModuleData, IsDescribed) {
    const std::tuple<char, int, const char*, const char*> kinds[] = {
        {'D', 2, "DISK MODULE", "DISK MODULE"},
        {'H', 4, "", "RFID_HF MODULE:"},
        {'I', 8, "", "RFID_UHF MODULE:"},
        {'E', 16, "", "BLUETOOTH MODULE:"},
        {'L', 64, "", "LOGOS MODULE:"},
        {'N', 128, "", "RADIO_ISM MODULE:"},
        {'O', 128, "", "CAMERA MODULE:"},
        {'d', 0x8000, "", "OTHER MODULE:"},
        {'F', 1, "FONT MODULE",
         "FONT MODULE:\n  Fi rst (Code: 7) (Code: 7)\n  Sixteen letters.\n   (Code: 255) (Code: 255)"}};
    const std::string dashes = std::string(48, '-') + "\n";
    const Bytes fonts =
        Font("Fi\x9Brst", 'N', 7) + Font("Sixteen letters.and more", 'n', 8) + Font("", 'N', 255);
    ModuleSample sample;
    sample.key = 0;
    for (const auto& [letter, id, type, line] : kinds) {
        sample.kind = letter;
        Bytes file = Module(sample);
        std::fill_n(file.begin() + simulator::ModuleImage::kHeader, sample.bodySize, ' ');
        std::copy(fonts.begin(), fonts.end(), file.begin() + simulator::ModuleImage::kHeader);
        simulator::ModuleImage::StoreSums(file);
        ModuleData module;
        ASSERT_TRUE(Load(module, file));
        EXPECT_EQ(module.GetModuleID(), id);
        const std::string all = dashes + "Type:       " + type +
                                "\nRelease:    1.00\nFactory:    SIMULATED\n" +
                                "Note:       SAMPLE\nCode:       FNT-001\n" + dashes + "\n" + line + "\n";
        for (const std::size_t size : {std::size_t{6}, all.size(), all.size() + 1}) {
            std::string text(size, '#');
            module.GetFileInfo(text.data(), size);
            EXPECT_EQ(text.c_str(), all.substr(0, size - 1));
        }
    }
}

}  // namespace

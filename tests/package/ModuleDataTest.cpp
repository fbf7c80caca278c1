#include "package/ModuleData.h"

#include <regex>

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
    const char* const edits[] = {"REL:1.00\n>",
                                 "REL:1.00>REL:",
                                 "SIMULATED>MOD_ID:",
                                 "MOD_ID:F>MOD_ID:F\r",
                                 "21/11/2026>",
                                 "FNT-001>",
                                 "FNT-001\nFILE_SIZE:10108\nFACTORY:SIMULATED\nNOTE:SAMPLE\nENMODE:1\n>",
                                 "10108>0",
                                 "10108>10107",
                                 "10108>4294971404",
                                 "ENDIAN:B>ENDIAN:L",
                                 "ENDIAN:B>ENDIAN:b"};
    std::string text;
    for (const std::string edit : edits) {
        const std::size_t to = edit.find('>');
        text += Failures(Module({}, edit.substr(0, to), edit.substr(to + 1))) + "; ";
    }
    text += Failures(BytesOf("M1\nENDIAN:")) + "; " + Failures(BytesOf("M1\nENDIAN:B\nREL:1\n")) + "\n";
    ModuleSample large;
    large.bodySize = 66000;  // the second sum's index passes 16 bits
    const Bytes good = Module(large);
    const std::size_t size = good.size();  // the sums do not cover the first six bytes and the last
    for (const std::size_t at : {std::size_t{0}, std::size_t{5}, size - 6, std::size_t{6}, std::size_t{65542},
                                 size - 7, size - 4, size - 2, size - 1})
        text += Failures(With(good, at, 1, good[at] ^ 0x80U)) + "; ";
    ExpectRecorded("modules", text + "\n");
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
    const Bytes fonts =
        Font("Fi\x9Brst", 'N', 7) + Font("Sixteen letters.and more", 'n', 8) + Font("", 'N', 255);
    ModuleSample sample;
    sample.key = 0;
    std::string texts;
    for (const char letter : {'D', 'H', 'I', 'E', 'L', 'N', 'O', 'd', 'F'}) {
        sample.kind = letter;
        Bytes file = Module(sample);
        std::fill_n(file.begin() + simulator::ModuleImage::kHeader, sample.bodySize, ' ');
        std::copy(fonts.begin(), fonts.end(), file.begin() + simulator::ModuleImage::kHeader);
        simulator::ModuleImage::StoreSums(file);
        ModuleData module;
        ASSERT_TRUE(Load(module, file));
        const auto info = [&](std::size_t size) {
            std::string text(size, '#');
            module.GetFileInfo(text.data(), size);
            return std::string(text.c_str());
        };
        const std::string all = info(1000);
        for (const std::size_t size : {std::size_t{6}, all.size(), all.size() + 1})
            EXPECT_EQ(info(size), all.substr(0, size - 1));
        texts += letter + std::to_string(module.GetModuleID()) + " " + all;
    }
    std::replace(texts.begin(), texts.end(), '\n', '|');
    ExpectRecorded("module-texts", std::regex_replace(texts, std::regex("-{48}"), "-48-") + "\n");
}

}  // namespace

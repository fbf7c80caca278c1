// A package from its bytes to what it delivers.
#include "package/PSWFile.h"

#include <sys/stat.h>

#include <regex>
#include <sstream>
#include <tuple>

#include "harness/LogCapture.h"
#include "package/PSWHeaderFonts.h"
#include "package/PSWHeaderLogos.h"
#include "package/PackageBytes.h"

namespace {

const Bytes kPayload = Counting(600);

/// A header record of 32 bytes: the marker, then zeros, then what is put at an offset.
Bytes Record(const std::string& marker, std::size_t offset = 1, const Bytes& put = {}) {
    Bytes record = BytesOf(marker);
    record.resize(32, 0);
    std::copy(put.begin(), put.end(), record.begin() + static_cast<std::ptrdiff_t>(offset));
    return record;
}

Bytes ModuleRecord(char kind, std::uint64_t address, std::uint64_t size) {
    return With(With(Record(std::string("m") + kind), 4, 4, address), 8, 4, size);
}

/// The two records of a package with the release 123, a date with a command for the terminal, and the
/// identity 1, 2, 3.
Bytes Start(bool newForm) {
    return Record("P", 11,
                  BytesOf(std::string("12307\x1B"
                                      "324\0\0P\0",
                                      13) +
                          (newForm ? '2' : '1'))) +
           Record(newForm ? "s" : "S", newForm ? 11 : 6, {0xAA, 0, 1, 0, 2, 0, 3});
}

Bytes Bin(bool newForm, const Bytes& payload) {
    const std::size_t size = payload.size();
    return (newForm ? With(Bytes{'?', 0, 0, 0, 0}, 1, 4, size)
                    : With(Bytes{'@', 0, 0, 0, 2, 0, 0, 16}, 1, 3, size)) +
           payload;
}

bool Load(PSWFile& package, const Bytes& bytes, bool requireUpgradeFields = true) {
    return package.LoadPSWFromFile(TemporaryFile("package", bytes).path.c_str(), requireUpgradeFields);
}

Lines Log(const Bytes& bytes, bool loaded) {
    PSWFile package;
    LogCapture log;
    EXPECT_EQ(Load(package, bytes), loaded);
    Lines lines;
    for (const std::string& line : log.Take()) lines.push_back(line.substr(line.find(']') + 1));
    lines.erase(lines.begin());
    return lines;
}

// Bytes that tell their place: the one at offset n is 'A' + n ("B" at 1, "`" at 31). A field that is read
// from a wrong place, or is a byte too long or too short, shows another value.
Bytes Telling(const std::string& markers, std::size_t offset = 1, const std::string& put = "B") {
    Bytes records;
    for (const char marker : markers) {
        Bytes record = Record({marker}, offset, BytesOf(put));
        for (std::size_t i = 1; i < record.size(); ++i)
            if (i < offset || i >= offset + put.size()) record[i] = static_cast<unsigned char>('A' + i);
        records = std::move(records) + record;
    }
    return records;
}

TEST(PSWFile, LogsEveryFieldAndNamesTheOneThatIsCut) {
    Bytes newForm = Telling("P", 22, "SX2Z\xFF\xFF\xFF\xFF") + Telling("s", 11, "\xAA") + Telling("l") +
                    Telling("f", 12, "\xFE\xFF\x80\x81") + Telling("ubd");
    for (const char kind : {'f', 'C', 'd', 'u', 'b', 'B', 'l', 's'})
        newForm = newForm + Telling("m", 1, {kind});
    const Bytes oldForm = Telling("P", 22, "W") + Telling("S", 6, "\xAA") + Telling("L") +
                          Telling("F", 11, std::string("\x80\xFF\x7F\0", 4)) +
                          Slice(Telling("@", 1, std::string("\0\0\1", 3)), 0, 9);
    const std::tuple<Bytes, bool, const char*> packages[] = {
        {newForm + Bin(true, {'x'}), false, "package-new"}, {oldForm, true, "package-old"}};
    for (const auto& [file, loaded, name] : packages) {
        const Lines whole = Log(file, loaded);
        ExpectRecorded(name,
                       std::regex_replace(Joined(whole), std::regex("\\|Found (?!8)"), "\nFound ") + "\n");
        for (std::size_t length = 0; length < file.size(); ++length) {
            // Read like the whole file, up to the field that is cut.
            const Lines cut = Log(Slice(file, 0, length), false);
            const std::size_t known = cut.back().find(" lies outside the file");
            if (known != std::string::npos)
                EXPECT_EQ(whole.at(cut.size() - 1).find(cut.back().substr(0, known) + ":"), 0U) << length;
            else
                EXPECT_THAT(cut.back(), testing::ContainsRegex("^(ERROR S|The pay)")) << length;
        }
    }
}

/// The part of the payload that a header has taken, as "start+size"; "" for none.
template <class Header>
std::string PartOf(const PSWHeader* header) {
    const auto* const typed = dynamic_cast<const Header*>(header);
    if (typed == nullptr || typed->pData == nullptr) return "";
    const auto* const data = typed->pData.get();
    const auto at = std::search(kPayload.begin(), kPayload.end(), data, data + typed->DataSize());
    return " " + std::to_string(at - kPayload.begin()) + "+" + std::to_string(typed->DataSize());
}

/// What comes of a package: whether it is taken and the end of the log; form, content and the first
/// components; what its headers hold.
std::string Outcome(PSWFile& package, const Bytes& file) {
    LogCapture log;
    std::ostringstream text;
    text << Load(package, file) << " ";
    const Lines lines = log.Take();
    text << Joined({lines.end() - 2, lines.end()}) << " " << package.iPswType << " " << package.iContentMask
         << std::hex;
    for (int i = 0; i < std::min(package.pswComponents.Size(), 9); ++i)
        text << " " << package.pswComponents.Get(i);
    text << PartOf<PSWHeaderModule>(package.GetHeaderModuleSoftware());
    for (const HTYPE type : {HTYPE_LOGOS, HTYPE_FONTS}) {
        const std::unique_ptr<std::vector<PSWHeader*>> headers(package.GetHeaders(type));
        for (const PSWHeader* const header : *headers)
            text << PartOf<PSWHeaderLogos>(header) << PartOf<PSWHeaderFonts>(header);
    }
    return std::regex_replace(text.str(), std::regex("\\[(ScanForHeadersAndFields|ExtractHederInfo)\\]"), "");
}

TEST(PSWFile, DeliversWhatIsWhole) {
    const Bytes bin = Bin(true, kPayload);
    const Bytes full(1 << 20, 'x');
    const auto modules = [](const std::string& kinds, std::uint64_t size, bool newForm = true) {
        Bytes records = Start(newForm);
        for (const char kind : kinds)
            records = std::move(records) + ModuleRecord(kind, (kinds.size() + 2) * 32 + 5, size);
        return records;
    };
    const std::uint64_t data = 3 * 32 + 5;
    const Bytes twoPrinters = Record("P") + Start(true) + bin,
                withoutFields = Record("P") + Record("s") + bin;
    const Bytes old = Bin(false, kPayload);
    std::vector<Bytes> lines[] = {
        {BytesOf("x") + Start(true) + bin, twoPrinters, Record("P") + Record("x") + bin,
         Start(true) + Record("s") + bin, Start(true) + Record("\0") + bin, Slice(Start(true) + bin, 0, 668),
         withoutFields, modules(std::string(4097, 'd'), 0) + bin,
         modules(std::string(100, 'd'), full.size()) + Bin(true, full)},  // each takes all of the payload
        {Start(true) + old, Start(false) + old, modules("fCdlubxs", 0) + old, modules("d", 0) + old,
         modules("f", 0, false) + old},  // an old package counts as firmware only
        {}};
    // Logos of 17 x 100 dots, 2 whole bytes wide; fonts of 9 x 7 dots from 48 to 57; address, margins.
    for (const Bytes& record :
         {ModuleRecord('s', data, 600), ModuleRecord('s', data + 1, 600), ModuleRecord('s', data - 1, 1),
          ModuleRecord('s', 0xFFFFFFFF, 0), ModuleRecord('s', 0xFFFFFFFF, 0xFFFFFFFF),
          Record("l", 3, {0, 17, 0, 100, 0, 0, 1, 0xF5}), Record("l", 3, {0, 17, 0, 100, 0, 0, 0, 100}),
          Record("L", 3, {0, 17, 0, 100, 0, 1, 0x91}), Record("f", 3, {9, 7, 48, 57, 0, 0, 0, 104}),
          Record("f", 3, {9, 7, 48, 57, 0, 0, 0, 104, 0, 0, 0xFF}),
          Record("F", 3, {9, 7, 48, 57, 0, 1, 0xCC})})
        lines[2].push_back(Start(true) + record + bin + BytesOf("behind"));
    PSWFile package;  // loading again starts afresh
    EXPECT_TRUE(Load(package, withoutFields, false));
    std::string text;
    for (const auto& line : lines) {
        for (const Bytes& file : line) text += Outcome(package, file) + "; ";
        text += "\n";
    }
    ExpectRecorded("packages", text);
}

TEST(PSWFile, IsDescrambledAndMemoryIsNotMeasured) {
    const Bytes file = simulator::SampleFiles::MakePackage({});
    PSWFile package;
    EXPECT_FALSE(package.LoadPSWFromMemory(file.data(), static_cast<int>(file.size()), true)) << "length 0";
    ASSERT_TRUE(Load(package, file));
    EXPECT_EQ(package.GetHeaderPrinter()->iGSILow, 0x5D);
    EXPECT_EQ(package.GetHeaderPrinter()->iScrambleByte, 0);
    EXPECT_EQ(package.pFileBuffer[23], simulator::PackageSample().key) << "the file as read";
    EXPECT_FALSE(package.LoadPSWFromMemory(file.data(), 40, true)) << "fewer bytes than the length says";
}

TEST(PSWFile, OnlyRegularFilesAreRead) {
    const std::string pipe = testing::TempDir() + "package-pipe-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const TemporaryFile huge("huge", {});
    ASSERT_EQ(truncate(huge.path.c_str(), off_t{3} << 30), 0);
    int length = 77;
    for (const std::string& name : {std::string("/dev/zero"), testing::TempDir(), pipe, huge.path,
                                    std::string("/no"), std::string("/sys/devices/system/cpu/online")}) {
        EXPECT_EQ(PSWFile::readfile(name.c_str(), &length), nullptr);
        EXPECT_EQ(length, 77);
    }
    unlink(pipe.c_str());
}

/// The description, appended to a text in a buffer of `size` characters.
std::string Info(const Bytes& file, std::size_t size = 8192) {
    PSWFile package;
    EXPECT_TRUE(Load(package, file));
    std::string text(size + 8, '#');
    std::copy_n("> ", 3, text.begin());
    package.GetFileInfo(text.data(), size);
    EXPECT_EQ(text.substr(size), "########") << "nothing behind the buffer";
    std::replace(text.begin(), text.end(), '\n', '|');
    return text.c_str();
}

TEST(PSWFile, IsDescribed) {
    const Bytes logo = Record("l", 2, {9});
    const Bytes font = Record("f", 2, {8, 12, 24});
    const Bytes file = Start(true) + logo + logo + font + font + Bin(true, kPayload);
    EXPECT_EQ(Info(file, 40), Info(file).substr(0, 39));
    // The last module that can be loaded describes the package alone.
    simulator::PackageSample sample;
    sample.modules = simulator::SampleFiles::UsualModules();
    sample.modules.push_back({'d', Bytes(20)});
    ExpectRecorded("package-texts",
                   Info(file) + "\n" + Info(simulator::SampleFiles::MakePackage(sample)) + "\n");
}

TEST(PSWComponents, AnswersWhatTheListHoldsAndChangesSides) {
    PSWComponents list;
    EXPECT_TRUE(list.Get(0) == 0 && !list.HasComponent(0) && list.IsModuleBefore(5));
    list.Add(0x2004);
    EXPECT_TRUE(list.HasBeginModules() && !list.HasAfterModules());
    EXPECT_FALSE(list.HasModuleToChoose()) << "the first entry is not looked at";
    for (const PSWCOMPONENTS value : {0U, 0x3008U, 0x1000U}) list.Add(value);
    EXPECT_TRUE(list.HasAfterModules() && list.HasModuleToChoose() && list.IsModule(2));
    EXPECT_FALSE(list.IsModule(3) || list.IsModule(1) || list.IsModuleBefore(2) || !list.IsModuleAfter(2));
    EXPECT_EQ(list.GetComponentIndex(0x3008), 2);
    LogCapture printed;
    list.ConvertModulesBeforeToAfter();
    list.DumpWholeList();
    list.ConvertModulesAfterToBefore();
    list.DumpWholeList();
    EXPECT_EQ(Joined(printed.Take(), ""),
              "PSWComponents list Len 4 [0] : 0x3004 [1] : 0x0 [2] : 0x3008 [3] : 0x1000 "
              "PSWComponents list Len 4 [0] : 0x2004 [1] : 0x0 [2] : 0x2008 [3] : 0x1000 ");
    list.ResetList();
    EXPECT_EQ(list.Size(), 0);
}

}  // namespace

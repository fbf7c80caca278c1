#include "package/PSWFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <tuple>

#include "harness/LogCapture.h"
#include "package/EncryptionPSW.h"
#include "package/ModuleBytes.h"
#include "package/PSWHeaderFonts.h"
#include "package/PSWHeaderLogos.h"

namespace {

const Bytes kPayload = Counting(600);
const Bytes kStart = PrinterRecord(true) + SoftwareRecord(true);

template <class Header>
Bytes Data(const Header& header) {
    return header.pData == nullptr ? Bytes()
                                   : Bytes(header.pData.get(), header.pData.get() + header.DataSize());
}

/// A header of the package that is the first of its type.
template <class Header>
Header& First(PSWFile& package, HTYPE type) {
    const std::unique_ptr<std::vector<PSWHeader*>> headers(package.GetHeaders(type));
    return dynamic_cast<Header&>(*headers->at(0));
}

bool Load(PSWFile& package, const Bytes& bytes, bool requireUpgradeFields = true) {
    return package.LoadPSWFromFile(TemporaryFile(bytes).Name(), requireUpgradeFields);
}

Lines ScanLines(const Bytes& bytes, bool loaded) {
    PSWFile package;
    LogCapture log;
    EXPECT_EQ(Load(package, bytes), loaded);
    return log.Take("ScanForHeadersAndFields");
}

TEST(PSWFile, LogsEachRecordThatItFinds) {
    const Bytes file = kStart + Record('l') + Record('F') + Record('u') + Record('b') + Record('d') +
                       ModuleRecord('d', 261, 0) + NewBin(BytesOf(std::string(60, 'P')));  // none a marker
    EXPECT_EQ(Joined(ScanLines(file, true)),
              "Search Headers:|Found 1 (HEADER PRINTER)|Found 2 (HEADER SOFTWARE)|Found PSWHeaderUpgrade|"
              "Found 3 (HEADER LOGOS)|Found 4 (HEADER FONTS)|Found 5 (HEADER USBLOADER)|"
              "Found 6 (HEADER BOOTLOADER)|Found 7 (HEADER GENERICDATA)|Found 8 (HEADER MODULE)|"
              "Found 10 (HEADER BIN)|Found 10 Headers");
}

TEST(PSWFile, RefusesWhatIsNoCompletePackage) {
    const Bytes printer = PrinterRecord(true);
    const Bytes software = SoftwareRecord(true);
    const Bytes bin = NewBin(BytesOf("payload"));
    const char* const noPrinter = "ERROR Searching Header 1 (HEADER PRINTER)";
    const char* const noSoftware = "ERROR Searching Header 2 (HEADER SOFTWARE)";
    Bytes many = kStart;
    for (int i = 0; i < 4097; ++i) many = std::move(many) + Record('d');
    const Bytes payload(1 << 20, 'x');
    Bytes copies = kStart;  // each of 100 modules is the whole payload of 1 MiB
    for (int i = 0; i < 100; ++i)
        copies = std::move(copies) + ModuleRecord('d', 102 * 32 + 5, payload.size());
    const std::pair<Bytes, const char*> cases[] = {
        {{}, noPrinter},
        {BytesOf("x") + printer + software + bin, noPrinter},
        {printer + Record('x') + software + bin, noSoftware},
        {printer + printer + software + bin, noPrinter},
        {printer + software + software + bin, noSoftware},
        {printer + software + Record('\0') + bin, "ERROR Searching Header 10 (HEADER BIN)"},
        {printer + software + ModuleRecord('d', 0, 1) + bin, "ERROR ExtractData"},
        {many + bin, "ERROR Searching Header: more than 4096 headers"},
        {copies + NewBin(payload), "ERROR ExtractData"},
    };
    for (const auto& [file, lastLine] : cases) EXPECT_EQ(ScanLines(file, false).back(), lastLine);

    for (const bool newForm : {true, false}) {
        const Bytes whole = PrinterRecord(newForm, 7) + SoftwareRecord(newForm) +
                            ModuleRecord('f', 3 * 32 + (newForm ? 5 : 8), 600) +
                            (newForm ? NewBin(kPayload) : OldBin(kPayload));
        PSWFile package;
        EXPECT_TRUE(Load(package, whole));
        for (std::size_t length = 0; length < whole.size(); ++length)
            EXPECT_FALSE(Load(package, Slice(whole, 0, length))) << length;
    }
    const Bytes nameless = PrinterRecord(true) + Record('s') + NewBin(kPayload);
    PSWFile package;
    EXPECT_TRUE(Load(package, nameless, false));
    LogCapture log;
    EXPECT_FALSE(Load(package, nameless, true));
    EXPECT_EQ(log.Take("LoadPSW"), Lines{"This PSW doesn't contain the Upgrade fields"});
}

TEST(PSWFile, ListsWhatThePackageDelivers) {
    const struct {
        std::string kinds;
        bool newForm;
        int content;
        std::vector<PSWCOMPONENTS> components;
    } cases[] = {
        {"", true, 1, {0}},
        {"", false, 1, {0, 0}},
        {"fCdlubxs", true, 7, {0, 0x2002, 0x2002, 0x2004, 0x3008, 0x3010, 0x3010, 0x3010, 0}},
        {"d", true, 5, {0, 0x2004}},
        {"f", false, 1, {0, 0x2002, 0}},  // an old package counts as firmware only
    };
    PSWFile package;  // loading again starts afresh
    for (const auto& each : cases) {
        Bytes file = PrinterRecord(each.newForm) + SoftwareRecord(each.newForm);
        for (const char kind : each.kinds)
            file = file + ModuleRecord(kind, 64 + 32 * each.kinds.size() + 8, 0);
        ASSERT_TRUE(Load(package, file + OldBin(kPayload))) << each.kinds;
        EXPECT_EQ(package.iPswType, each.newForm ? 1 : 0);
        EXPECT_EQ(package.iContentMask, each.content) << each.kinds;
        ASSERT_EQ(package.pswComponents.Size(), static_cast<int>(each.components.size())) << each.kinds;
        for (int i = 0; i < package.pswComponents.Size(); ++i)
            EXPECT_EQ(package.pswComponents.Get(i), each.components[static_cast<std::size_t>(i)]) << i;
    }
}

TEST(PSWFile, DescramblesPayloadAndStatusByteOnce) {
    for (const int key : {0, 1, 2, 254, 255}) {
        Bytes scrambled = kPayload;
        EncryptionPSW::EncryptionBuffer(key, scrambled.data(), 0, static_cast<int>(scrambled.size()));
        const auto byte = static_cast<unsigned char>(key);
        PSWFile package;
        ASSERT_TRUE(Load(package, With(With(PrinterRecord(true, byte), 21, 1, 0x3C), 25, 1, 0x77) +
                                      SoftwareRecord(true) + NewBin(scrambled)));
        EXPECT_EQ(Bytes(package.GetHeaderBin()->pData.get(), package.GetHeaderBin()->pData.get() + 600),
                  kPayload)
            << key;
        EXPECT_EQ(package.GetHeaderPrinter()->iGSILow, key == 0 ? 0x3C : (~(0x3C ^ key) & 0xFF));
        EXPECT_EQ(package.GetHeaderPrinter()->iGSIHight, 0x77) << "not scrambled";
        EXPECT_EQ(package.GetHeaderPrinter()->iScrambleByte, 0);
        EXPECT_EQ(package.pFileBuffer[23], byte) << "the file as read";
    }
}

TEST(PSWFile, HandsEachModuleItsSlice) {
    const std::size_t data = 4 * 32 + 5;
    const std::tuple<std::uint64_t, std::uint64_t, bool> cases[] = {
        {data, 600, true},         {data + 600, 0, true}, {data + 17, 3, true},
        {data + 1, 600, false},    {data - 1, 1, false},  {data + 600, 1, false},
        {data, 0xFFFFFFFF, false}, {0xFFFFFFFF, 0, true}, {0xFFFFFFFF, 0xFFFFFFFF, false},
    };
    for (const auto& [address, size, inside] : cases) {
        PSWFile package;
        LogCapture log;
        ASSERT_EQ(Load(package, kStart + ModuleRecord('f', data, 1) + ModuleRecord('s', address, size) +
                                    NewBin(kPayload) + BytesOf("behind")),
                  inside)
            << address << " " << size;
        EXPECT_EQ(log.Take("ExtractDataBuffer").size(), inside ? 0U : 1U);
        if (!inside) continue;
        const PSWHeaderModule* module = package.GetHeaderModuleSoftware();
        EXPECT_EQ(Data(*module), Slice(kPayload, size == 0 ? 0 : address - data, size));
    }
}

TEST(PSWFile, HandsLogosAndFontsTheirSlicesOrLeavesThemEmpty) {
    const auto logo = [](char marker, std::uint64_t address) {
        const Bytes sized = With(With(Record(marker), 3, 2, 17), 5, 2, 100);  // 17 dots are 2 whole bytes
        return With(sized, 7, marker == 'l' ? 4 : 3, address);
    };
    const auto font = [](char marker, std::uint64_t address, int margin, unsigned int last) {
        // 10 characters from 48 on, 9 dots wide, 7 high
        const Bytes sized = With(With(Record(marker), 3, 2, 0x0907), 5, 2, 0x3000U + last);
        const std::size_t width = marker == 'f' ? 4 : 3;
        return With(With(sized, 7, width, address), 9 + width, 1, static_cast<unsigned char>(margin));
    };
    const std::size_t data = 3 * 32 + 5;
    constexpr std::size_t kNone = 601;  // where no slice of the payload begins
    const std::tuple<Bytes, std::size_t, std::size_t> cases[] = {
        {logo('l', data + 400), 400, 200},    {logo('l', data + 401), kNone, 0},
        {logo('l', data - 1), kNone, 0},      {logo('L', 400), 400, 200},
        {logo('L', 401), kNone, 0},           {font('f', data + 3, 0, 57), 3, 140},  // 9 dots are 2 bytes
        {font('f', data + 3, -1, 57), 3, 70},                                        // 8 dots are 1
        {font('f', data + 3, -20, 57), 3, 0},  // nothing is left of a glyph
        {font('f', data + 3, -20, 40), 3, 0},  // the last character stands before the first
        {font('f', 4, 0, 57), kNone, 0},      {font('F', 460, 0, 57), 460, 140},
        {font('F', 461, 0, 57), kNone, 0},
    };
    for (const auto& [record, start, size] : cases) {
        PSWFile package;
        LogCapture log;
        ASSERT_TRUE(Load(package, kStart + record + NewBin(kPayload)));
        EXPECT_EQ(log.Take("ExtractDataBuffer").size(), start == kNone ? 1U : 0U);
        Bytes held;
        if (package.GetHeadersCount(HTYPE_LOGOS) == 1)
            held = Data(First<PSWHeaderLogos>(package, HTYPE_LOGOS));
        else
            held = Data(First<PSWHeaderFonts>(package, HTYPE_FONTS));
        EXPECT_EQ(held, start == kNone ? Bytes() : Slice(kPayload, start, size)) << record[0] << " " << start;
    }
}

TEST(PSWFile, MemoryIsNotMeasured) {
    const Bytes file = kStart + NewBin(kPayload);
    PSWFile package;
    const auto load = [&](int size) { return package.LoadPSWFromMemory(file.data(), size, true); };
    const int size = static_cast<int>(file.size());
    EXPECT_FALSE(load(size)) << "length 0";
    ASSERT_TRUE(Load(package, file));
    EXPECT_TRUE(load(size)) << "length as before";
    EXPECT_FALSE(load(40)) << "fewer bytes than the length says";
}

TEST(PSWFile, OnlyRegularFilesAreRead) {
    const std::string pipe = testing::TempDir() + "package-pipe-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& name :
         {std::string("/dev/zero"), testing::TempDir(), pipe, std::string("/no/such")}) {
        PSWFile package;
        LogCapture log;
        EXPECT_FALSE(package.LoadPSWFromFile(name.c_str(), true)) << name;
        EXPECT_EQ(log.Take(), Lines{"[LoadPSWFromFile]Opening PSW File: " + name});
    }
    unlink(pipe.c_str());
    const TemporaryFile huge{{}};
    ASSERT_EQ(truncate(huge.Name(), (off_t{1} << 30) + 1), 0);
    int length = 77;
    EXPECT_EQ(PSWFile::readfile(huge.Name(), &length), nullptr);
    EXPECT_EQ(length, 77);
}

/// The description, appended to a text in a buffer of `size` characters.
std::string Info(const Bytes& file, std::size_t size = 8192) {
    PSWFile package;
    EXPECT_TRUE(Load(package, file));
    std::vector<char> text(size + 8, '#');
    std::copy_n("> ", 3, text.begin());
    package.GetFileInfo(text.data(), size);
    EXPECT_EQ(std::string(text.end() - 8, text.end()), "########") << "nothing behind the buffer";
    return text.data();
}

TEST(PSWFile, IsDescribed) {
    const std::string stars = std::string(48, '*') + "\n" + std::string(48, '*') + "\n";
    const std::string dashes = std::string(48, '-') + "\n";
    const std::string identity = "> " + stars + "Release PSW:    123\nCreation Date:  070 24\n" +
                                 "PSW Sign Family:        1\nPSW Sign Model:          2\n" +
                                 "PSW Sign Customization:  3\n" + stars + "\n";
    const Bytes start = With(kStart, 17, 1, 0x1B);  // no command for the terminal
    EXPECT_EQ(Info(start + NewBin(kPayload)), identity);
    EXPECT_EQ(Info(start + NewBin(kPayload), 40), "> " + std::string(37, '*')) << "cut to the buffer";
    const Bytes logo = With(Record('l'), 2, 1, 9);
    const Bytes font = With(Record('f'), 2, 3, 0x080C18);
    EXPECT_EQ(
        Info(start + logo + logo + font + font + NewBin(kPayload)),
        identity + "Number of Logos:9\n\n LOGO 1/2\n\n LOGO 2/2\n" + dashes + "\n" +
            "Number of Fonts:8\n\n FONT 1/2\n Size:          12x24\n\n FONT 2/2\n Size:          12x24\n" +
            dashes + "\n");

    // The last module that can be loaded describes the package alone.
    const Bytes first = Module(kModuleLines);
    const Bytes second = Module(EditedLines("ID:D", "ID:L"));
    const std::size_t data = 5 * 32 + 5;
    EXPECT_EQ(Info(start + ModuleRecord('f', data, first.size()) +
                   ModuleRecord('l', data + first.size(), second.size()) + ModuleRecord('d', data, 20) +
                   NewBin(first + second)),
              dashes + "Type:       \nRelease:    1.00\nFactory:    f\nNote:       n\nCode:       C1\n" +
                  dashes + "\nLOGOS MODULE:\n" + dashes + "\n");
}

}  // namespace

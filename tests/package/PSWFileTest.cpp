#include "package/PSWFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <numeric>

#include "harness/LogCapture.h"
#include "package/EncryptionPSW.h"
#include "package/ModuleBytes.h"
#include "package/PSWHeaderFonts.h"
#include "package/PSWHeaderLogos.h"
#include "package/PSWHeaderUpgrade.h"
#include "package/PackageBytes.h"

namespace {

using Lines = std::vector<std::string>;

const Bytes kPayload = [] {
    Bytes bytes(600);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}();

Bytes Data(const std::unique_ptr<unsigned char[]>& data, std::uint64_t size) {
    return data == nullptr ? Bytes() : Bytes(data.get(), data.get() + size);
}

Bytes Slice(const Bytes& bytes, std::size_t start, std::size_t length) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(start);
    return {begin, begin + static_cast<std::ptrdiff_t>(length)};
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

std::vector<PSWCOMPONENTS> Components(const PSWFile& package) {
    const PSWComponents& list = package.pswComponents;
    std::vector<PSWCOMPONENTS> values(static_cast<std::size_t>(list.Size()));
    for (int i = 0; i < list.Size(); ++i) values[static_cast<std::size_t>(i)] = list.Get(i);
    return values;
}

TEST(PSWFile, LogsEachRecordThatItFinds) {
    const Bytes file = PrinterRecord(true) + SoftwareRecord(true) + Record('l') + Record('F') + Record('u') +
                       Record('b') + Record('d') + ModuleRecord('d', 400, 0) +
                       NewBin(FromText(std::string(60, 'P')));  // none of them a marker
    EXPECT_EQ(ScanLines(file, false).back(), "ERROR ExtractData") << "the module lies behind the payload";
    EXPECT_EQ(
        ScanLines(With(file, 7 * 32 + 4, 4, 261), true),
        (Lines{"Search Headers:", "Found 1 (HEADER PRINTER)", "Found 2 (HEADER SOFTWARE)",
               "Found PSWHeaderUpgrade", "Found 3 (HEADER LOGOS)", "Found 4 (HEADER FONTS)",
               "Found 5 (HEADER USBLOADER)", "Found 6 (HEADER BOOTLOADER)", "Found 7 (HEADER GENERICDATA)",
               "Found 8 (HEADER MODULE)", "Found 10 (HEADER BIN)", "Found 10 Headers"}));
}

TEST(PSWFile, RefusesWhatIsNoCompletePackage) {
    const Bytes printer = PrinterRecord(true);
    const Bytes software = SoftwareRecord(true);
    const Bytes bin = NewBin(FromText("payload"));
    const char* const noPrinter = "ERROR Searching Header 1 (HEADER PRINTER)";
    const char* const noSoftware = "ERROR Searching Header 2 (HEADER SOFTWARE)";
    const char* const noBin = "ERROR Searching Header 10 (HEADER BIN)";
    const struct {
        Bytes file;
        const char* lastLine;
    } cases[] = {
        {{}, noPrinter},
        {FromText("x") + printer + software + bin, noPrinter},
        {printer + Record('x') + software + bin, noSoftware},
        {software + bin, noPrinter},
        {printer + printer + software + bin, noPrinter},
        {printer + bin, noSoftware},
        {printer + software + software + bin, noSoftware},
        {printer + software, noBin},
        {printer + software + Bytes(32, 0) + bin, noBin},
    };
    for (const auto& each : cases) EXPECT_EQ(ScanLines(each.file, false).back(), each.lastLine);
}

TEST(PSWFile, WantsTheUpgradeIdentifiersWhenAskedTo) {
    const Bytes file = PrinterRecord(true) + Record('s') + NewBin(FromText("x"));
    PSWFile package;
    EXPECT_TRUE(Load(package, file, false));
    LogCapture log;
    EXPECT_FALSE(Load(package, file, true));
    EXPECT_EQ(log.Take("LoadPSW"), Lines{"This PSW doesn't contain the Upgrade fields"});
    EXPECT_TRUE(Load(package, PrinterRecord(true) + SoftwareRecord(true) + NewBin(FromText("x")), true));
    const std::unique_ptr<std::vector<PSWHeader*>> headers(package.GetHeaders(HTYPE_UPGRADE));
    ASSERT_EQ(headers->size(), 1U);
    const auto* upgrade = dynamic_cast<PSWHeaderUpgrade*>(headers->front());
    ASSERT_NE(upgrade, nullptr);
    EXPECT_EQ(upgrade->iIDCustomization, 3);
}

TEST(PSWFile, ListsWhatThePackageDelivers) {
    const auto with = [](bool newForm, const std::string& kinds) {
        Bytes modules;
        for (const char kind : kinds) modules = modules + ModuleRecord(kind, 64 + 32 * kinds.size() + 8, 0);
        return PrinterRecord(newForm) + SoftwareRecord(newForm) + modules + OldBin(kPayload);
    };
    const struct {
        const char* kinds;
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
    for (const auto& each : cases) {
        PSWFile package;
        ASSERT_TRUE(Load(package, with(each.newForm, each.kinds))) << each.kinds;
        EXPECT_EQ(package.iPswType, each.newForm ? 1 : 0);
        EXPECT_EQ(package.iContentMask, each.content) << each.kinds;
        EXPECT_EQ(Components(package), each.components) << each.kinds;
        ASSERT_TRUE(Load(package, with(each.newForm, each.kinds)));
        EXPECT_EQ(Components(package), each.components) << "loading again starts afresh";
    }
}

TEST(PSWFile, DescramblesPayloadAndStatusByteOnce) {
    for (const int key : {0, 1, 2, 254, 255}) {
        Bytes scrambled = kPayload;
        EncryptionPSW::EncryptionBuffer(key, scrambled.data(), 0, static_cast<int>(scrambled.size()));
        const auto byte = static_cast<unsigned char>(key);
        const Bytes printer = With(With(PrinterRecord(true, byte), 21, 1, 0x3C), 25, 1, 0x77);
        PSWFile package;
        ASSERT_TRUE(Load(package, printer + SoftwareRecord(true) + NewBin(scrambled)));
        EXPECT_EQ(Data(package.GetHeaderBin()->pData, package.GetHeaderBin()->uiBinLength), kPayload) << key;
        EXPECT_EQ(package.GetHeaderPrinter()->iGSILow, key == 0 ? 0x3C : (~(0x3C ^ key) & 0xFF));
        EXPECT_EQ(package.GetHeaderPrinter()->iGSIHight, 0x77) << "not scrambled";
        EXPECT_EQ(package.GetHeaderPrinter()->iScrambleByte, 0);
        EXPECT_EQ(package.pFileBuffer[23], byte) << "the file as read";
    }
}

TEST(PSWFile, HandsEachModuleItsSlice) {
    const std::size_t data = 4 * 32 + 5;
    const auto file = [&](std::uint64_t address, std::uint64_t size) {
        return PrinterRecord(true) + SoftwareRecord(true) + ModuleRecord('s', address, size) +
               ModuleRecord('f', data, kPayload.size()) + NewBin(kPayload) + FromText("behind");
    };
    const struct {
        std::uint64_t address;
        std::uint64_t size;
        bool inside;
    } cases[] = {
        {data, 600, true},
        {data + 1, 599, true},
        {data + 600, 0, true},
        {data + 17, 3, true},
        {data + 1, 600, false},
        {data - 1, 1, false},
        {data + 600, 1, false},
        {0xFFFFFFFF, 0xFFFFFFFF, false},
        {data, 0xFFFFFFFF, false},
        {0xFFFFFFFF, 1, false},
        {0, 4, false},
    };
    for (const auto& each : cases) {
        PSWFile package;
        LogCapture log;
        ASSERT_EQ(Load(package, file(each.address, each.size)), each.inside)
            << each.address << " " << each.size;
        if (!each.inside) {
            EXPECT_EQ(log.Take("ExtractDataBuffer").size(), 1U);
            continue;
        }
        const PSWHeaderModule* module = package.GetHeaderModuleSoftware();
        EXPECT_EQ(Data(module->pData, module->uiDataSize), Slice(kPayload, each.address - data, each.size));
        const std::unique_ptr<std::vector<PSWHeader*>> modules(package.GetHeaders(HTYPE_MODULE));
        ASSERT_EQ(modules->size(), 2U);
        EXPECT_EQ(modules->back()->DataSize(), kPayload.size());
    }
}

TEST(PSWFile, HandsLogosAndFontsTheirSlicesOrLeavesThemEmpty) {
    const auto logo = [](char marker, std::uint64_t address) {
        const Bytes sized = With(With(Record(marker), 3, 2, 17), 5, 2, 100);  // 17 dots are 2 whole bytes
        return marker == 'l' ? With(sized, 7, 4, address) : With(sized, 7, 3, address);
    };
    const auto font = [](char marker, std::uint64_t address, int margin, int last) {
        // 10 characters from 48 on, 9 dots wide, 7 high
        const Bytes sized =
            With(With(Record(marker), 3, 2, 0x0907), 5, 2, 0x3000U + static_cast<unsigned>(last));
        const auto right = static_cast<unsigned char>(margin);
        return marker == 'f' ? With(With(sized, 7, 4, address), 13, 1, right)
                             : With(With(sized, 7, 3, address), 12, 1, right);
    };
    const std::size_t data = 3 * 32 + 5;
    const struct {
        Bytes record;
        std::size_t start;
        std::size_t size;
        bool inside;
    } cases[] = {
        {logo('l', data + 400), 400, 200, true},    {logo('l', data + 401), 0, 0, false},
        {logo('l', 400), 299, 200, true},           {logo('l', data - 1), 0, 0, false},
        {logo('L', 400), 400, 200, true},           {logo('L', 401), 0, 0, false},
        {font('f', data + 3, 0, 57), 3, 140, true},  // 9 dots are 2 bytes
        {font('f', data + 3, -1, 57), 3, 70, true},  // 8 dots are 1
        {font('f', data + 3, 8, 57), 3, 210, true},  // 17 dots are 3
        {font('f', data + 3, -20, 57), 3, 0, true},  // nothing is left of a glyph
        {font('f', data + 3, 0, 40), 3, 0, true},    // the last character stands before the first
        {font('f', data + 3, -20, 40), 3, 0, true}, {font('F', 460, 0, 57), 460, 140, true},
        {font('F', 461, 0, 57), 0, 0, false},       {font('f', 4, 0, 57), 0, 0, false},
    };
    for (const auto& each : cases) {
        PSWFile package;
        LogCapture log;
        ASSERT_TRUE(
            Load(package, PrinterRecord(true) + SoftwareRecord(true) + each.record + NewBin(kPayload)));
        EXPECT_EQ(log.Take("ExtractDataBuffer").size(), each.inside ? 0U : 1U);
        const std::unique_ptr<std::vector<PSWHeader*>> logos(package.GetHeaders(HTYPE_LOGOS));
        const std::unique_ptr<std::vector<PSWHeader*>> fonts(package.GetHeaders(HTYPE_FONTS));
        const Bytes held =
            logos->empty()
                ? Data(dynamic_cast<PSWHeaderFonts&>(*fonts->front()).pData, fonts->front()->DataSize())
                : Data(dynamic_cast<PSWHeaderLogos&>(*logos->front()).pData, logos->front()->DataSize());
        EXPECT_EQ(held, Slice(kPayload, each.start, each.size)) << each.record[0] << " " << each.start;
    }
}

TEST(PSWFile, EveryTruncationIsRefused) {
    const Bytes scrambled = Slice(kPayload, 0, 100);
    for (const bool newForm : {true, false}) {
        const Bytes module = ModuleRecord('f', 3 * 32 + (newForm ? 5 : 8), 100);
        const Bytes whole = PrinterRecord(newForm, 7) + SoftwareRecord(newForm) + module +
                            (newForm ? NewBin(scrambled) : OldBin(scrambled));
        PSWFile package;
        EXPECT_TRUE(Load(package, whole));
        for (std::size_t length = 0; length < whole.size(); ++length) {
            EXPECT_FALSE(Load(package, Slice(whole, 0, length))) << length;
        }
    }
}

TEST(PSWFile, BoundsWhatHostileHeadersAskFor) {
    Bytes records = PrinterRecord(true) + SoftwareRecord(true);
    for (int i = 0; i < 5000; ++i) records = std::move(records) + Record('d');
    EXPECT_EQ(ScanLines(records + NewBin(kPayload), false).back(),
              "ERROR Searching Header: more than 4096 headers");
    // Each of 100 modules is the whole payload of 1 MiB.
    const std::size_t data = 102 * 32 + 5;
    const Bytes payload(1 << 20, 'x');
    Bytes copies = PrinterRecord(true) + SoftwareRecord(true);
    for (int i = 0; i < 100; ++i) copies = std::move(copies) + ModuleRecord('d', data, payload.size());
    EXPECT_EQ(ScanLines(copies + NewBin(payload), false).back(), "ERROR ExtractData");
}

TEST(PSWFile, MemoryIsNotMeasured) {
    const Bytes file = PrinterRecord(true) + SoftwareRecord(true) + NewBin(kPayload);
    PSWFile package;
    EXPECT_FALSE(package.LoadPSWFromMemory(file.data(), static_cast<int>(file.size()), true)) << "length 0";
    EXPECT_EQ(package.GetHeadersCount(HTYPE_PRINTER), 0);
    ASSERT_TRUE(Load(package, file));
    EXPECT_TRUE(package.LoadPSWFromMemory(file.data(), static_cast<int>(file.size()), true))
        << "length as before";
    EXPECT_FALSE(package.LoadPSWFromMemory(file.data(), 40, true)) << "fewer bytes than the length says";
    EXPECT_FALSE(package.LoadPSWFromMemory(nullptr, 40, true));
}

TEST(PSWFile, OnlyRegularFilesAreRead) {
    const std::string pipe = testing::TempDir() + "package-pipe-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& name :
         {std::string("/dev/zero"), testing::TempDir(), pipe, std::string("/no/such/file")}) {
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
    const Bytes bytes(3000, 'x');
    const TemporaryFile whole(bytes);
    const std::unique_ptr<unsigned char[]> read(PSWFile::readfile(whole.Name(), &length));
    EXPECT_EQ(Data(read, static_cast<std::uint64_t>(length)), bytes);
}

const std::string kStars = std::string(48, '*') + "\n";
const std::string kDashes = std::string(48, '-') + "\n";
const std::string kIdentity =
    kStars + kStars + "Release PSW:    123\nCreation Date:  070324\n" +
    "PSW Sign Family:        1\nPSW Sign Model:          2\nPSW Sign Customization:  3\n" + kStars + kStars +
    "\n";

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
    const Bytes records = PrinterRecord(true) + SoftwareRecord(true);
    EXPECT_EQ(Info(records + NewBin(kPayload)), "> " + kIdentity);
    EXPECT_EQ(Info(records + NewBin(kPayload), 40), "> " + std::string(37, '*')) << "cut to the buffer";
    const Bytes logo = With(Record('l'), 2, 1, 9);
    const Bytes font = With(Record('f'), 2, 3, 0x080C18);
    EXPECT_EQ(
        Info(records + logo + logo + font + font + NewBin(kPayload)),
        "> " + kIdentity + "Number of Logos:9\n\n LOGO 1/2\n\n LOGO 2/2\n" + kDashes + "\n" +
            "Number of Fonts:8\n\n FONT 1/2\n Size:          12x24\n\n FONT 2/2\n Size:          12x24\n" +
            kDashes + "\n");
}

TEST(PSWFile, IsDescribedByItsLastModuleAlone) {
    const Bytes first = ModuleBytes({}).File();
    const Bytes second = ModuleBytes({}).Set("MOD_ID:", "L").File();
    const std::size_t data = 5 * 32 + 5;
    const Bytes file = PrinterRecord(true) + SoftwareRecord(true) + ModuleRecord('f', data, first.size()) +
                       ModuleRecord('l', data + first.size(), second.size()) + ModuleRecord('d', data, 20) +
                       NewBin(first + second);
    EXPECT_EQ(Info(file), kDashes +
                              "Type:       \nRelease:    1.00\nFactory:    \nNote:       \nCode:       C1\n" +
                              kDashes + "\nLOGOS MODULE:\n" + kDashes + "\n");
}

}  // namespace

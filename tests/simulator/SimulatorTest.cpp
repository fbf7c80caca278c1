// What the simulator promises and no upgrade asks for: that it refuses what a printer would refuse, and its
// command line. That it takes what is right shows in every upgrade.
#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>

#include "package/ModuleData.h"
#include "package/PSWFile.h"
#include "simulator/PrinterModel.h"
#include "simulator/SampleFiles.h"
#include "simulator/SimulatorArguments.h"

namespace {

using simulator::Bytes;
using simulator::PrinterModel;
using simulator::PrinterOptions;
using simulator::SimulatorArguments;
using Lines = std::vector<std::string>;
namespace SampleFiles = simulator::SampleFiles;

constexpr std::size_t kBank = 16;
const Bytes kHandshake{0x1C, '<', 'E', 'P', 'O', 'S', '>', 0x18, 0x1D, 0x49, 0x03};
const std::string kUnasked = "banks without the release inquiry before them";
const Bytes kEnterBoot{0x1C, 0x4C, 0x49};

/// Sends in pieces and hears what is said within a minute and more; time passes.
Bytes Talk(PrinterModel& model, std::uint64_t& now, const Bytes& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += 7)
        model.Receive(&bytes[at], std::min<std::size_t>(7, bytes.size() - at), now);
    Bytes heard;
    for (const std::uint64_t end = now + 100000; now < end; now += 500)
        for (const Bytes& answer : model.Transmit(now))
            heard.insert(heard.end(), answer.begin(), answer.end());
    return heard;
}

/// A group of banks as the procedures send it, its sums as U3 and U5 (`perBank`) or U1 take them.
Bytes Group(unsigned char first, unsigned char last, bool perBank = true) {
    const Bytes banks = SampleFiles::MakeFirmware("106", (last - first + 1U) * kBank);
    Bytes group{0x1C, 0xFD, first, last};
    group.insert(group.end(), banks.begin(), banks.end());
    unsigned sum = 0;
    unsigned xorSum = 0;
    for (std::size_t i = 0; i < banks.size(); ++i) {
        sum += banks[i];
        xorSum += banks[i] ^ static_cast<unsigned>(perBank ? i % kBank : i);
    }
    for (const unsigned byte :
         {0x1CU, 0xFFU, unsigned{first}, unsigned{last}, sum >> 8U, sum, xorSum >> 8U, xorSum})
        group.push_back(static_cast<unsigned char>(byte & 0xFFU));
    return group;
}

Bytes Changed(Bytes bytes, std::size_t fromEnd, unsigned char by = 1) {
    bytes[bytes.size() - fromEnd] ^= by;
    return bytes;
}

TEST(PrinterModel, RefusesBanksThatAreNotInOrder) {
    const Bytes good = Group(0, 2);
    Bytes shortened = good;
    shortened.erase(shortened.begin() + 20);
    shortened.push_back(0);
    const struct {
        const char* mode;
        unsigned banks;
        Bytes sent;
        std::string violation;
    } rows[] = {{"U3", 3, Changed(good, 1), "bank sums"},
                {"U3", 3, Changed(good, 3), "bank sums"},
                {"U3", 3, Changed(good, 20), "bank sums"},
                {"U3", 3, Changed(good, 5), "names other banks"},
                {"U3", 3, Changed(good, 6), "names other banks"},
                {"U3", 3, shortened, "no program command"},
                {"U3", 3, Group(0, 2, false), "bank sums"},
                {"U1", 3, good, "bank sums"},
                {"U3", 3, Group(1, 3), "does not begin with bank 0"},
                {"U3", 4, good, "group of 3 banks for 4"},
                {"U3", 3, {good.begin(), good.begin() + 30}, "broken off after 26 of 56 bytes"},
                {"U3", 3, good, kUnasked},
                {"U2", 3, good, "procedure U2"},
                {"U3", 3, kEnterBoot, "boot entry of another procedure than U3"},
                {"U5", 4, Group(0, 3), "not of three banks"},
                {"U5", 6, Group(4, 4), "bank 4 in the place of bank 3"},
                {"U5", 6, Group(3, 4), "data banks come one by one"},
                {"U5", 6, Changed(Group(3, 3), 2), "bank sums"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.violation);
        PrinterOptions options;
        options.mode = row.mode;
        options.line = simulator::Line::Serial;
        options.bankSize = kBank;
        options.bankCount = row.banks;
        PrinterModel model(options);
        std::uint64_t now = 5000;
        if (row.violation != kUnasked) Talk(model, now, kHandshake);
        if (row.banks == 6) Talk(model, now, good);  // the code group of U5
        const Bytes flash = model.FlashImage();
        const int restarts = model.Restarts();
        Talk(model, now, row.sent);
        Talk(model, now, {0x18});  // what was broken off is given up
        EXPECT_THAT(model.Violations(), testing::Contains(testing::HasSubstr(row.violation)));
        EXPECT_EQ(model.FlashImage(), flash);
        EXPECT_EQ(model.Restarts(), restarts);
    }
}

TEST(PrinterModel, RefusesModulesThatAreNotAsTheyAreSent) {
    const Bytes sent = SampleFiles::AsSent(SampleFiles::MakeModule({}));
    const auto fromEnd = [&](std::size_t at) { return sent.size() - at; };
    const std::pair<Bytes, unsigned char> rows[] = {
        {sent, 0xAA},
        {Changed(sent, 200), 0x95},
        {Changed(sent, 1), 0x95},
        {Changed(sent, fromEnd(4101), 0x5A), 0x95},  // key left
        {Changed(SampleFiles::MakeModule({}), fromEnd(4101), 0x5A), 0x95},
        {Changed(sent, fromEnd(10)), 0x44}};
    for (const auto& [image, answer] : rows) {
        PrinterModel model{PrinterOptions()};
        std::uint64_t now = 5000;
        Talk(model, now, kHandshake);
        EXPECT_THAT(Talk(model, now, image), testing::ElementsAre(answer));
        EXPECT_EQ(model.Modules().size(), answer == 0xAA ? 1U : 0U);
        EXPECT_EQ(model.Violations().size(), answer == 0xAA ? 0U : 1U);
    }
}

TEST(SampleFiles, AllThatIsWrittenLoads) {
    const std::string folder = testing::TempDir() + "sample-files";
    int loaded = 0;
    for (const std::string& path : SampleFiles::WriteAll(folder)) {
        ModuleData module;
        PSWFile package;
        loaded += module.LoadModuleFromFile(path.c_str()) ? 100 : 0;
        loaded += package.LoadPSWFromFile(path.c_str(), true) ? 1 : 0;
    }
    EXPECT_EQ(loaded, 407);
    std::filesystem::remove_all(folder);
}

/// The reason for which the words are refused; "" for none.
std::string Refusal(Lines words, SimulatorArguments* parsed) {
    words.insert(words.begin(), "printer-simulator");
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    try {
        *parsed = SimulatorArguments::Parse(static_cast<int>(words.size()), pointers.data());
    } catch (const std::invalid_argument& failure) {
        return failure.what();
    }
    return "";
}

TEST(SimulatorArguments, WordsBecomeOptionsAndWrongOnesAreNamed) {
    SimulatorArguments some;
    EXPECT_EQ(Refusal({"--serial", "--usb", "--mode", "U4", "--fault", "module:2=339A"}, &some), "");
    EXPECT_TRUE(some.usb && some.serial && some.printer.mode == "U4");
    EXPECT_EQ(some.printer.faults.at(0).last, 2);
    EXPECT_EQ(some.printer.faults.at(0).answers, (std::vector<Bytes>{{0x33, 0x9A}}));
    const std::pair<Lines, const char*> rows[] = {
        {{"--nonsense"}, "unknown or incomplete option: --nonsense"},
        {{"printer"}, "unknown word: printer"},
        {{"--tcp", "70000"}, "not a number from 0 to 65535: 70000"},
        {{"--mode", "U7"}, "a mode is U1 to U6, not U7"},
        {{"--tcp", "1", "--serial"}, "--tcp or --serial, not both"},
        {{"--fault", "module"}, "a fault is NAME[:N]=WHAT, not module"},
        {{"--fault", "modul=33"}, "no such exchange: modul"},
        {{"--fault", "module=3"}, "not bytes in hexadecimal: 3"}};
    for (const auto& [words, reason] : rows) EXPECT_EQ(Refusal(words, &some), reason);
}

}  // namespace

#include "simulator/PrinterModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Conversation.h"
#include "simulator/SampleFiles.h"

namespace {

using simulator::Bytes;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PrinterOptions;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string Text(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

const Bytes kAskStatus{0x18, 0x1D, 0x49, 0x01};
const Bytes kAskExtended{0x18, 0x1D, 0x49, 0xFF};
const Bytes kAskRelease{0x18, 0x1D, 0x49, 0x03};

TEST(PrinterModelInquiries, AnswersEachRequestInItsForm) {
    Conversation talk{PrinterOptions()};
    talk.Send("\x1C<EPOS>");
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0x5D));
    EXPECT_EQ(Text(talk.Ask(kAskRelease)), "1.05");
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x01})), "\x02<C1><1.00>\x03");
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x28})), "\x02<C40><37>\x03");
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x70})), "\x02<C112><U3><><12;3;1>\x03");
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x40})),
              std::string("\x02<C64><3>FNT-001\0DSK-001\0LGO-001\0\x03", 34));
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x02})).substr(0, 14), "\x02<C2><3>TICKET");
    EXPECT_THAT(talk.model.Violations(), IsEmpty());
}

TEST(PrinterModelInquiries, GivesTheExtendedStatusInTwoSteps) {
    PrinterOptions options;
    options.extendedStatus = 0x1234;
    Conversation talk{options};
    talk.Send("\x1C<EPOS>");
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0xFF));
    EXPECT_THAT(talk.Ask(kAskExtended), ElementsAre(0x12, 0x34));
}

TEST(PrinterModelInquiries, AnswersNoFramedRequestBeforeTheCommandSetIsSelected) {
    Conversation talk{PrinterOptions()};
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0x5D)) << "the status may be asked at any time";
    EXPECT_THAT(talk.Ask({0x1F, 0xFF, 0x01}), IsEmpty());
    EXPECT_THAT(talk.model.Violations(),
                ElementsAre("protocol-version asked before the command set was selected"));
}

TEST(PrinterModelInquiries, HearsNothingAfterStrayBytesUntilTheLineWasQuiet) {
    Conversation talk{PrinterOptions()};
    talk.Send("\x1C<EPOS>hello");
    EXPECT_THAT(talk.Ask(kAskStatus), IsEmpty());
    EXPECT_THAT(talk.model.Violations(), ElementsAre("bytes that belong to no request"));
    talk.now += 1000;
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0x5D));
}

TEST(PrinterModelFaults, HitTheOccurrencesThatTheyName) {
    PrinterOptions options;
    options.faults = {Fault::Silence(Exchange::Status).Between(1, 2),
                      Fault::Late(Exchange::Status, 700).At(3), Fault::Says(Exchange::Status, {1, 2}).At(4),
                      Fault::Refusal(Exchange::UpgradeInfo, 23),
                      Fault::Endless(Exchange::Release, {'x'}, 10)};
    Conversation talk{options};
    talk.Send("\x1C<EPOS>");
    EXPECT_THAT(talk.Ask(kAskStatus), IsEmpty());
    EXPECT_THAT(talk.Ask(kAskStatus), IsEmpty());
    EXPECT_THAT(talk.Ask(kAskStatus), IsEmpty());
    EXPECT_THAT(talk.Hear(700), ElementsAre(0x5D));
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(1, 2));
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0x5D));
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x70})), "\x02<C112>\x15<ERR23>\x03");
    EXPECT_EQ(Text(talk.Ask(kAskRelease)), "xxxxxxxxxx");
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0x5D)) << "a cancel ends an endless answer";
}

// Groups of banks

constexpr std::size_t kBank = 16;

PrinterOptions Banks(const std::string& mode, unsigned banks, Line line = Line::Serial) {
    PrinterOptions options;
    options.mode = mode;
    options.line = line;
    options.bankSize = kBank;
    options.bankCount = banks;
    return options;
}

Bytes Firmware(unsigned banks) {
    return simulator::SampleFiles::MakeFirmware("106", banks * kBank);
}

TEST(PrinterModelBanks, TakesAWholeGroupInAnyPiecesAndComesBackWithItsRelease) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{1000}}) {
        Conversation talk{Banks("U3", 3, Line::Ethernet)};
        talk.Handshake();
        talk.SendInPieces(Conversation::Group(0, 2, Firmware(3), kBank, true), piece);
        EXPECT_THAT(talk.Hear(10), IsEmpty()) << "U3 is not answered";
        EXPECT_FALSE(talk.model.OnLine(talk.now)) << "restarting";
        EXPECT_THAT(talk.Ask(kAskStatus), IsEmpty());
        talk.now += 9500;
        EXPECT_TRUE(talk.model.OnLine(talk.now));
        EXPECT_EQ(talk.model.FlashImage(), Firmware(3));
        EXPECT_EQ(talk.model.Release(), "1.06");
        EXPECT_EQ(talk.model.Restarts(), 1);
        EXPECT_THAT(talk.model.Violations(), IsEmpty());
    }
}

struct WrongGroup {
    const char* what;
    PrinterOptions options;
    bool handshake;
    Bytes sent;
    const char* violation;
};

Bytes Changed(Bytes group, std::size_t fromEnd) {
    group[group.size() - fromEnd] ^= 1U;
    return group;
}

TEST(PrinterModelBanks, RefusesWhatIsNotInOrder) {
    const Bytes good = Conversation::Group(0, 2, Firmware(3), kBank, true);
    Bytes shortened = good;
    shortened.erase(shortened.begin() + 20);
    shortened.push_back(0);
    PrinterOptions noUpgrade = Banks("U3", 3);
    noUpgrade.dataAvailable = PrinterOptions::kOffersModules;
    const std::vector<WrongGroup> cases{
        {"no upgrade offered", noUpgrade, true, good, "offers no upgrade"},
        {"sum", Banks("U3", 3), true, Changed(good, 3), "bank sums"},
        {"xor sum", Banks("U3", 3), true, Changed(good, 1), "bank sums"},
        {"a byte of a bank", Banks("U3", 3), true, Changed(good, 20), "bank sums"},
        {"first bank of the program command", Banks("U3", 3), true, Changed(good, 6), "names other banks"},
        {"last bank of the program command", Banks("U3", 3), true, Changed(good, 5), "names other banks"},
        {"a byte too few", Banks("U3", 3), true, shortened, "no program command"},
        {"sums of another procedure", Banks("U3", 3), true,
         Conversation::Group(0, 2, Firmware(3), kBank, false), "bank sums"},
        {"sums of another procedure, U1", Banks("U1", 3), true, good, "bank sums"},
        {"first bank not 0", Banks("U3", 3), true, Conversation::Group(1, 3, Firmware(3), kBank, true),
         "does not begin with bank 0"},
        {"other bank count", Banks("U3", 4), true, good, "group of 3 banks for 4"},
        {"no inquiry before", Banks("U3", 3), false, good, "without the release inquiry"},
        {"other procedure", Banks("U2", 3), true, good, "procedure U2"},
        {"code group of another size", Banks("U5", 4), true,
         Conversation::Group(0, 3, Firmware(4), kBank, true), "not of three banks"},
    };
    for (const WrongGroup& c : cases) {
        Conversation talk{c.options};
        if (c.handshake) talk.Handshake();
        talk.Send(c.sent);
        talk.Hear(20000);
        EXPECT_THAT(talk.model.Violations(), testing::Contains(HasSubstr(c.violation))) << c.what;
        EXPECT_THAT(talk.model.FlashImage(), IsEmpty()) << c.what;
        EXPECT_EQ(talk.model.Restarts(), 0) << c.what;
    }
}

TEST(PrinterModelBanks, TheirNumberIsHeldInOneByteByEachProcedureInItsWay) {
    const Bytes firmware = Firmware(257);
    const Bytes first(firmware.begin(), firmware.begin() + kBank);
    const std::vector<std::pair<const char*, Bytes>> cases{{"U3", firmware}, {"U1", first}};
    for (const auto& [mode, taken] : cases) {
        Conversation talk{Banks(mode, 257)};
        talk.Handshake();
        talk.Send(Conversation::Group(0, 0, taken, kBank, mode[1] == '3'));
        talk.Hear(20000);
        EXPECT_EQ(talk.model.FlashImage(), taken) << mode;
        EXPECT_THAT(talk.model.Violations(), IsEmpty());
    }
}

TEST(PrinterModelBanks, GivesUpABrokenOffGroup) {
    Conversation talk{Banks("U3", 3)};
    talk.Handshake();
    const Bytes group = Conversation::Group(0, 2, Firmware(3), kBank, true);
    talk.Send(Bytes(group.begin(), group.begin() + 30));
    talk.now += 100000;
    talk.Handshake();
    EXPECT_THAT(talk.model.Violations(), ElementsAre("banks broken off after 26 of 56 bytes"));
    talk.Send(group);
    talk.Hear(20000);
    EXPECT_EQ(talk.model.FlashImage(), Firmware(3));
}

TEST(PrinterModelBanks, U1IsAnsweredAsItsLineSays) {
    struct Row {
        Line line;
        const char* configuration;
        bool answered;
    };
    for (const Row& row :
         {Row{Line::Serial, "0;", true}, Row{Line::Usb, "", true}, Row{Line::Usb, "1;", true},
          Row{Line::Usb, "0;", false}, Row{Line::Ethernet, "", false}}) {
        PrinterOptions options = Banks("U1", 3, row.line);
        options.configuration = row.configuration;
        Conversation talk{options};
        talk.Handshake();
        talk.Send(Conversation::Group(0, 2, Firmware(3), kBank, false));
        EXPECT_EQ(talk.Hear(2000), row.answered ? Bytes{0xAA} : Bytes{}) << row.configuration;
        talk.Hear(20000);
        EXPECT_EQ(talk.model.Release(), "1.06");
    }
}

TEST(PrinterModelBanks, U1TakesTheGroupAgainAfterARefusal) {
    PrinterOptions options = Banks("U1", 3);
    options.faults = {Fault::Says(Exchange::BankGroup, {0x88}).At(2)};
    Conversation talk{options};
    talk.Handshake();
    const Bytes group = Conversation::Group(0, 2, Firmware(3), kBank, false);
    talk.Send(Changed(group, 1));
    EXPECT_THAT(talk.Hear(3000), ElementsAre(0x99));
    talk.Send(group);
    EXPECT_THAT(talk.Hear(3000), ElementsAre(0x88));
    EXPECT_THAT(talk.model.FlashImage(), IsEmpty());
    talk.Send(group);
    EXPECT_THAT(talk.Hear(3000), ElementsAre(0xAA));
    EXPECT_EQ(talk.model.FlashImage(), Firmware(3));
}

TEST(PrinterModelBanks, AnAnswerIsStillFetchedByASlowTransport) {
    Conversation talk{Banks("U1", 3)};
    talk.Handshake();
    talk.Send(Conversation::Group(0, 2, Firmware(3), kBank, false));
    talk.now += 7000;  // due after 1500, restart after 6500
    EXPECT_TRUE(talk.model.OnLine(talk.now));
    EXPECT_THAT(talk.Hear(10), ElementsAre(0xAA));
    EXPECT_TRUE(talk.model.OnLine(talk.now + 4900));
    EXPECT_FALSE(talk.model.OnLine(talk.now + 5000));
    talk.now += 5000;
    EXPECT_FALSE(talk.model.OnLine(talk.now));
}

/// A printer of U5 after its code group and the restart that follows.
Conversation& CodeSent(Conversation& talk) {
    talk.Handshake();
    const Bytes all = Firmware(3);
    talk.Send(Conversation::Group(0, 2, all, kBank, true));
    talk.Hear(20000);
    return talk;
}

Bytes Bank(unsigned index) {
    return Bytes(kBank, static_cast<unsigned char>(index * 7));
}

Bytes DataBank(unsigned index) {
    const auto low = static_cast<unsigned char>(index & 0xFFU);
    return Conversation::Group(low, low, Bank(index), kBank, true);
}

TEST(PrinterModelBanks, U5TakesCodeThenDataAndIsSilentAfterTheLastBank) {
    PrinterOptions options = Banks("U5", 260, Line::Usb);
    options.serialInCodePhase = "SIM0007";
    Conversation talk{options};
    EXPECT_EQ(talk.model.OnUsb(talk.now)->serial, "SIM0001");
    CodeSent(talk);
    EXPECT_EQ(talk.model.OnUsb(talk.now)->serial, "SIM0007");
    EXPECT_EQ(talk.model.Release(), "1.05") << "not before the last bank";
    Bytes expected = Firmware(3);
    for (unsigned index = 3; index < 260; ++index) {
        talk.Send(DataBank(index));
        EXPECT_EQ(talk.Hear(500), index < 259 ? Bytes{0xAA} : Bytes{}) << index;
        const Bytes bank = Bank(index);
        expected.insert(expected.end(), bank.begin(), bank.end());
    }
    talk.Hear(20000);
    EXPECT_EQ(talk.model.FlashImage(), expected);
    EXPECT_EQ(talk.model.Release(), "1.06");
    EXPECT_EQ(talk.model.OnUsb(talk.now)->serial, "SIM0001");
    EXPECT_THAT(talk.model.Violations(), IsEmpty());
}

TEST(PrinterModelBanks, U5RefusesDataBanksOutOfOrder) {
    Bytes pair = DataBank(3);
    pair[3] = 4;
    const std::vector<std::pair<Bytes, const char*>> cases{
        {DataBank(4), "bank 4 in the place of bank 3"},
        {pair, "data banks come one by one"},
        {Changed(DataBank(3), 2), "bank sums"},
    };
    for (const auto& [sent, violation] : cases) {
        Conversation talk{Banks("U5", 6)};
        CodeSent(talk).Send(sent);
        const Bytes heard = talk.Hear(3000);
        EXPECT_TRUE(heard.empty() || heard == Bytes{0x99}) << violation;
        EXPECT_THAT(talk.model.Violations(), ElementsAre(HasSubstr(violation)));
        EXPECT_EQ(talk.model.FlashImage().size(), 3 * kBank);
    }
}

TEST(PrinterModelCut, ComesOnceAfterTheBytesNamed) {
    PrinterOptions options = Banks("U3", 3, Line::Ethernet);
    options.faults = {Fault::Cut(Exchange::BankGroup, 20).At(1)};
    Conversation talk{options};
    const Bytes group = Conversation::Group(0, 2, Firmware(3), kBank, true);
    talk.Handshake();
    talk.Send(Bytes(group.begin(), group.begin() + 23));
    EXPECT_FALSE(talk.model.TakeCut()) << "19 bytes of the group so far";
    talk.Send(Bytes{group[23]});
    EXPECT_TRUE(talk.model.TakeCut());
    EXPECT_FALSE(talk.model.TakeCut());
    talk.model.ConnectionChanged(false, talk.now);
    talk.model.ConnectionChanged(true, talk.now);
    talk.Handshake();
    talk.Send(group);
    talk.Hear(20000);
    EXPECT_EQ(talk.model.FlashImage(), Firmware(3));
    EXPECT_THAT(talk.model.Violations(), IsEmpty()) << "the cut was the printer's doing";
}

// Boot loader

/// A chip that is done once the host said so.
class SimpleBootDevice final : public simulator::BootDevice {
 public:
    void Receive(const unsigned char* data, std::size_t size, std::uint64_t) override {
        flash_.insert(flash_.end(), data, data + size);
    }
    std::vector<Bytes> Transmit(std::uint64_t) override { return {{'k'}}; }
    bool Control(const simulator::ControlRequest& request, std::uint64_t) override {
        return finished_ = request.value;
    }
    std::uint64_t NextEvent(std::uint64_t) const override { return kNever; }
    std::optional<simulator::UsbIdentity> OnUsb(std::uint64_t) override {
        return simulator::UsbIdentity{0x1111, 0x2222, "CHIP"};
    }
    bool Finished() const override { return finished_; }
    Bytes FlashImage() const override { return flash_; }
    std::string NewRelease() const override { return flash_.empty() ? "" : "2.00"; }
    std::vector<std::string> Violations() const override { return {"chip"}; }

 private:
    Bytes flash_;
    bool finished_ = false;
};

PrinterOptions BootPrinter(const std::string& mode) {
    PrinterOptions options;
    options.mode = mode;
    options.line = Line::Usb;
    options.bootDelayMs = 3000;
    options.bootDevice = [] { return std::make_unique<SimpleBootDevice>(); };
    return options;
}

const Bytes kEnterRenesas{0x1C, 0x4C, 0x49};
const Bytes kEnterSiliconLabs{0x1C, 0xEE};

TEST(PrinterModelBoot, HandsOverToTheBootDeviceAndComesBackWithItsFirmware) {
    Conversation talk{BootPrinter("U2")};
    talk.Handshake();
    EXPECT_EQ(Text(talk.Ask(kEnterRenesas)), "BOOT_RST");
    talk.Hear(600);
    EXPECT_FALSE(talk.model.OnUsb(talk.now)) << "left its firmware";
    talk.now += 3000;
    EXPECT_EQ(talk.model.OnUsb(talk.now)->serial, "CHIP");
    talk.Send("new firmware");
    EXPECT_EQ(Text(talk.model.Transmit(talk.now).front()), "k");
    EXPECT_TRUE(talk.model.Control({0x21, 9, 1, 0, {}}, talk.now));
    EXPECT_FALSE(talk.model.OnUsb(talk.now)) << "restarting";
    talk.now += 8000;
    EXPECT_EQ(talk.model.OnUsb(talk.now)->serial, "SIM0001");
    EXPECT_EQ(Text(talk.model.FlashImage()), "new firmware");
    EXPECT_EQ(talk.model.Release(), "2.00");
    EXPECT_THAT(talk.model.Violations(), ElementsAre("chip"));
}

TEST(PrinterModelBoot, APowerCycleStartsTheFirmwareOrTheBootLoaderAgain) {
    Conversation talk{BootPrinter("U6")};
    talk.Handshake();
    EXPECT_THAT(talk.Ask(kEnterSiliconLabs), IsEmpty());
    talk.Hear(5000);
    ASSERT_NE(talk.model.Boot(), nullptr);
    talk.model.PowerCycle(talk.now);
    EXPECT_EQ(talk.model.Boot(), nullptr);
    talk.Hear(5000);
    ASSERT_NE(talk.model.Boot(), nullptr) << "no firmware in it yet";
    talk.Send("new firmware");
    talk.model.PowerCycle(talk.now);
    talk.Hear(9000);
    EXPECT_EQ(talk.model.Release(), "2.00");
}

TEST(PrinterModelBoot, StaysInItsFirmwareWhenTheEntryIsNotInOrder) {
    for (const bool handshake : {false, true}) {
        Conversation talk{BootPrinter(handshake ? "U6" : "U2")};
        if (handshake) talk.Handshake();
        EXPECT_THAT(talk.Ask(kEnterRenesas), IsEmpty());
        talk.Hear(9000);
        EXPECT_EQ(talk.model.OnUsb(talk.now)->serial, "SIM0001");
        EXPECT_EQ(talk.model.Violations().size(), 1U);
    }
}

// Modules

TEST(PrinterModelModules, TakesWhatTheHostSendsOfEachSample) {
    for (const int mode : {-1, 0, 1}) {
        for (const unsigned char key : Bytes{0x00, 0x01, 0x42, 0xFF}) {
            simulator::ModuleSample sample;
            sample.encodingMode = mode;
            sample.key = key;
            const Bytes sent = simulator::SampleFiles::AsSent(simulator::SampleFiles::MakeModule(sample));
            Conversation talk{PrinterOptions()};
            talk.Handshake();
            talk.SendInPieces(sent, 4096);
            EXPECT_THAT(talk.Hear(1000), ElementsAre(0xAA)) << mode << " " << int{key};
            EXPECT_THAT(talk.model.Modules(), ElementsAre(sent));
            EXPECT_THAT(talk.model.Violations(), IsEmpty());
        }
    }
}

TEST(PrinterModelModules, RefusesAnImageThatIsNotWhatTheFileHolds) {
    const Bytes file = simulator::SampleFiles::MakeModule({});
    const Bytes sent = simulator::SampleFiles::AsSent(file);
    Bytes keyLeft = sent;
    keyLeft[4101] = file[4101];
    Bytes notDescrambled = file;
    notDescrambled[4101] = 0;
    Bytes noMark = sent;
    noMark[10] = 'X';
    struct Row {
        const char* what;
        Bytes image;
        unsigned char answer;
    };
    for (const Row& row : {Row{"body", Changed(sent, 200), 0x95}, Row{"sum", Changed(sent, 1), 0x95},
                           Row{"key left", keyLeft, 0x95}, Row{"not descrambled", notDescrambled, 0x95},
                           Row{"mark", noMark, 0x44}}) {
        Conversation talk{PrinterOptions()};
        talk.Handshake();
        talk.Send(row.image);
        EXPECT_THAT(talk.Hear(1000), ElementsAre(row.answer)) << row.what;
        EXPECT_THAT(talk.model.Modules(), IsEmpty()) << row.what;
        EXPECT_EQ(talk.model.Violations().size(), 1U) << row.what;
    }
}

TEST(PrinterModelModules, TakesNoneWithoutTheHandshakeBeforeIt) {
    Conversation talk{PrinterOptions()};
    talk.Handshake();
    talk.Ask({0x1F, 0xFF, 0x40});
    talk.Send(simulator::SampleFiles::AsSent(simulator::SampleFiles::MakeModule({})));
    EXPECT_THAT(talk.Hear(1000), IsEmpty());
    EXPECT_THAT(talk.model.Violations(), ElementsAre("bytes that belong to no request"));
}

TEST(PrinterModelModules, ResultGoesToWhoeverIsConnectedWhenItFallsDue) {
    PrinterOptions options;
    options.faults = {Fault::Late(Exchange::Module, 5000)};
    Conversation talk{options};
    talk.Handshake();
    talk.Send(simulator::SampleFiles::AsSent(simulator::SampleFiles::MakeModule({})));
    EXPECT_THAT(talk.Hear(1000), IsEmpty());
    talk.model.ConnectionChanged(false, talk.now);
    talk.model.ConnectionChanged(true, talk.now);
    EXPECT_THAT(talk.Hear(5000), ElementsAre(0xAA));
}

}  // namespace

#include "simulator/PrinterModel.h"

#include <gmock/gmock.h>

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
const Bytes kAskVersion{0x1F, 0xFF, 0x01};
const Bytes kEnterRenesas{0x1C, 0x4C, 0x49};

TEST(PrinterModelInquiries, AnswersEachRequestInItsForm) {
    PrinterOptions options;
    options.extendedStatus = 0x1234;
    Conversation talk{options};
    talk.Send("\x1C<EPOS>");
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0xFF));
    EXPECT_THAT(talk.Ask({0x18, 0x1D, 0x49, 0xFF}), ElementsAre(0x12, 0x34));
    EXPECT_EQ(Text(talk.Ask({0x18, 0x1D, 0x49, 0x03})), "1.05");
    EXPECT_EQ(Text(talk.Ask(kAskVersion)), "\x02<C1><1.00>\x03");
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x28})), "\x02<C40><37>\x03");
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x70})), "\x02<C112><U3><><12;3;1>\x03");
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x40})),
              std::string("\x02<C64><3>FNT-001\0DSK-001\0LGO-001\0\x03", 34));
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x02})).substr(0, 14), "\x02<C2><3>TICKET");
    EXPECT_THAT(talk.model.Violations(), IsEmpty());
}

TEST(PrinterModelInquiries, HearsNothingAfterStrayBytesUntilTheLineWasQuiet) {
    Conversation talk{PrinterOptions()};
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0x5D)) << "the status may be asked at any time";
    EXPECT_THAT(talk.Ask(kAskVersion), IsEmpty());
    talk.Send("\x1C<EPOS>hello");
    EXPECT_THAT(talk.Ask(kAskStatus), IsEmpty());
    EXPECT_THAT(talk.model.Violations(),
                ElementsAre("protocol-version asked before the command set was selected",
                            "bytes that belong to no request"));
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
    for (int i = 0; i < 3; ++i) EXPECT_THAT(talk.Ask(kAskStatus), IsEmpty());
    EXPECT_THAT(talk.Hear(700), ElementsAre(0x5D));
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(1, 2));
    EXPECT_EQ(Text(talk.Ask({0x1F, 0xFF, 0x70})), "\x02<C112>\x15<ERR23>\x03");
    EXPECT_EQ(Text(talk.Ask({0x1D, 0x49, 0x03})), "xxxxxxxxxx");
    EXPECT_THAT(talk.Ask(kAskStatus), ElementsAre(0x5D)) << "a cancel ends an endless answer";
}

// Banks

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

Bytes Group(unsigned char first, unsigned char last, bool perBank = true) {
    return Conversation::Group(first, last, Firmware(last - first + 1U), kBank, perBank);
}

Bytes Changed(Bytes group, std::size_t fromEnd) {
    group[group.size() - fromEnd] ^= 1U;
    return group;
}

TEST(PrinterModelBanks, TakesAWholeGroupInAnyPiecesAndComesBackWithItsRelease) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{1000}}) {
        Conversation talk{Banks("U3", 3, Line::Ethernet)};
        talk.Handshake();
        talk.SendInPieces(Group(0, 2), piece);
        EXPECT_THAT(talk.Hear(10), IsEmpty()) << "U3 is not answered";
        EXPECT_FALSE(talk.model.OnLine(talk.now)) << "restarting";
        talk.now += 9500;
        EXPECT_TRUE(talk.model.OnLine(talk.now));
        EXPECT_EQ(talk.model.FlashImage(), Firmware(3));
        EXPECT_EQ(talk.model.Release(), "1.06");
        EXPECT_THAT(talk.model.Violations(), IsEmpty());
    }
}

TEST(PrinterModelBanks, RefusesWhatIsNotInOrder) {
    const Bytes good = Group(0, 2);
    Bytes shortened = good;
    shortened.erase(shortened.begin() + 20);
    shortened.push_back(0);
    Bytes pair = Group(3, 3);
    pair[3] = 4;
    PrinterOptions noUpgrade = Banks("U3", 3);
    noUpgrade.dataAvailable = PrinterOptions::kOffersModules;
    const struct {
        PrinterOptions options;
        Bytes sent;
        const char* violation;
    } cases[] = {
        {noUpgrade, good, "offers no upgrade"},
        {Banks("U3", 3), Changed(good, 1), "bank sums"},
        {Banks("U3", 3), Changed(good, 3), "bank sums"},
        {Banks("U3", 3), Changed(good, 20), "bank sums"},
        {Banks("U3", 3), Changed(good, 5), "names other banks"},
        {Banks("U3", 3), Changed(good, 6), "names other banks"},
        {Banks("U3", 3), shortened, "no program command"},
        {Banks("U3", 3), Group(0, 2, false), "bank sums"},
        {Banks("U1", 3), good, "bank sums"},
        {Banks("U3", 3), Group(1, 3), "does not begin with bank 0"},
        {Banks("U3", 4), good, "group of 3 banks for 4"},
        {Banks("U2", 3), good, "procedure U2"},
        {Banks("U5", 4), Group(0, 3), "not of three banks"},
        {Banks("U5", 6), Group(4, 4), "bank 4 in the place of bank 3"},
        {Banks("U5", 6), pair, "data banks come one by one"},
        {Banks("U5", 6), Changed(Group(3, 3), 2), "bank sums"},
        {Banks("U3", 3), kEnterRenesas, "boot entry of another procedure than U3"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.violation);
        Conversation talk{row.options};
        talk.Handshake();
        const bool dataPhase = row.options.bankCount == 6;
        if (dataPhase) {
            talk.Send(good);
            talk.Hear(20000);
        }
        const Bytes flash = talk.model.FlashImage();
        const int restarts = talk.model.Restarts();
        talk.Send(row.sent);
        talk.Hear(20000);
        EXPECT_THAT(talk.model.Violations(), testing::Contains(HasSubstr(row.violation)));
        EXPECT_EQ(talk.model.FlashImage(), flash);
        EXPECT_EQ(talk.model.Restarts(), restarts);
    }
}

TEST(PrinterModelBanks, NeedsTheReleaseInquiryBeforeIt) {
    const std::pair<Bytes, const char*> cases[] = {
        {Group(0, 2), "banks without the release inquiry before them"},
        {kEnterRenesas, "boot entry without the release inquiry before it"}};
    for (const auto& [sent, violation] : cases) {
        Conversation talk{Banks(sent == kEnterRenesas ? "U2" : "U3", 3)};
        talk.Send(sent);
        talk.Hear(20000);
        EXPECT_THAT(talk.model.Violations(), ElementsAre(violation));
        EXPECT_EQ(talk.model.Restarts(), 0);
    }
}

TEST(PrinterModelBanks, TheirNumberIsHeldInOneByteByEachProcedureInItsWay) {
    for (const char* mode : {"U3", "U1"}) {
        const Bytes taken = Firmware(mode[1] == '3' ? 257 : 1);
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
    const Bytes group = Group(0, 2);
    talk.Send(Bytes(group.begin(), group.begin() + 30));
    talk.now += 100000;
    talk.Handshake();
    EXPECT_THAT(talk.model.Violations(), ElementsAre("banks broken off after 26 of 56 bytes"));
    talk.Send(group);
    talk.Hear(20000);
    EXPECT_EQ(talk.model.FlashImage(), Firmware(3));
}

TEST(PrinterModelBanks, AnAnswerIsStillFetchedByASlowTransport) {
    Conversation talk{Banks("U1", 3)};
    talk.Handshake();
    talk.Send(Group(0, 2, false));
    talk.now += 7000;  // due after 1500, restart after 6500
    EXPECT_TRUE(talk.model.OnLine(talk.now));
    EXPECT_THAT(talk.Hear(10), ElementsAre(0xAA));
    EXPECT_TRUE(talk.model.OnLine(talk.now + 4900));
    EXPECT_FALSE(talk.model.OnLine(talk.now + 5000));
}

// Modules

Bytes SentModule(int mode = 1, unsigned char key = 0x5A) {
    simulator::ModuleSample sample;
    sample.encodingMode = mode;
    sample.key = key;
    return simulator::SampleFiles::AsSent(simulator::SampleFiles::MakeModule(sample));
}

TEST(PrinterModelModules, TakesEachEncodingAndRefusesAnyOtherImage) {
    const Bytes sent = SentModule();
    Bytes keyLeft = sent;
    keyLeft[4101] = 0x5A;
    Bytes notDescrambled = simulator::SampleFiles::MakeModule({});
    notDescrambled[4101] = 0;
    Bytes noMark = sent;
    noMark[10] = 'X';
    const struct {
        Bytes image;
        unsigned char answer;
    } cases[] = {{SentModule(-1), 0xAA},      {SentModule(0, 0), 0xAA},
                 {SentModule(0, 0xFF), 0xAA}, {SentModule(1, 1), 0xAA},
                 {SentModule(1, 0x42), 0xAA}, {Changed(sent, 200), 0x95},
                 {Changed(sent, 1), 0x95},    {keyLeft, 0x95},
                 {notDescrambled, 0x95},      {noMark, 0x44}};
    for (const auto& row : cases) {
        Conversation talk{PrinterOptions()};
        talk.Handshake();
        talk.SendInPieces(row.image, 4096);
        EXPECT_THAT(talk.Hear(1000), ElementsAre(row.answer));
        const bool good = row.answer == 0xAA;
        EXPECT_EQ(talk.model.Modules(), good ? std::vector<Bytes>{row.image} : std::vector<Bytes>{});
        EXPECT_EQ(talk.model.Violations().size(), good ? 0U : 1U);
    }
}

TEST(PrinterModelModules, TakesNoneWithoutTheHandshakeBeforeIt) {
    Conversation talk{PrinterOptions()};
    talk.Handshake();
    talk.Ask({0x1F, 0xFF, 0x40});
    talk.Send(SentModule());
    EXPECT_THAT(talk.Hear(1000), IsEmpty());
    EXPECT_THAT(talk.model.Violations(), ElementsAre("bytes that belong to no request"));
}

TEST(PrinterModelModules, ResultGoesToWhoeverIsConnectedWhenItFallsDue) {
    PrinterOptions options;
    options.faults = {Fault::Late(Exchange::Module, 5000)};
    Conversation talk{options};
    talk.Handshake();
    talk.Send(SentModule());
    talk.model.ConnectionChanged(false, talk.now);
    talk.model.ConnectionChanged(true, talk.now);
    EXPECT_THAT(talk.Hear(6000), ElementsAre(0xAA));
}

}  // namespace

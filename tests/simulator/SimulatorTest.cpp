// What the simulator promises and no upgrade asks for: that it refuses what a printer would refuse. That it
// takes what is right shows in every upgrade.
#include <gmock/gmock.h>

#include "simulator/PrinterModel.h"
#include "simulator/SampleFiles.h"

namespace {

using simulator::Bytes;
using simulator::PrinterModel;
using simulator::PrinterOptions;
namespace SampleFiles = simulator::SampleFiles;

constexpr std::size_t kBank = 16;
const Bytes kHandshake{0x1C, '<', 'E', 'P', 'O', 'S', '>', 0x18, 0x1D, 0x49, 0x03};

/// Sends in pieces; a minute and more passes.
void Send(PrinterModel& model, std::uint64_t& now, const Bytes& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += 7)
        model.Receive(&bytes[at], std::min<std::size_t>(7, bytes.size() - at), now);
    for (const std::uint64_t end = now + 100000; now < end; now += 500) model.Transmit(now);
}

/// A group of banks as the procedures send it, its sums as U3 and U5 (`perBank`) or U1 take them.
Bytes Group(unsigned char first, unsigned char last, bool perBank = true) {
    const Bytes banks = SampleFiles::MakeFirmware("106", (last - first + 1U) * kBank);
    Bytes group{0x1C, 0xFD, first, last};
    for (const unsigned char byte : banks) group.push_back(byte);
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

TEST(PrinterModel, RefusesWhatIsNotInOrder) {
    const Bytes good = Group(0, 2);
    struct Row {
        const char* mode;
        unsigned banks;
        Bytes sent;
        std::string violation;
    };
    const Row unasked{"U3", 3, good, "banks without the release inquiry before them"};
    std::vector<Row> rows{unasked,
                          {"U1", 3, good, "bank sums"},
                          {"U3", 3, Group(0, 2, false), "bank sums"},
                          {"U3", 3, Group(1, 3), "does not begin with bank 0"},
                          {"U3", 4, good, "group of 3 banks for 4"},
                          {"U3", 3, {good.begin(), good.begin() + 30}, "broken off after 26 of 56 bytes"},
                          {"U2", 3, good, "procedure U2"},
                          {"U3", 3, {0x1C, 0x4C, 0x49}, "boot entry of another procedure than U3"},
                          {"U5", 4, Group(0, 3), "not of three banks"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.violation);
        PrinterOptions options;
        options.mode = row.mode;
        options.line = simulator::Line::Serial;
        options.bankSize = kBank;
        options.bankCount = row.banks;
        PrinterModel model(options);
        std::uint64_t now = 5000;
        if (row.violation != unasked.violation) Send(model, now, kHandshake);
        Send(model, now, row.sent);
        Send(model, now, {0x18});  // what was broken off is given up
        EXPECT_THAT(model.Violations(), testing::Contains(testing::HasSubstr(row.violation)));
    }
}

}  // namespace

// What the three bank engines share: what they refuse, how they reach the printer, sums and packets.
#include "upgrade/BankTransfer.h"

#include "harness/Rig.h"

namespace {

/// A firmware of 101 bytes in a package that says it has so many banks of so many bytes.
Given Says(unsigned banks, std::size_t bankSize) {
    return [=](Rig& rig) {
        rig.package.modules.clear();
        rig.package.firmware = simulator::SampleFiles::MakeFirmware("106", 101);
        rig.package.banks = banks;
        rig.package.bankSize = bankSize;
    };
}

TEST(BankTransfer, AFirmwareThatIsNotWholeIsRefusedBeforeThePrinterIsTouched) {
    const std::string wrong = "Upgrade file wrong or incomplete:";
    const std::string count = "NumBank Error : 0";
    const std::string size = "BankDim Error : 0";
    const std::string start = "[HandshakeCommunication]GSI 0x015d ";
    for (const char* mode : {"U1", "U3", "U5"}) {
        PlayRows(mode, {Row("no banks", Line::Usb, kBoth, Says(0, 10), kNothing,
                            {wrong, count, "!" + size, "!" + start}),
                        Row("no size", Line::Usb, kOld, Says(3, 0), kNothing,
                            {wrong, size, "!" + count, "!" + start}),
                        Row("a byte more than there is", Line::Usb, kBoth, Says(3, 34), kNothing,
                            {wrong, "!" + count, "!" + size, "!" + start})});
    }
    PlayRows("U5", {Row("no code", Line::Usb, kBoth, Says(2, 10), kNothing, {wrong, "!" + start})});
    unsigned char byte = 0;
    for (const auto& [banks, bankSize] : {std::pair{4, std::uint64_t{1} << 62}, {-3, std::uint64_t{1}}})
        EXPECT_FALSE((FirmwareImage{banks, bankSize, &byte, 101}).HoldsItsBanks());
}

// Only U1 gives up when the port is not back; the others fail at the exchange that follows.
TEST(BankTransfer, ReopenHandshakeAndRelease) {
    const auto reopenFails = [](int last) { return LineFaults({{"ReOpen", LineFault::kError, 1, last}}); };
    for (const std::string mode : {"U1", "U3", "U5"}) {
        const bool givesUp = mode == "U1";
        const Lines tooMany{
            givesUp ? "ReOpen Error. Retry" : "ReOpen Error. Retry 8",
            std::string("ReOpen Error. Num ") + (givesUp ? "M" : "m") + "ax Retry found. Throw Error"};
        // 8 pauses of 5 s; the handshake has 4 of 1.5 s.
        const auto took = [=](const Rig& rig) { EXPECT_EQ(rig.namedMs, givesUp ? 40000U : 46000U); };
        PlayRows(
            mode,
            {Row("back at the ninth", Line::Serial, kOld, reopenFails(8), kWhole, {"!" + tooMany[1]}),
             Row("not back", Line::Serial, kOld, reopenFails(9), kNothing, tooMany, took),
             Row("no release", Line::Ethernet, kOld, PrinterFaults({Fault::Silence(Exchange::Release).At(2)}),
                 kNothing, {"[SendFW]Read FW Release Error"})});
    }
}

// Sizes around the blocks of 256 bytes and the index's 16 bits: the printer adds byte by byte. U1 sends one
// sum over the group, U3 one over each bank.
TEST(BankTransfer, SumsOfBanksOfAnySize) {
    for (const std::size_t size : {30U, 255U, 257U, 65535U, 65536U, 65793U}) {
        const auto sized = [=](Rig& rig) {
            rig.package.modules.clear();
            rig.printer.bankSize = rig.package.bankSize = size;
        };
        for (const char* mode : {"U1", "U3"})
            PlayRows(mode, {Row("sums", Line::Usb, kBoth, sized, kWhole, {})});
    }
}

TEST(LargePackets, ScaleTheWriteTimeout) {
    struct Port final : CComPort {};
    const unsigned rows[][3] = {{64, 1000, 897000}, {1000, 500, 29000}, {57344, 700, 1400},
                                {100000, 700, 700}, {0, 1, 57345},      {1, 2000000000, 2147483647}};
    for (const auto& [packet, timeout, scaled] : rows) {
        Port port;
        port.uiWPacketSize = packet;
        port.uiTimeoutTX = timeout;
        LargePackets packets(port);
        EXPECT_EQ(port.uiTimeoutTX, scaled) << packet;
        packets.Restore();
        EXPECT_EQ(port.uiWPacketSize, packet);
        EXPECT_EQ(port.uiTimeoutTX, timeout);
    }
}

}  // namespace

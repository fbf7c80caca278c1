// Procedure U6: the printer becomes a boot device on USB that acknowledges each record of its firmware.
#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using simulator::Bytes;
using simulator::Line;
using Device = simulator::SiliconLabsBootDevice;

const std::string kEnter =
    "[EnterUSBBootDirectModeOnUSB]Sending command to enter in USB Boot Direct mode... ";
const std::string kNotFound = "[SendFW]Not found Silicon Lab device Error.";
const std::string kBadFile =
    "[SendFW]Upgrade file wrong or incomplete: the firmware is not a run of boot loader records";
const std::string kNack = "[SendFW]Silicon Laboratory answer Error NACK";
const std::string kSilence = "[SendFW]Read FW Release Error";

std::string Bank(int number) {
    return "[SendFW]Bank " + std::to_string(number) + " ";
}
Bytes Record(std::size_t n, unsigned char fill) {
    Bytes record(n + 2, fill);
    record[0] = '$';
    record[1] = static_cast<unsigned char>(n);
    return record;
}
/// One good record or none, and these bytes behind it.
Given Firmware(const std::vector<Bytes>& more, unsigned records = 1) {
    return [=](Rig& rig) {
        Bytes& firmware = rig.package.firmware = simulator::SampleFiles::MakeRecords("106", records);
        for (const Bytes& each : more) firmware.insert(firmware.end(), each.begin(), each.end());
        rig.package.bankSize = firmware.size();
    };
}

TEST(UpgradeU6, RecordsGoInReportsOf64Bytes) {
    const std::pair<std::size_t, int> sizes[] = {{0, 1},   {61, 1},  {62, 1}, {63, 2},
                                                 {126, 2}, {127, 3}, {253, 4}};
    for (const auto& [n, reports] : sizes) {
        for (const Line line : {Line::Serial, Line::Ethernet, Line::Usb}) {
            int pauses = 0;
            const auto given = [&, size = n](Rig& rig) {
                Firmware({Record(size, '$'), Record(size, 0x5A)})(rig);
                rig.time = [&](VirtualClock& clock) {
                    clock.onWait = [&] { pauses += clock.waits.back() == 10 ? 1 : 0; };
                };
            };
            const auto then = [&, count = 1 + 2 * reports](const Rig& rig) {
                EXPECT_EQ(CallsOf(rig, "Control"), count);
                EXPECT_EQ(pauses, count);
            };
            PlayRows("U6", {{"records", line, RigRow::kOld, given, true, RigRow::kAll, 0, {Bank(3)}, then}});
        }
    }
}

TEST(UpgradeU6, FirmwareThatIsNoRunOfRecordsIsRefusedBeforeThePrinterIsTold) {
    std::vector<Given> bad{Firmware({}, 0), Firmware({Bytes{0}, Record(2, 1)}), Firmware({Record(254, 1)})};
    for (const Bytes& more : {Bytes{'%', 0}, Bytes{0}, Bytes{'$'}, Bytes{'$', 3, 1, 2}, Record(255, 1)})
        bad.push_back(Firmware({more}));
    for (const Given& given : bad)
        PlayRows("U6", Line::Usb, {{"refused", given, false, {kBadFile, "!" + kEnter}, 1}});
}

TEST(UpgradeU6, AnAnswerThatIsNoAcknowledgementEndsItAtThatRecord) {
    const auto second = [](BootFault fault) { return Chip({fault.Between(2, 2)}); };
    const auto says = [&](const Bytes& answer) { return second(BootFault::Says(Device::kRecord, answer)); };
    for (const Bytes& answer :
         {Bytes{0x40, 0, 0, 1}, Bytes{0x40, 0, 1, 0}, Bytes{0x40, 1}, Bytes{0x41, 0, 0, 0}, Bytes{0}})
        PlayRows("U6", Line::Usb, {{"refused", says(answer), false, {Bank(2), kNack, "!" + Bank(3)}}});
    const Lines silent{Bank(2), kSilence, "!" + Bank(3)};
    PlayRows("U6", Line::Usb,
             {{"silent", says({}), false, silent},
              {"gone", second(BootFault::Vanishes(Device::kRecord)), false, silent},
              {"late", second(BootFault::Late(Device::kRecord, 900)), true, {}},
              {"too late", second(BootFault::Late(Device::kRecord, 1100)), false, silent}});
    // An answer in place of the chip's own: the chip has not taken that record.
    for (const Bytes& answer : {Bytes{0x40, 0, 0, 0, 0xFF}, Bytes{0x40}})
        PlayRows("U6", Line::Usb, {{"taken for one", says(answer), true, {Bank(5)}, 0, 0}});
}

TEST(UpgradeU6, TheDeviceIsWaitedFor) {
    Rig whole("U6", Line::Usb, false);
    EXPECT_TRUE(whole.Run());
    const auto there = Both(Bus("10C4|EAC9|BOOT2\n"), [](Rig& rig) {
        rig.timem = 0;
        rig.printer.bootDelayMs = 100;
    });
    const Given unsent = LineFaults({{"Write", LineFault::kError, CallsOf(whole, "Write")}});
    PlayRows("U6", Line::Usb,
             {{"slow", [](Rig& rig) { rig.timem = 3; }, true, {}, whole.tookMs + 2 * (5000 + 1000)},
              {"another vendor", Vendor(0x10C5, 2), false, {kEnter, kNotFound}, 90000},
              {"not waited for", Vendor(0x10C4, 0), false, {kNotFound}},
              {"there at once, and a second to settle", there, true, {}, 1000},
              {"not told", unsent, false, {kEnter, kNotFound}, 45000},
              {"not opened", FailsOpen(2), false, {Bank(1), kSilence, "!" + Bank(2)}}});
}

}  // namespace

// Procedure U6: the printer becomes a boot device on USB that acknowledges each record of its firmware.
#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using Device = simulator::SiliconLabsBootDevice;

const std::string kNotFound = "Not found Silicon Lab device Error.";
const std::string kSilence = "Read FW Release Error";

std::string Bank(int number) {
    return "Bank " + std::to_string(number) + " ";
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

TEST(UpgradeU6, FirmwareThatIsNoRunOfRecordsIsRefusedBeforeThePrinterIsTold) {
    std::vector<Given> bad{Firmware({}, 0), Firmware({Bytes{0}, Record(2, 1)}), Firmware({Record(254, 1)})};
    for (const Bytes& more : {Bytes{'%', 0}, Bytes{'$'}, Bytes{'$', 3, 1, 2}})
        bad.push_back(Firmware({more}));
    const std::string line =
        "Upgrade file wrong or incomplete: the firmware is not a run of boot loader records";
    for (const Given& given : bad)
        PlayRows("U6", {BootRow("refused", Line::Usb, given, kNothing, {line}, 1)});
}

TEST(UpgradeU6, AnAnswerThatIsNoAcknowledgementEndsItAtThatRecord) {
    const auto play = [](BootFault fault, const RigEnd& end, const Lines& lines) {
        PlayRows("U6", {BootRow("answer", Line::Usb, Chip({fault.Between(2, 2)}), end, lines)});
    };
    const auto says = [](const Bytes& answer) { return BootFault::Says(Device::kRecord, answer); };
    const std::string nack = "Silicon Laboratory answer Error NACK";
    for (const Bytes& answer : {Bytes{0x40, 0, 0, 1}, Bytes{0x40, 1}, Bytes{0x41, 0, 0, 0}})
        play(says(answer), kNothing, {Bank(2), nack, "!" + Bank(3)});
    const Lines silent{Bank(2), kSilence, "!" + Bank(3)};
    play(says({}), kNothing, silent);
    play(BootFault::Late(Device::kRecord, 1100), kNothing, silent);
    play(BootFault::Late(Device::kRecord, 900), kWhole, {});
}

TEST(UpgradeU6, TheDeviceIsWaitedFor) {
    const Given soon = Both(Times(0), Printer(&PrinterOptions::bootDelayMs, 100U));
    const Given there = Both(ListedBefore("10C4|EAC9|BOOT2\n"), soon);
    PlayRows("U6",
             {BootRow("never there", Line::Usb, Both(NeverThere(), Times(2)), kNothing, {kNotFound}, 90000),
              BootRow("not waited for", Line::Usb, Times(0), kNothing, {kNotFound}, 1),
              BootRow("there, and a second to settle", Line::Usb, there, kWhole, {}, 1000),
              BootRow("not opened", Line::Usb, FailsOpen(2), kNothing, {Bank(1), kSilence})});
}

}  // namespace

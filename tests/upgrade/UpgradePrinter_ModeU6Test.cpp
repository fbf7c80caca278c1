// Procedure U6: the printer becomes a boot device on USB that acknowledges each record of its firmware.
#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using Device = simulator::SiliconLabsBootDevice;

const std::string kNotFound = "Not found Silicon Lab device Error.";

std::string Bank(int number) {
    return "Bank " + std::to_string(number) + " ";
}
/// A good record, and these bytes behind it.
Given Firmware(const Bytes& more) {
    return [=](Rig& rig) {
        Bytes& firmware = rig.package.firmware = simulator::SampleFiles::MakeRecords("106", 1);
        firmware.insert(firmware.end(), more.begin(), more.end());
        rig.package.bankSize = firmware.size();
    };
}

TEST(UpgradeU6, FirmwareThatIsNoRunOfRecordsIsRefusedBeforeThePrinterIsTold) {
    const std::string line =
        "Upgrade file wrong or incomplete: the firmware is not a run of boot loader records";
    for (const Bytes& more : {Bytes{'%', 0}, Bytes{'$'}, Bytes{'$', 3, 1, 2}})
        PlayRows("U6", {BootRow("refused", Line::Usb, Firmware(more), kNothing, {line}, 1)});
}

TEST(UpgradeU6, AnAnswerThatIsNoAcknowledgementEndsItAtThatRecord) {
    for (const Bytes& answer : {Bytes{0x40, 0, 0, 1}, Bytes{0x40, 1}, Bytes{0x41, 0, 0, 0}, Bytes{}}) {
        const Given says = Chip({BootFault::Says(Device::kRecord, answer).Between(2, 2)});
        const std::string error =
            answer.empty() ? "Read FW Release Error" : "Silicon Laboratory answer Error NACK";
        PlayRows("U6", {BootRow("answer", Line::Usb, says, kNothing, {Bank(2), error, "!" + Bank(3)})});
    }
}

TEST(UpgradeU6, TheDeviceIsWaitedFor) {
    PlayRows("U6",
             {BootRow("never there", Line::Usb, Both(NeverThere(), Times(2)), kNothing, {kNotFound}, 90000),
              BootRow("not waited for", Line::Usb, Times(0), kNothing, {kNotFound}, 1)});
}

}  // namespace

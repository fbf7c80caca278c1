// Procedure U6: the printer becomes a boot device on USB that acknowledges each record of its firmware.
#include "upgrade/BootRows.h"

namespace {

using simulator::BootFault;
using Device = simulator::SiliconLabsBootDevice;

/// A good record, and these bytes behind it.
Given Firmware(const Bytes& more) {
    return [=](Rig& rig) {
        Bytes& firmware = rig.package.firmware = simulator::SampleFiles::MakeRecords("106", 1);
        firmware.insert(firmware.end(), more.begin(), more.end());
        rig.package.bankSize = firmware.size();
    };
}

TEST(UpgradeU6, Table) {
    for (const Bytes& more : {Bytes{'%', 0}, Bytes{'$'}, Bytes{'$', 3, 1, 2}})
        PlayRows("U6", {BootRow("no run of records", Line::Usb, Firmware(more), kNothing,
                                {"Upgrade file wrong or incomplete: the firmware is not a run of boot "
                                 "loader records"})});
    for (const Bytes& answer : {Bytes{0x40, 0, 0, 1}, Bytes{0x40, 1}, Bytes{0x41, 0, 0, 0}, Bytes{}}) {
        const Given says = Chip({BootFault::Says(Device::kRecord, answer).Between(2, 2)});
        PlayRows("U6", {BootRow("no acknowledgement", Line::Usb, says, kNothing, {"Bank 2 ", "!Bank 3 "})});
    }
    PlayRows("U6", {BootRow("never there", Line::Usb, Both(NeverThere(), Times(2)), kNothing),
                    BootRow("not waited for", Line::Usb, Times(0), kNothing)});
}

}  // namespace

// What the three bank engines share: what they refuse.
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
}

}  // namespace

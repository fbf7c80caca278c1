#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "port/UsbPortTest.h"

using simulator::UsbDescription;
using testing::HasSubstr;
using testing::Not;

namespace {

class UsbDeviceListTest : public UsbPortTest {};

TEST_F(UsbDeviceListTest, ListsThePrintersOfTheVendor) {
    bus.Plug(Printer("ABC1", "1-1.2"));
    UsbDescription other = Printer("XYZ", "1-2");
    other.identity.vendor = 0x10C4;
    other.identity.product = 0x0ABC;
    bus.Plug(other);
    const std::string output = Run({"list", "1024", "-", "list", "1024", "10C4", "list", "1024", "045B"});
    EXPECT_THAT(output, HasSubstr("error []\n{F0F0|0205|ABC1\n}\nlist=1"));
    EXPECT_THAT(output, HasSubstr("error []\n{10C4|0ABC|XYZ\n}\nlist=1"));
    EXPECT_THAT(output, HasSubstr("error []\n{}\nlist=1"));
}

TEST_F(UsbDeviceListTest, FailuresAreReportedAndTheWalkGoesOn) {
    UsbDescription locked = Printer("LOCKED", "1-2");
    locked.faults.cannotOpen = true;
    const auto blocked = bus.Plug(locked);
    bus.Plug(Printer("ABC1", "1-1"));
    EXPECT_THAT(
        Run({"list", "1024", "-"}),
        HasSubstr("[GetDeviceList]Couldn't open device\nerror [Couldn't open device]\n{F0F0|0205|ABC1\n}\n"
                  "list=1"));
    bus.Unplug(blocked);
    UsbDescription mute = Printer("", "1-3");
    mute.faults.noSerial = true;
    mute.identity.product = 0x0777;
    bus.Plug(mute);
    const std::string output = Run({"list", "1024", "-", "list", "1024", "F0F0"});
    EXPECT_THAT(output, HasSubstr("[GetDeviceList]Coudn't get serial string\n"));
    EXPECT_THAT(output, HasSubstr("error [Coudn't get serial string]\n"));
    EXPECT_THAT(output, HasSubstr("F0F0|0777|\n"));
    EXPECT_THAT(output, HasSubstr("F0F0|0205|ABC1\n"));
    EXPECT_THAT(output, HasSubstr("}\nlist=0"));
    EXPECT_THAT(output, HasSubstr("}\nlist=1"));  // a named vendor's devices may lack a serial number
}

TEST_F(UsbDeviceListTest, OnlyWholeLinesThatFitAreListed) {
    bus.Plug(Printer("ABC1", "1-1"));
    bus.Plug(Printer("ABC2", "1-2"));
    const std::string both = Run({"list", "31", "-"});
    const std::string line = "F0F0|0205|ABC";  // and a digit and the line feed: 15 characters
    EXPECT_THAT(both, testing::ContainsRegex("\\{F0F0.0205.ABC.\nF0F0.0205.ABC.\n\\}"));
    EXPECT_THAT(Run({"list", "30", "-"}), testing::ContainsRegex("\\{F0F0.0205.ABC.\n\\}\nlist=1"));
    EXPECT_THAT(Run({"list", "16", "-"}), testing::ContainsRegex("\\{F0F0.0205.ABC.\n\\}\nlist=1"));
    EXPECT_THAT(Run({"list", "15", "-", "list", "1", "-"}), Not(HasSubstr(line)));
}

TEST_F(UsbDeviceListTest, ASerialTextMakesOneLineWhateverItHolds) {
    const std::string serial = "A\nF0F0|0205|\x1b[2J\x07\xff" + std::string("1\0\0", 3);
    const auto printer = bus.Plug(Printer(serial));
    const std::string output =
        Run({"list", "1024", "-", "init-vid", "F0F0", "0205", "A?F0F0|0205|?[2J??1", "init", "0205", "1"});
    EXPECT_THAT(output, HasSubstr("{F0F0|0205|A?F0F0|0205|?[2J??1\n}"));
    EXPECT_THAT(output, HasSubstr("init-vid=1"));
    EXPECT_THAT(output, HasSubstr("init=1"));
    bus.Unplug(printer);
    bus.Plug(Printer(std::string(126, 'S')));
    EXPECT_THAT(Run({"list", "1024", "-"}), HasSubstr(std::string(126, 'S') + "\n}\nlist=1"));
}

}  // namespace

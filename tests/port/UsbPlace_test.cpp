#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "port/UsbPortTest.h"

using simulator::UsbDescription;
using testing::HasSubstr;

namespace {

class UsbPlaceTest : public UsbPortTest {};

TEST_F(UsbPlaceTest, APrinterThatCameBackWithAnotherAddressIsFoundAtItsPlace) {
    const auto printer = bus.Plug(Printer("ABC1", "1-1.2"));
    bus.Plug(Printer("ABC5", "1-1.3"));
    ChildProcess child(Command({"init", "0205", "1", "open", "backup", "save", "close", "await",
                                "F0F0|0205|NEW7", "find-place", "show", "reopen", "restore", "show"}),
                       bus.ChildEnvironment());
    ASSERT_TRUE(child.WaitForText("close=1")) << child.Output();
    bus.Unplug(printer);
    const auto again = bus.Plug(Printer("NEW7", "1-1.2"));
    EXPECT_EQ(child.WaitForEnd(), 0);
    for (const char* const text :
         {"[SaveLocationCurrentDevice]SaveLocationCurrentDevice Begin\n",
          "[SaveLocationCurrentDevice]Vid:F0F0, Pid:0205, AddrNum:1, Location: 12000000\n",
          "[SaveLocationCurrentDevice]SaveLocationCurrentDevice End\nsave=1", "await=1",
          "[RestoreAddrNumFrmLocatio]RestoreAddrNumFrmLocatio Begin\n",
          "[RestoreAddrNumFrmLocatio]New info Vid:F0F0, Pid:0205, AddrNum:7, Location: 12000000\n",
          "[RestoreAddrNumFrmLocatio]RestoreAddrNumFrmLocatio End\nfind-place=1",
          "Pid : 0205 \nVid : F0F0 \nAddressNumberExt : 7 \n", "reopen=1 []", "AddressNumberExt : 1 \n"})
        EXPECT_THAT(child.Output(), HasSubstr(text));
    EXPECT_NE(again->Number(), printer->Number());
    EXPECT_THAT(again->Log(), testing::ElementsAre("claim 0", "release 0"));
}

TEST_F(UsbPlaceTest, ThePrinterBesideIsNotTaken) {
    const auto printer = bus.Plug(Printer("ABC1", "1-12"));
    bus.Plug(Printer("ABC5", "1-1"));
    ChildProcess child(
        Command({"init", "0205", "1", "save", "close", "await", "F0F0|0206|NEW7", "find-place", "show"}),
        bus.ChildEnvironment());
    ASSERT_TRUE(child.WaitForText("close=1")) << child.Output();
    bus.Unplug(printer);
    UsbDescription other = Printer("NEW7", "1-12");
    other.identity.product = 0x0206;
    bus.Plug(other);  // another product at the place, the same product beside it
    EXPECT_EQ(child.WaitForEnd(), 0);
    EXPECT_THAT(child.Output(),
                HasSubstr("Location: 10000000\n"));  // of a longer number the first digit shows
    EXPECT_THAT(child.Output(),
                HasSubstr("[RestoreAddrNumFrmLocatio]RestoreAddrNumFrmLocatio End\nfind-place=1"));
    EXPECT_THAT(child.Output(), HasSubstr("AddressNumberExt : 1 \n"));
}

TEST_F(UsbPlaceTest, OfTwoAlikeTheLastPlaceIsKept) {
    std::vector<std::shared_ptr<simulator::UsbDevice>> printers = {bus.Plug(Printer("A1", "1-1")),
                                                                   bus.Plug(Printer("B1", "1-2"))};
    ChildProcess child(
        Command({"init", "0205", "1", "save", "close", "await", "F0F0|0205|D8", "find-place", "show"}),
        bus.ChildEnvironment());
    ASSERT_TRUE(child.WaitForText("close=1")) << child.Output();
    const bool firstIsLast =
        child.Output().find("Location: 10000000") > child.Output().find("Location: 20000000");
    for (const auto& printer : printers) bus.Unplug(printer);
    bus.Plug(Printer("C7", "1-1"));
    bus.Plug(Printer("D8", "1-2"));
    EXPECT_EQ(child.WaitForEnd(), 0);
    EXPECT_THAT(child.Output(),
                HasSubstr(firstIsLast ? "AddressNumberExt : 7 \n" : "AddressNumberExt : 8 \n"));
}

TEST_F(UsbPlaceTest, SavingLooksForOneCharacterAndReportsWhatItCannotRead) {
    UsbDescription locked = Printer("X1", "1-2");
    locked.faults.cannotOpen = true;
    bus.Plug(locked);
    UsbDescription mute = Printer("Y1", "1-3");
    mute.faults.stringsStall = true;
    bus.Plug(mute);
    bus.Plug(Printer("ABC1", "1-1"));
    const std::string output = Run({"init-vid", "F0F0", "0205", "ABC1", "save", "find-place"});
    EXPECT_THAT(output, HasSubstr("[SaveLocationCurrentDevice]Couldn't open device\n"));
    EXPECT_THAT(output, HasSubstr("[SaveLocationCurrentDevice]Coudn't get serial string\n"));
    // A whole serial text is nobody's address number: nothing is kept, which is no failure.
    EXPECT_THAT(output, HasSubstr("save=1"));
    EXPECT_THAT(output, HasSubstr("[RestoreAddrNumFrmLocatio]No location saved : Error.\nfind-place=0"));
}

}  // namespace

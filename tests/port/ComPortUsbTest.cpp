#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <vector>

#include "port/UsbPortTest.h"

using simulator::Bytes;
using simulator::ControlRequest;
using simulator::UsbDescription;
using simulator::UsbHandlers;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class ComPortUsbTest : public UsbPortTest {
 protected:
    /// Keeps the sizes of what the printer gets, one element a transfer.
    UsbHandlers Recorder() {
        UsbHandlers handlers;
        handlers.received = [this](const unsigned char*, std::size_t size) { received.push_back(size); };
        return handlers;
    }

    static std::size_t Count(const std::string& text, const std::string& part) {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
        return count;
    }

    /// Performs the operations, one of which waits for what `change` brings once "close" has been performed.
    template <class Change>
    std::string RunWithChange(const std::string& operations, Change change) {
        ChildProcess child(Command(operations), bus.ChildEnvironment());
        EXPECT_TRUE(child.WaitForText("close=1")) << child.Output();
        change();
        EXPECT_EQ(child.WaitForEnd(), 0);
        return child.Output();
    }

    std::vector<std::size_t> received;
};

TEST_F(ComPortUsbTest, ListsThePrintersOfTheVendorAndGoesOnAfterFailures) {
    bus.Plug(Printer("ABC1", "1-1.2"));
    UsbDescription other = Printer("XYZ", "1-2");
    other.identity.vendor = 0x10C4;
    other.identity.product = 0x0ABC;
    bus.Plug(other);
    Expect("list 1024 - list 1024 10C4 list 1024 045B",
           {"error []\n{F0F0|0205|ABC1\n}\nlist=1", "error []\n{10C4|0ABC|XYZ\n}\nlist=1",
            "error []\n{}\nlist=1"});
    UsbDescription locked = Printer("LOCKED", "1-3");
    locked.faults.cannotOpen = true;
    const auto blocked = bus.Plug(locked);
    Expect("list 1024 -", {"[GetDeviceList]Couldn't open device\n",
                           "error [Couldn't open device]\n{F0F0|0205|ABC1\n}\nlist=1"});
    bus.Unplug(blocked);
    UsbDescription mute = Printer("", "1-4");
    mute.faults.noSerial = true;
    mute.identity.product = 0x0777;
    bus.Plug(mute);
    const std::string output = Run("list 1024 - list 1024 F0F0");
    EXPECT_EQ(Count(output, "[GetDeviceList]Coudn't get serial string\n"), 2U);
    EXPECT_EQ(Count(output, "F0F0|0777|\n"), 2U);
    EXPECT_EQ(Count(output, "F0F0|0205|ABC1\n"), 2U);
    // A named vendor's devices may lack a serial number.
    ExpectInOrder(output, {"error [Coudn't get serial string]\n", "}\nlist=0", "}\nlist=1"});
}

TEST_F(ComPortUsbTest, OnlyWholeLinesThatFitAreListed) {
    bus.Plug(Printer("ABC1", "1-1"));
    bus.Plug(Printer("ABC2", "1-2"));
    for (const auto& [size, lines] : {std::pair{"31", 2U}, {"30", 1U}, {"16", 1U}, {"15", 0U}, {"1", 0U}})
        EXPECT_EQ(Count(Run(std::string("list ") + size + " -"), "F0F0|0205|ABC"), lines) << size;
}

TEST_F(ComPortUsbTest, ASerialTextMakesOneLineWhateverItHolds) {
    const std::string serial = "A\nF0F0|0205|\x1b[2J\x07\x7f" + std::string("1\0\0", 3);
    const auto printer = bus.Plug(Printer(serial));
    Expect("list 1024 - init-vid F0F0 0205 A?F0F0|0205|?[2J??1 init 0205 1",
           {"{F0F0|0205|A?F0F0|0205|?[2J??1\n}", "init-vid=1", "init=1"});
    bus.Unplug(printer);
    bus.Plug(Printer(std::string(126, 'S')));
    Expect("list 1024 -", {std::string(126, 'S') + "\n}\nlist=1"});
}

TEST_F(ComPortUsbTest, APrinterThatCameBackWithAnotherAddressIsFoundAtItsPlace) {
    const auto printer = bus.Plug(Printer("ABC1", "1-1.2"));
    for (const char* const port : {"1-1.1", "1-1.3"}) bus.Plug(Printer("ABC5", port));
    std::shared_ptr<simulator::UsbDevice> again;
    const std::string output = RunWithChange(
        "init 0205 1 open backup save close await F0F0|0205|NEW9 find-place show reopen restore show", [&] {
            bus.Unplug(printer);
            again = bus.Plug(Printer("NEW7", "1-1.2"));
            bus.Plug(Printer("NEW9", "1-1.4"));  // the last of the list is another, whatever its order
        });
    ExpectInOrder(
        output,
        {"[SaveLocationCurrentDevice]SaveLocationCurrentDevice Begin\n",
         "[SaveLocationCurrentDevice]Vid:F0F0, Pid:0205, AddrNum:1, Location: 12000000\n",
         "[SaveLocationCurrentDevice]SaveLocationCurrentDevice End\nsave=1", "await=1",
         "[RestoreAddrNumFrmLocatio]RestoreAddrNumFrmLocatio Begin\n",
         "[RestoreAddrNumFrmLocatio]New info Vid:F0F0, Pid:0205, AddrNum:7, Location: 12000000\n",
         "[RestoreAddrNumFrmLocatio]RestoreAddrNumFrmLocatio End\nfind-place=1",
         "Pid : 0205 \nVid : F0F0 \nAddressNumberExt : 7 \n", "reopen=1 []", "AddressNumberExt : 1 \n"});
    EXPECT_NE(again->Number(), printer->Number());
    EXPECT_THAT(again->Log(), ElementsAre("claim 0", "release 0"));
}

TEST_F(ComPortUsbTest, ThePrinterBesideIsNotTakenAndOfTwoAlikeTheLastPlaceIsKept) {
    std::vector<std::shared_ptr<simulator::UsbDevice>> gone{bus.Plug(Printer("ABC1", "1-12"))};
    bus.Plug(Printer("ABC5", "1-1"));
    UsbDescription other = Printer("NEW7", "1-12");
    other.identity.product = 0x0206;
    std::string output = RunWithChange("init 0205 1 save close await F0F0|0206|NEW7 find-place show", [&] {
        bus.Unplug(gone[0]);
        bus.Plug(other);  // another product at the place, the same product beside it
    });
    ExpectInOrder(output, {"Location: 10000000\n",  // of a longer number the first digit shows
                           "RestoreAddrNumFrmLocatio End\nfind-place=1", "AddressNumberExt : 1 \n"});

    gone = {bus.Plug(Printer("A1", "1-2")), bus.Plug(Printer("B1", "1-3"))};
    output = RunWithChange("init 0205 1 save close await F0F0|0205|D8 find-place show", [&] {
        for (const auto& printer : gone) bus.Unplug(printer);
        bus.Plug(Printer("C7", "1-2"));
        bus.Plug(Printer("D8", "1-3"));
    });
    const bool firstIsLast = output.find("Location: 20000000") > output.find("Location: 30000000");
    EXPECT_THAT(output, HasSubstr(firstIsLast ? "AddressNumberExt : 7 \n" : "AddressNumberExt : 8 \n"));
}

TEST_F(ComPortUsbTest, SavingLooksForOneCharacterAndReportsWhatItCannotRead) {
    UsbDescription locked = Printer("X1", "1-2");
    locked.faults.cannotOpen = true;
    bus.Plug(locked);
    UsbDescription mute = Printer("Y1", "1-3");
    mute.faults.stringsStall = true;
    bus.Plug(mute);
    bus.Plug(Printer("ABC1", "1-1"));
    const std::string output = Run("init-vid F0F0 0205 ABC1 save find-place");
    EXPECT_THAT(output, HasSubstr("[SaveLocationCurrentDevice]Couldn't open device\n"));
    EXPECT_THAT(output, HasSubstr("[SaveLocationCurrentDevice]Coudn't get serial string\n"));
    // A whole serial text is nobody's address number: nothing is kept, which is no failure.
    ExpectInOrder(output, {"save=1", "[RestoreAddrNumFrmLocatio]No location saved : Error.\nfind-place=0"});
}

TEST_F(ComPortUsbTest, WritesGoOutInPiecesOfThePacketSizeWithAPauseAfterEachKilobyte) {
    bus.Plug(Printer(), Recorder());
    const std::string output = Run("multiplier 3 init 0205 1 open zeros 1024 zeros 100");
    std::vector<std::size_t> sizes(17, 64);
    sizes.push_back(36);
    EXPECT_EQ(received, sizes);
    EXPECT_EQ(Count(output, "sleep 3000 us"), 1U);
    EXPECT_EQ(Count(output, "time-out 3000 ms"), 18U);
    received.clear();
    const std::string pieces =
        Run("init 0205 1 open packet 600 zeros 2400 zeros 599 packet 0 zeros 2000 zeros 0");
    EXPECT_EQ(received, (std::vector<std::size_t>{600, 600, 600, 600, 599, 2000, 0}));
    EXPECT_EQ(Count(pieces, "sleep 1000 us"), 2U);
}

TEST_F(ComPortUsbTest, TimeOutsAreScaledWithoutOverflowAndANegativeMultiplierLeavesThem) {
    bus.Plug(Printer(), Recorder());
    const auto expect = [&](const std::string& multiplier, const std::string& ms, const std::string& scaled) {
        const std::string shown = "time-out " + scaled + " ms\n";
        Expect("multiplier " + multiplier + " init 0205 1 open timeout " + ms + " zeros 8 read 64",
               {shown, "zeros=8 []", shown, "err 1 data []\nread=0 [Read timeout! No data read]"});
    };
    expect("1", "700", "700");
    expect("4", "700", "2800");
    expect("2", "0x80000000", "4294967295");
    expect("2147483647", "4294967295", "4294967295");
    expect("-3", "700", "700");
}

TEST_F(ComPortUsbTest, MultiplierZeroWaitsWithoutLimitAndNeverPauses) {
    const auto printer = bus.Plug(Printer(), Recorder());
    ChildProcess child(Command("multiplier 0 init 0205 1 open zeros 2048 read 64"), bus.ChildEnvironment());
    ASSERT_TRUE(child.WaitForText("zeros=2048")) << child.Output();
    EXPECT_FALSE(child.WaitForText("read=", 400)) << "the other time-outs end after 150 ms";
    printer->QueueIn({'l', 'a', 't', 'e'});
    EXPECT_EQ(child.WaitForEnd(), 0);
    EXPECT_THAT(child.Output(), HasSubstr("err 0 data [late]\nread=4 []"));
    EXPECT_THAT(child.Output(), Not(HasSubstr("sleep")));
}

TEST_F(ComPortUsbTest, AReadTakesOneTransferAndNoMoreThanItAskedFor) {
    const auto printer = bus.Plug(Printer());
    printer->QueueIn({'a', 'b', 'c'});
    printer->QueueIn(Bytes(100, 'x'));
    printer->QueueIn(Bytes(100, 'y'));
    printer->QueueIn({});
    // A packet larger than what is left of the buffer is an error of the bus.
    Expect("init 0205 1 open read 64 read 64 read 64 read 10 read 64 read 0",
           {"err 0 data [abc]\nread=3 []", "data [" + std::string(64, 'x') + "]\nread=64 []",
            "data [" + std::string(36, 'x') + "]\nread=36 []",
            "err 1 data []\nread=0 [Read timeout! No data read]", "err 0 data []\nread=0 []"});
}

TEST_F(ComPortUsbTest, TransfersThatFailOrAreNotTakenAreErrors) {
    UsbDescription look = Printer();
    look.faults.busy = true;
    const auto busy = bus.Plug(look);
    Expect("init 0205 1 open write abc zeros 200 control 0x21 9 64",
           {"err 1\nwrite=0 [Write Error]", "err 1\nzeros=0 [Write Error]",
            "[ControlTransfer]libusb_control_transfer  LIBUSB_ERROR_TIMEOUT\ncontrol=0"});
    bus.Unplug(busy);
    look.faults.busy = false;
    for (const auto& [status, line] : {std::pair{-EPIPE, "LIBUSB_ERROR_PIPE"},
                                       {-EPROTO, "LIBUSB_ERROR"},
                                       {-ESHUTDOWN, "LIBUSB_ERROR_NO_DEVICE"}}) {
        look.faults.status = status;
        const auto failing = bus.Plug(look);
        Expect("init 0205 1 open write abc read 64 control 0x21 9 64",
               {"err 1\nwrite=0 [Write Error]", "err 1 data []\nread=0 [Read timeout! No data read]",
                std::string("[ControlTransfer]libusb_control_transfer  ") + line + "\ncontrol=0"});
        bus.Unplug(failing);
    }
}

TEST_F(ComPortUsbTest, ControlTransfersGoToTheDevice) {
    ControlRequest last;
    UsbHandlers handlers;
    handlers.control = [&](const ControlRequest& request) {
        if (request.request == 9) last = request;
        return request.request == 9;
    };
    bus.Plug(Printer(), handlers);
    Expect("multiplier 5 init 0205 1 open control 0x21 9 64 control 0x21 8 64 control 0x21 9 5000",
           {"time-out 1000 ms\ncontrol=1 []", "LIBUSB_ERROR_PIPE\ncontrol=0",
            "libusb_control_transfer  LIBUSB_ERROR_INVALID_PARAM\ncontrol=0"});
    EXPECT_EQ(last.type, 0x21);
    EXPECT_EQ(last.value, 0x0200);
    EXPECT_EQ(last.data, Bytes(64, 0));
}

TEST_F(ComPortUsbTest, AWriteOnAClosedPortOpensItByWholeSerialText) {
    bus.Plug(Printer("ABC1"), Recorder());
    Expect("init-vid F0F0 0205 ABC1 write hello", {"err 0\nwrite=5 []"});
    EXPECT_THAT(received, ElementsAre(5U));
    UsbDescription look = Printer("DEF1", "1-2");
    look.faults.cannotClaim = true;
    bus.Plug(look);
    Expect("init-vid F0F0 0205 DEF1 write hello", {"err 1\nwrite=0 [Write Error---> error to oen device]"});
    // The address number is no whole serial text, and a vendor alone is no product and no address number.
    for (const char* const named : {"init 0205 1", "init-vendor F0F0"})
        Expect(std::string(named) + " close write hello",
               {"err 1\nwrite=0 [Write Error---> error to reinit device]"});
}

TEST_F(ComPortUsbTest, ReOpenLooksForAnAddressNumberOfThePrinterVendor) {
    UsbDescription boot = Printer("ABC1", "1-2");
    boot.identity.vendor = 0x045B;
    const auto bootDevice = bus.Plug(boot);
    const auto printer = bus.Plug(Printer("ABC1"));
    // By address number it comes back to the printer; by whole serial text it does not.
    Expect("init 0205 1 open reopen", {"reopen=1 []"});
    EXPECT_THAT(printer->Log(), ElementsAre("claim 0", "release 0", "claim 0", "release 0"));
    Expect("init-vid F0F0 0205 ABC1 open reopen", {"reopen=0 []"});
    // The vendor is forgotten for the printers', and so is a boot device that sits beside.
    Expect("init-vid 045B 0205 ABC1 open reopen show",
           {"reopen=0 []", "Pid : 0205 \nVid : F0F0 \nAddressNumberExt : ABC1 \n"});
    EXPECT_THAT(bootDevice->Log(), ElementsAre("claim 0", "release 0"));
    // Named by its vendor alone, it is looked for with empty texts.
    Expect("init-vendor 045B open reopen", {"reopen=0 []"});
}

TEST_F(ComPortUsbTest, ClosingAndListingEndTheLibrary) {
    bus.Plug(Printer());
    const std::string output = Run("files list 1024 - files init 0205 1 open close files init 0205 1");
    const std::size_t first = output.find("files=");
    EXPECT_EQ(Count(output, output.substr(first, output.find('\n', first) - first)), 3U) << output;
}

TEST_F(ComPortUsbTest, OperationsOutOfOrderFailWithTheirLine) {
    bus.Plug(Printer());
    Expect(
        "find open read 8 write x control 0x21 9 8 close reopen save find-place init 0205 1 read 8 close "
        "close read 8 handshake",
        {"[FindDevice]libusb_get_device_list error\nfind=0", "[Open]libusb_claim_interface error\n",
         "open=0 [libusb_claim_interface error]", "err 1 data []\nread=0 [Read timeout! No data read]",
         "err 1\nwrite=0 [Write Error---> error to reinit device]",
         "[ControlTransfer]libusb_control_transfer  LIBUSB_ERROR_NO_DEVICE\n", "control=0", "reopen=0",
         "[SaveLocationCurrentDevice]No Pid, Vid or AddrNumber Error \n", "save=0",
         "[RestoreAddrNumFrmLocatio]No location saved : Error.\n", "find-place=0",
         "init=1 []\nerr 1 data []\nread=0 [Read timeout! No data read]", "close=1", "close=1",
         "handshake=0"});
}

// libusb needs descriptors of its own to start: without any left, it cannot.
TEST_F(ComPortUsbTest, ALibraryThatDoesNotStartIsAFailure) {
    Expect("starve init 0205 1 init-vendor F0F0 list 1024 - close",
           {"[Init]libusb_init error\ninit=0 [libusb_init error]",
            "[InitWithVid]libusb_init error\ninit-vendor=0 [libusb_init error]",
            "[GetDeviceList]libusb_init error\nerror [libusb_init error]\n{}\nlist=0", "close=1"});
}

TEST_F(ComPortUsbTest, HandshakeTriesFiveTimes) {
    std::shared_ptr<simulator::UsbDevice> printer = bus.Plug(Printer("1"));
    const std::string output = Run("init 0205 1 open handshake");
    EXPECT_THAT(output, HasSubstr("handshake=0"));
    EXPECT_EQ(Count(output, "sleep 1500000 us"), 4U);
    bus.Unplug(printer);
    UsbHandlers handlers;
    handlers.received = [&](const unsigned char* data, std::size_t size) {
        if (size == 3 && data[2] == 0x01) printer->QueueIn({0x5D});
        if (size == 3 && data[2] == 0x03) printer->QueueIn({'1', '.', '0'});
    };
    printer = bus.Plug(Printer("1"), handlers);
    Expect("init 0205 1 open handshake", {"GSI 0x015d \n", "handshake=1"});
}

}  // namespace

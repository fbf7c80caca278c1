// The USB port with the real libusb on an emulated bus, both in this process.
#include "port/ComPortUsb.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/VirtualClock.h"
#include "port/TextIo.h"
#include "simulator/usb/UsbBus.h"

using simulator::UsbDescription;
using simulator::UsbFaults;
using testing::Contains;
using testing::ElementsAre;

namespace {

using Device = std::shared_ptr<simulator::UsbDevice>;

UsbDescription Printer(const std::string& serial = "ABC1", const std::string& place = "1-1",
                       std::uint16_t vendor = 0xF0F0, std::uint16_t product = 0x0205) {
    UsbDescription look;
    look.identity = {vendor, product, serial};
    look.port = place;
    look.interfaces = {{{0x01, 0x82}, "usblp"}, {{0x03}, "usbhid"}, {{0x84}, "usbhid"}};
    return look;
}
template <class Value>
UsbDescription Faulty(Value UsbFaults::*fault, Value value, const std::string& place = "1-1") {
    UsbDescription look = Printer("ABC1", place);
    look.faults.*fault = value;
    return look;
}

/// What is listed, as "result[error]lines".
std::string List(const char* vid = nullptr) {
    char list[1024], error[64] = "";
    const bool result = CComPortUsb::GetDeviceList(list, sizeof list, error, sizeof error, vid);
    return std::to_string(result ? 1 : 0) + "[" + error + "]" + list;
}

class ComPortUsbTest : public testing::Test {
 protected:
    ComPortUsbTest() { clock.blockingMs = 5000; }
    /// Each search initialises libusb once more: the next test begins with none, and so with its own bus.
    ~ComPortUsbTest() override {
        port.Close();
        for (int i = 0; i < 30; ++i) libusb_exit(nullptr);
    }

    Device Plug(const UsbDescription& look) {
        return bus.Plug(look, {[this](const unsigned char*, std::size_t size) { received.push_back(size); },
                               [](const simulator::ControlRequest&) { return true; },
                               {}});
    }
    /// Looks for a printer by product and address number, by vendor, product and serial text, or by vendor.
    bool Find(const std::string& search) {
        std::string words[3];
        std::istringstream(search) >> words[0] >> words[1] >> words[2];
        return words[1].empty()   ? port.InitWithVid(words[0].data())
               : words[2].empty() ? port.Init(words[0].data(), words[1].data())
                                  : port.InitWithVid(words[0].data(), words[1].data(), words[2].data());
    }
    bool FindAndOpen(const std::string& search = "0205 1") { return Find(search) && port.Open(); }
    /// The last error when nothing was written and that was an error; "" when all of it was.
    std::string Send(std::size_t zeros) {
        const std::size_t sent = Put(port, std::string(zeros, '\0'), err);
        return sent == 0 && err == 1 ? port.szLastError : sent == zeros && err == 0 ? "" : "not all";
    }

    simulator::UsbBus bus;
    VirtualClock clock;
    LogCapture log;
    CComPortUsb port{1};
    unsigned int err = 9;
    std::vector<std::size_t> received;  ///< sizes of what the printers got, one a transfer
};

// An address number is the last character of a serial text, which is compared whole where it is given. For
// each printer: + found, - passed over; what is logged; what opening and closing do.
TEST_F(ComPortUsbTest, SearchesFindWhatFitsAndEveryFailureHasItsLine) {
    const UsbDescription looks[] = {Printer(),
                                    Printer("XYZ1"),
                                    Printer("ABCA"),
                                    Printer("ABC1", "1-1", 0x10C4),
                                    Printer("ABC1", "1-1", 0xF0F0, 0x0206),
                                    Faulty(&UsbFaults::cannotOpen, true),
                                    Faulty(&UsbFaults::stringsStall, true),
                                    Faulty(&UsbFaults::undetachable, {0}),
                                    Faulty(&UsbFaults::undetachable, {1})};
    std::string said;
    for (const std::string search : {"0205 1", "F0F0 0205 ABC1", "F0F0"}) {
        said += search + " =>";
        for (const UsbDescription& look : looks) {
            const Device printer = Plug(look);
            const bool found = Find(search);
            EXPECT_EQ(port.pHandle != nullptr, found);  // what failed is closed at once
            said += (found ? " + " : " - ") + Joined(log.Take());
            EXPECT_EQ(found && port.Open() && port.Close(), found);
            said += " " + Joined(printer->Log()) + ";";
            bus.Unplug(printer);
        }
        said += "\n";
    }
    ExpectRecorded("usb-searches", said);
    Plug(Faulty(&UsbFaults::cannotClaim, true));
    EXPECT_FALSE(FindAndOpen("F0F0 0205 ABC1"));
    EXPECT_STREQ(port.szLastError, "libusb_claim_interface error");
}

TEST_F(ComPortUsbTest, ListsThePrintersOfTheVendorAndGoesOnAfterFailures) {
    EXPECT_EQ(List(), "1[]");
    Plug(Printer("ABC1", "1-1.2"));
    Plug(Printer("A\nF0F0|0205|\x1b[2J\x7f" + std::string("1\0\0", 3), "1-2", 0x10C4));
    EXPECT_EQ(List("10C4"), "1[]10C4|0205|A?F0F0|0205|?[2J?1\n");  // one line whatever the text holds
    Plug(Faulty(&UsbFaults::cannotOpen, true, "1-3"));
    EXPECT_EQ(List(), "1[Couldn't open device]F0F0|0205|ABC1\n");
}

TEST_F(ComPortUsbTest, APrinterThatCameBackWithAnotherAddressIsFoundAtItsPlace) {
    const Device printer = Plug(Printer("ABC1", "1-12"));
    for (const char* const beside : {"1-1", "1-3.1"}) Plug(Printer("ABC5", beside));
    EXPECT_TRUE(Find("0205 1"));
    EXPECT_FALSE(port.RestoreAddrNumFrmLocatio());  // nothing kept
    EXPECT_TRUE(port.BackupPortInfo() && port.SaveLocationCurrentDevice());
    bus.Unplug(printer);
    EXPECT_TRUE(port.RestoreAddrNumFrmLocatio());
    EXPECT_STREQ(port.szAddrNum, "1");
    Plug(Printer("NEW7", "1-12"));
    Plug(Printer("NEW9", "1-4"));  // the last of the list is another, whatever its order
    EXPECT_TRUE(port.RestoreAddrNumFrmLocatio());
    EXPECT_STREQ(port.szAddrNum, "7");
    EXPECT_TRUE(port.ReOpen() && port.RestoreportInfo());
    EXPECT_STREQ(port.szAddrNum, "1");
    const Lines lines = log.Take();
    for (const char* const line :
         {"[RestoreAddrNumFrmLocatio]No location saved : Error.",
          // Of 12 the first digit.
          "[RestoreAddrNumFrmLocatio]New info Vid:F0F0, Pid:0205, AddrNum:7, Location: 10000000"})
        EXPECT_THAT(lines, Contains(line));
}

TEST_F(ComPortUsbTest, WritesGoOutInPiecesOfThePacketSizeWithAPauseAfterEachKilobyte) {
    Plug(Printer());
    port.iTimeMultiplier = 3;
    EXPECT_TRUE(FindAndOpen());
    for (const auto& [packet, zeros] :
         {std::pair{64U, 100U}, {600U, 2400U}, {600U, 599U}, {1023U, 1023U}, {0U, 2000U}, {0U, 0U}}) {
        port.SetWPacketSize(packet);
        EXPECT_EQ(Send(zeros), "");
    }
    EXPECT_EQ(received, (std::vector<std::size_t>{64, 36, 600, 600, 600, 600, 599, 1023, 2000, 0}));
    EXPECT_THAT(clock.waits, ElementsAre(3000U, 3000U));
    EXPECT_THAT(clock.blocking, testing::Each(3000U));  // each time-out is multiplied
}

TEST_F(ComPortUsbTest, AReadTakesOneTransferAndNoMoreThanItAskedFor) {
    const Device printer = Plug(Printer());
    for (const std::size_t size : {3U, 100U, 100U, 0U}) printer->QueueIn(simulator::Bytes(size, 'x'));
    EXPECT_TRUE(FindAndOpen());
    for (const std::size_t size : {3U, 64U, 36U}) EXPECT_EQ(Get(port, 64, err), std::string(size, 'x'));
    EXPECT_EQ(Get(port, 10, err), "");  // more than is left of the buffer is an error of the bus
    EXPECT_EQ(err, 1U);
    EXPECT_EQ(Get(port, 0, err), "");
    EXPECT_EQ(err, 0U);
}

TEST_F(ComPortUsbTest, TransfersThatFailOrAreNotTakenAreErrors) {
    const std::pair<int, std::string> rows[] = {
        {0, "_TIMEOUT"}, {-EPIPE, "_PIPE"}, {-ESHUTDOWN, "_NO_DEVICE"}};  // 0: not taken in time
    for (const auto& [status, reason] : rows) {
        UsbDescription look = Faulty(&UsbFaults::busy, status == 0);
        look.faults.status = status;
        const Device printer = Plug(look);
        EXPECT_TRUE(FindAndOpen());
        clock.blockingMs = 30;
        for (const std::size_t zeros : {3U, 200U}) EXPECT_EQ(Send(zeros), "Write Error") << reason;
        EXPECT_EQ(Get(port, 64, err), "");
        EXPECT_EQ(err, 1U);
        EXPECT_STREQ(port.szLastError, "Read timeout! No data read");
        unsigned char data[64] = {};
        EXPECT_FALSE(port.ControlTransfer(0x21, 9, 0x0200, 0, data, 64, 1000));
        EXPECT_EQ(log.Take("ControlTransfer"), Lines{"libusb_control_transfer  LIBUSB_ERROR" + reason});
        bus.Unplug(printer);
    }
}

// A closed port that is written to looks for the whole serial text, one that is opened again for an address
// number of the printers' vendor.
TEST_F(ComPortUsbTest, AClosedPortIsFoundAgainInTwoWays) {
    Plug(Printer());
    for (const std::string search : {"0205 1", "F0F0 0205 ABC1"}) {
        const bool byAddress = search == "0205 1";
        EXPECT_TRUE(FindAndOpen(search));
        EXPECT_EQ(port.ReOpen(), byAddress);
        Find(search);
        port.Close();
        EXPECT_EQ(Send(3), byAddress ? "Write Error---> error to reinit device" : "");
    }
}

}  // namespace

/// libusb sees the emulated bus only in a process that was started with what emulates it.
int main(int argc, char** argv) {
    const char* const preload = std::getenv("LD_PRELOAD");
    if (preload == nullptr || std::string(preload).find("umockdev") == std::string::npos) {
        for (const auto& [name, value] : simulator::UsbBus().ChildEnvironment())
            if (name != "UMOCKDEV_DIR") setenv(name.c_str(), value.c_str(), 1);
        execv("/proc/self/exe", argv);
        return 1;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}

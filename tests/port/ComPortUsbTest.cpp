// The USB port with the real libusb on an emulated bus, both in this process.
#include "port/ComPortUsb.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "harness/Descriptors.h"
#include "harness/LogCapture.h"
#include "harness/VirtualClock.h"
#include "port/TextIo.h"
#include "simulator/usb/UsbBus.h"
#include "support/Text.h"

using simulator::UsbDescription;
using simulator::UsbFaults;
using testing::Contains;
using testing::ElementsAre;

namespace {

using Device = std::shared_ptr<simulator::UsbDevice>;

const std::string kSearches[] = {"0205 1", "F0F0 0205 ABC1", "F0F0"};

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
std::string List(const char* vid = nullptr, std::size_t size = 1024) {
    std::string list(size, 'x');
    char error[64] = "";
    const bool result = CComPortUsb::GetDeviceList(list.data(), size, error, sizeof error, vid);
    return std::to_string(result ? 1 : 0) + "[" + error + "]" + list.c_str();
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
                               [this](const simulator::ControlRequest& asked) { return last = asked, true; },
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
    /// Whether a read fails as it should.
    bool FailsToRead() {
        clock.blockingMs = 30;
        const std::string got = Get(port, 64, err);
        clock.blockingMs = 5000;
        return got.empty() && err == 1 && std::string(port.szLastError) == "Read timeout! No data read";
    }
    bool Control(unsigned short length) {
        std::vector<unsigned char> data(length);
        return port.ControlTransfer(0x21, 9, 0x0200, 0, data.data(), length, 1000);
    }

    simulator::UsbBus bus;
    VirtualClock clock;
    LogCapture log;
    CComPortUsb port{1};
    unsigned int err = 9;
    std::vector<std::size_t> received;  ///< sizes of what the printers got, one a transfer
    simulator::ControlRequest last;
};

TEST_F(ComPortUsbTest, EndpointsComeInEitherOrderAndAreUsedInTheirDirectionOnly) {
    const struct {
        std::vector<unsigned char> endpoints;
        unsigned int in, out;
    } rows[] = {{{0x01, 0x82}, 0x82, 0x01}, {{0x81, 0x02}, 0x81, 0x02}, {{0x81}, 0x81, 0},
                {{0x81, 0x82}, 0x81, 0x82}, {{0x01, 0x02}, 0x02, 0x01}, {{}, 0, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.endpoints));
        UsbDescription look = Printer();
        look.interfaces[0].endpoints = row.endpoints;
        const Device printer = Plug(look);
        printer->QueueIn({'x'});  // for a write that reads, too
        EXPECT_TRUE(FindAndOpen());
        EXPECT_EQ(std::pair(port.uiEpIn, port.uiEpOut), std::pair(row.in, row.out));
        EXPECT_EQ(Send(5), row.out - 1 < 0x7F ? "" : "Write Error");
        EXPECT_EQ(Get(port, 8, err), row.in >= 0x80 ? "x" : "");
        bus.Unplug(printer);
    }
    EXPECT_EQ(received.size(), 3U);
}

// An address number is the last character of a serial text, which is compared whole where it is given; an
// empty one has them all. By search: + found, - passed over, r found and reported, f failed.
TEST_F(ComPortUsbTest, SearchesFindWhatFitsAndEveryFailureHasItsLine) {
    const std::string detach = "libusb_detach_kernel_driver error";
    const struct {
        UsbDescription look;
        std::string error, outcomes;
    } rows[] = {{Printer(), "", "+++"},
                {Printer("XYZ1"), "", "+-+"},
                {Printer("ABCA"), "", "--+"},
                {Printer(""), "", "+++"},
                {Printer("ABC1", "1-1", 0x10C4), "", "---"},
                {Printer("ABC1", "1-1", 0xF0F0, 0x0206), "", "--+"},
                {Faulty(&UsbFaults::cannotOpen, true), "Couldn't open device", "fff"},
                {Faulty(&UsbFaults::noSerial, true), "Coudn't get serial string", "fr+"},
                {Faulty(&UsbFaults::stringsStall, true), "Coudn't get serial string", "fr+"},
                {Faulty(&UsbFaults::undetachable, {0}), detach, "fff"},
                {Faulty(&UsbFaults::undetachable, {1}), detach + " interface index 1", "r++"}};
    for (const auto& row : rows)
        for (std::size_t i = 0; i < 3; ++i) {
            SCOPED_TRACE(kSearches[i] + " " + row.error);
            const Device printer = Plug(row.look);
            const char how = row.outcomes[i];
            const bool found = how == '+' || how == 'r';
            EXPECT_EQ(Find(kSearches[i]), found);
            EXPECT_EQ(port.pHandle != nullptr, found);  // what failed is closed at once
            const std::string error = how == 'f' || how == 'r' ? row.error : "";
            EXPECT_EQ(port.szLastError, error);
            EXPECT_EQ(Joined(log.Take(i == 0 ? "FindDevice" : "FindDeviceWithVid")), error);
            if (how == '+' && row.error.empty()) {
                EXPECT_TRUE(port.Open() && port.Close());
                EXPECT_EQ(
                    Joined(printer->Log()),
                    std::string("detach 0|") + (i == 0 ? "detach 1|detach 2|" : "") + "claim 0|release 0");
            }
            bus.Unplug(printer);
        }
    Plug(Faulty(&UsbFaults::cannotClaim, true));
    EXPECT_FALSE(FindAndOpen("F0F0 0205 ABC1"));
    EXPECT_STREQ(port.szLastError, "libusb_claim_interface error");
    EXPECT_EQ(Send(3), "Write Error---> error to oen device");
    EXPECT_EQ(log.Take(), Lines(2, "[Open]libusb_claim_interface error"));
}

TEST_F(ComPortUsbTest, ListsThePrintersOfTheVendorAndGoesOnAfterFailures) {
    Plug(Printer("ABC1", "1-1.2"));
    Plug(Printer("A\nF0F0|0205|\x1b[2J\x7f" + std::string("1\0\0", 3), "1-2", 0x10C4));
    EXPECT_EQ(List("10C4"), "1[]10C4|0205|A?F0F0|0205|?[2J?1\n");  // one line whatever the text holds
    EXPECT_FALSE(CComPortUsb::GetDeviceList(nullptr, 0, nullptr, 0, nullptr));
    const Device locked = Plug(Faulty(&UsbFaults::cannotOpen, true, "1-3"));
    EXPECT_EQ(List(), "1[Couldn't open device]F0F0|0205|ABC1\n");
    bus.Unplug(locked);
    const Device second = Plug(Printer("ABC2", "1-4"));
    for (const auto& [size, lines] : {std::pair{31U, 2U}, {30U, 1U}, {16U, 1U}, {15U, 0U}, {1U, 0U}})
        EXPECT_EQ(List(nullptr, size).size(), 3 + lines * 15) << "only whole lines that fit " << size;
    bus.Unplug(second);
    Plug(Faulty(&UsbFaults::noSerial, true, "1-5"));
    for (const char* vid : {static_cast<const char*>(nullptr), "F0F0"})  // a named vendor's may lack one
        EXPECT_EQ(List(vid).substr(0, 28), std::string(vid ? "1" : "0") + "[Coudn't get serial string]");
    EXPECT_EQ(log.Take("GetDeviceList"),
              (Lines{"Couldn't open device", "Coudn't get serial string", "Coudn't get serial string"}));
}

TEST_F(ComPortUsbTest, APrinterThatCameBackWithAnotherAddressIsFoundAtItsPlace) {
    const Device printer = Plug(Printer("ABC1", "1-12"));
    for (const char* const beside : {"1-1", "1-3.1"}) Plug(Printer("ABC5", beside));
    EXPECT_TRUE(Find("F0F0 0205 ABC1"));
    const Device locked = Plug(Faulty(&UsbFaults::cannotOpen, true, "1-2"));
    // A whole serial text is nobody's address number: nothing is kept, which is no failure.
    EXPECT_TRUE(port.SaveLocationCurrentDevice());
    EXPECT_FALSE(port.RestoreAddrNumFrmLocatio());
    CopyText(port.szAddrNum, "1");
    EXPECT_TRUE(port.BackupPortInfo() && port.SaveLocationCurrentDevice());
    bus.Unplug(locked);
    bus.Unplug(printer);
    EXPECT_TRUE(port.RestoreAddrNumFrmLocatio());
    EXPECT_STREQ(port.szAddrNum, "1");
    Plug(Printer("NEW7", "1-12"));
    Plug(Printer("NEW9", "1-4"));  // the last of the list is another, whatever its order
    EXPECT_TRUE(port.RestoreAddrNumFrmLocatio() && port.DumpPortInfo());
    EXPECT_TRUE(FindAndOpen("0205 7") && port.RestoreportInfo() && port.DumpPortInfo());
    const Lines lines = log.Take();
    for (const char* const line :
         {"[SaveLocationCurrentDevice]Couldn't open device",
          "[RestoreAddrNumFrmLocatio]No location saved : Error.",
          // Of 12 the first digit.
          "[SaveLocationCurrentDevice]Vid:F0F0, Pid:0205, AddrNum:1, Location: 10000000",
          "[RestoreAddrNumFrmLocatio]New info Vid:F0F0, Pid:0205, AddrNum:7, Location: 10000000",
          "Pid : 0205 ", "Vid : F0F0 ", "AddressNumberExt : 7 "})
        EXPECT_THAT(lines, Contains(line));
    EXPECT_EQ(lines.back(), "AddressNumberExt : 1 ");
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
}

TEST_F(ComPortUsbTest, TimeOutsAreScaledWithoutOverflowAndANegativeMultiplierLeavesThem) {
    const Device printer = Plug(Printer());
    EXPECT_TRUE(FindAndOpen());
    const struct {
        int multiplier;
        unsigned int ms, scaled;
    } rows[] = {
        {4, 700, 2800}, {2, 0x80000000, 4294967295}, {2147483647, 4294967295, 4294967295}, {-3, 700, 700}};
    for (const auto& row : rows) {
        clock.blocking.clear();
        port.iTimeMultiplier = row.multiplier;
        port.uiTimeoutRX = port.uiTimeoutTX = row.ms;
        EXPECT_EQ(Send(8), "");
        EXPECT_TRUE(FailsToRead() && Control(8));
        EXPECT_THAT(clock.blocking,
                    ElementsAre(row.scaled, row.scaled, 1000U));  // the last is not multiplied
    }
    port.iTimeMultiplier = 0;  // without limit, and without pauses
    printer->QueueIn({'x'});
    EXPECT_EQ(Send(2048) + Get(port, 64, err), "x");
    EXPECT_THAT(clock.blocking, Contains(0U).Times(33));
    EXPECT_THAT(clock.waits, ElementsAre());
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
    const struct {
        int status;  // 0: not taken in time
        std::string reason;
    } rows[] = {{0, "_TIMEOUT"}, {-EPIPE, "_PIPE"}, {-EPROTO, ""}, {-ESHUTDOWN, "_NO_DEVICE"}};
    Lines lines;
    for (const auto& row : rows) {
        UsbDescription look = Faulty(&UsbFaults::busy, row.status == 0);
        look.faults.status = row.status;
        const Device printer = Plug(look);
        EXPECT_TRUE(FindAndOpen());
        clock.blockingMs = row.status == 0 ? 30 : 5000;
        for (const std::size_t zeros : {3U, 200U}) EXPECT_EQ(Send(zeros), "Write Error") << row.reason;
        EXPECT_FALSE(Control(64));
        EXPECT_TRUE(FailsToRead()) << row.reason;
        lines.push_back("libusb_control_transfer  LIBUSB_ERROR" + row.reason);
        bus.Unplug(printer);
    }
    Plug(Printer());
    EXPECT_TRUE(FindAndOpen() && Control(64));
    EXPECT_EQ(last.type * 256 + last.request, 0x2109);
    EXPECT_EQ(last.value, 0x0200);
    EXPECT_EQ(last.data, simulator::Bytes(64, 0));
    EXPECT_FALSE(Control(5000));
    lines.emplace_back("libusb_control_transfer  LIBUSB_ERROR_INVALID_PARAM");
    EXPECT_EQ(log.Take("ControlTransfer"), lines);
}

// A closed port that is written to looks for the whole serial text, one that is opened again for an address
// number of the printers' vendor.
TEST_F(ComPortUsbTest, AClosedPortIsFoundAgainInTwoWays) {
    Plug(Printer("BOOT1", "1-2", 0x045B));
    Plug(Printer("ABC1"));
    const struct {
        const char* search;
        bool reopens, writes;
    } rows[] = {{"045B", false, false},
                {"0205 1", true, false},
                {"F0F0 0205 ABC1", false, true},
                {"045B 0205 BOOT1", false, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.search);
        EXPECT_TRUE(FindAndOpen(row.search));
        EXPECT_EQ(port.ReOpen(), row.reopens);
        EXPECT_STREQ(port.szVid, row.search == rows[0].search ? "045B" : "F0F0");
        if (port.szPid[0] != '\0') Find(row.search);
        port.Close();
        EXPECT_EQ(Send(3), row.writes ? "" : "Write Error---> error to reinit device");
    }
}

// libusb needs descriptors of its own to start: without any left, it cannot.
TEST_F(ComPortUsbTest, ALibraryThatDoesNotStartIsAFailureAndOneThatDidIsEnded) {
    List();  // what the first use in a process leaves open
    const int before = OpenDescriptors();
    EXPECT_FALSE(port.FindDevice("F0F0", "0205", 1) != 0 || port.Open() || Control(8) || port.ReOpen() ||
                 port.SaveLocationCurrentDevice());
    EXPECT_GT(OpenDescriptors(), before);
    EXPECT_TRUE(port.Close() && port.Close());
    EXPECT_EQ(OpenDescriptors(), before);
    rlimit was{};
    getrlimit(RLIMIT_NOFILE, &was);
    const OwnedDescriptor next(dup(STDIN_FILENO));
    const rlimit limit{static_cast<rlim_t>(next.Get()) + 2, was.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_FALSE(Find("0205 1") || Find("F0F0"));
    EXPECT_STREQ(port.szLastError, "libusb_init error");
    EXPECT_EQ(List(), "0[libusb_init error]");
    setrlimit(RLIMIT_NOFILE, &was);
    EXPECT_EQ(log.Take(),
              (Lines{"[FindDevice]libusb_get_device_list error", "[Open]libusb_claim_interface error",
                     "[ControlTransfer]libusb_control_transfer  LIBUSB_ERROR_NO_DEVICE",
                     "[SaveLocationCurrentDevice]SaveLocationCurrentDevice Begin",
                     "[SaveLocationCurrentDevice]No Pid, Vid or AddrNumber Error ", "[Init]libusb_init error",
                     "[InitWithVid]libusb_init error", "[GetDeviceList]libusb_init error"}));
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

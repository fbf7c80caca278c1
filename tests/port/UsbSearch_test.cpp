#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "port/UsbPortTest.h"

using simulator::UsbDescription;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class UsbSearchTest : public UsbPortTest {};

struct Match {
    const char* serial;
    std::vector<std::string> init;
    bool found;
};

TEST_F(UsbSearchTest, AddressNumberIsTheLastCharacterAndSerialTextsAreComparedWhole) {
    const std::vector<Match> matches = {
        {"ABC1", {"init", "0205", "1"}, true},
        {"ABC1", {"init", "0205", "2"}, false},
        {"ABC1", {"init", "0205", "ABC1"}, false},  // no number: 0
        {"ABC0", {"init", "0205", "X"}, true},
        {"ABC1", {"init", "0206", "1"}, false},
        {"ABCA", {"init", "0205", "A"}, false},
        {"ABCA", {"init", "0205", "17"}, true},
        {"ABC1", {"init", "0205", "99999999999999999999"}, false},
        {"", {"init", "0205", "5"}, true},
        {"ABC1", {"init-vid", "F0F0", "0205", "ABC1"}, true},
        {"ABC1", {"init-vid", "F0F0", "0205", "1"}, false},
        {"ABC1", {"init-vid", "f0f0", "0205", "ABC1"}, false},
        {"", {"init-vid", "F0F0", "0205", "ABC1"}, true},
        {"ABC1", {"init-vendor", "F0F0"}, true},
        {"ABC1", {"init-vendor", "10C4"}, false},
    };
    for (const Match& match : matches) {
        const auto printer = bus.Plug(Printer(match.serial));
        const std::string output = Run(match.init);
        EXPECT_THAT(output, HasSubstr(match.init[0] + (match.found ? "=1 []" : "=0 []")))
            << testing::PrintToString(match.init) << " for '" << match.serial << "'";
        bus.Unplug(printer);
    }
}

TEST_F(UsbSearchTest, EndpointsComeInEitherOrderAndMayBeMissing) {
    const std::vector<std::pair<std::vector<unsigned char>, const char*>> cases = {
        {{0x01, 0x82}, "in 82 out 01"}, {{0x81, 0x02}, "in 81 out 02"}, {{0x81}, "in 81 out 00"},
        {{0x03}, "in 00 out 03"},       {{}, "in 00 out 00"},           {{0x81, 0x82}, "in 81 out 82"},
        {{0x01, 0x02}, "in 02 out 01"},
    };
    for (const auto& [endpoints, shown] : cases) {
        UsbDescription look = Printer();
        look.interfaces[0].endpoints = endpoints;
        const auto printer = bus.Plug(look);
        EXPECT_THAT(Run({"init", "0205", "1", "show"}), HasSubstr(shown));
        bus.Unplug(printer);
    }
}

TEST_F(UsbSearchTest, EndpointsOfTheWrongDirectionAreNeverUsed) {
    UsbDescription look = Printer();
    look.interfaces[0].endpoints = {0x81, 0x82};
    const auto onlyIn = bus.Plug(look);
    EXPECT_THAT(Run({"init", "0205", "1", "open", "write", "hello"}),
                HasSubstr("err 1\nwrite=0 [Write Error]"));
    bus.Unplug(onlyIn);
    look.interfaces[0].endpoints = {0x01, 0x02};
    int received = 0;
    bus.Plug(look, {[&](const unsigned char*, std::size_t) { ++received; }, {}, {}});
    EXPECT_THAT(Run({"init", "0205", "1", "open", "read", "8"}),
                HasSubstr("read=0 [Read timeout! No data read]"));
    EXPECT_EQ(received, 0);
}

TEST_F(UsbSearchTest, KernelDriversLeaveBeforeTheInterfaceIsClaimed) {
    UsbDescription look = Printer();
    look.interfaces = {{{0x01, 0x82}, "usblp"}, {{0x03}, ""}, {{0x84}, "usbhid"}};
    const auto printer = bus.Plug(look);
    EXPECT_THAT(Run({"init", "0205", "1", "open", "close"}), HasSubstr("open=1 []"));
    EXPECT_THAT(printer->Log(), testing::ElementsAre("detach 0", "detach 2", "claim 0", "release 0"));
    bus.Unplug(printer);

    const auto byVendor = bus.Plug(look);
    Run({"init-vid", "F0F0", "0205", "ABC1", "open"});
    EXPECT_THAT(byVendor->Log(), testing::ElementsAre("detach 0", "claim 0", "release 0"));
}

struct Failure {
    const char* name;
    void (*spoil)(UsbDescription& look);
    std::vector<std::string> operations;
    std::vector<std::string> expected;
};

TEST_F(UsbSearchTest, EveryFailureHasItsLine) {
    const auto cannotOpen = [](UsbDescription& look) { look.faults.cannotOpen = true; };
    const auto noSerial = [](UsbDescription& look) { look.faults.noSerial = true; };
    const auto stringsStall = [](UsbDescription& look) { look.faults.stringsStall = true; };
    const auto keepsFirst = [](UsbDescription& look) {
        look.interfaces[0].kernelDriver = "usblp";
        look.faults.undetachable = {0};
    };
    const auto keepsOthers = [](UsbDescription& look) {
        look.interfaces = {{{0x01, 0x82}, "usblp"}, {{0x03}, "usbhid"}, {{0x04}, "usbhid"}};
        look.faults.undetachable = {1, 2};
    };
    const auto cannotClaim = [](UsbDescription& look) { look.faults.cannotClaim = true; };
    const auto unconfigured = [](UsbDescription& look) { look.faults.unconfigured = true; };
    const std::vector<std::string> init = {"init", "0205", "1"};
    const std::vector<std::string> initVid = {"init-vid", "F0F0", "0205", "ABC1"};
    const std::vector<std::string> initVendor = {"init-vendor", "F0F0"};
    const std::vector<Failure> failures = {
        {"open", cannotOpen, init, {"[FindDevice]Couldn't open device\n", "init=0 [Couldn't open device]"}},
        {"open",
         cannotOpen,
         initVid,
         {"[FindDeviceWithVid]Couldn't open device\n", "=0 [Couldn't open device]"}},
        {"open",
         cannotOpen,
         initVendor,
         {"[FindDeviceWithVid]Couldn't open device\n", "=0 [Couldn't open device]"}},
        {"no serial",
         noSerial,
         init,
         {"[FindDevice]Coudn't get serial string\n", "=0 [Coudn't get serial string]"}},
        {"no serial",
         noSerial,
         initVid,
         {"[FindDeviceWithVid]Coudn't get serial string\n", "=1 [Coudn't get serial string]"}},
        {"strings", stringsStall, init, {"[FindDevice]Coudn't get serial string\n", "init=0"}},
        {"strings", stringsStall, initVendor, {"init-vendor=1 []"}},
        {"detach 0",
         keepsFirst,
         init,
         {"[FindDevice]libusb_detach_kernel_driver error\n", "init=0 [libusb_detach_kernel_driver error]"}},
        {"detach 0",
         keepsFirst,
         initVid,
         {"[FindDeviceWithVid]libusb_detach_kernel_driver error\n", "init-vid=0"}},
        {"detach 0",
         keepsFirst,
         initVendor,
         {"[FindDeviceWithVid]libusb_detach_kernel_driver error\n", "=0"}},
        {"detach others",
         keepsOthers,
         init,
         {"[FindDevice]libusb_detach_kernel_driver error interface index 1\n",
          "[FindDevice]libusb_detach_kernel_driver error interface index 2\n",
          "init=1 [libusb_detach_kernel_driver error interface index 2]"}},
        {"claim",
         cannotClaim,
         {"init", "0205", "1", "open"},
         {"[Open]libusb_claim_interface error\n", "open=0 [libusb_claim_interface error]"}},
        {"no configuration", unconfigured, initVid, {"init-vid=1 []"}},
        {"no configuration", unconfigured, initVendor, {"init-vendor=1 []"}},
    };
    for (const Failure& failure : failures) {
        UsbDescription look = Printer();
        failure.spoil(look);
        const auto printer = bus.Plug(look);
        std::vector<std::string> operations = failure.operations;
        operations.insert(operations.end(), {"close", "nodes"});
        const std::string output = Run(operations);
        for (const std::string& text : failure.expected)
            EXPECT_THAT(output, HasSubstr(text)) << failure.name << " " << failure.operations[0];
        EXPECT_THAT(output, HasSubstr("nodes=0")) << "a device stayed open";
        bus.Unplug(printer);
    }
}

TEST_F(UsbSearchTest, AConfigurationThatCannotBeReadEndsTheProgram) {
    UsbDescription look = Printer();
    look.faults.unconfigured = true;
    bus.Plug(look);
    const std::string output = Run({"init", "0205", "1"}, 255);
    EXPECT_THAT(output, HasSubstr("Error getting usb config descriptor : -5 \n"));
    EXPECT_THAT(output, Not(HasSubstr("end")));
}

TEST_F(UsbSearchTest, OfTwoAlikeTheFirstOfTheListIsTaken) {
    std::vector<std::shared_ptr<simulator::UsbDevice>> printers = {bus.Plug(Printer("FIRST1", "1-1")),
                                                                   bus.Plug(Printer("SECOND1", "1-2"))};
    const std::string output = Run({"list", "1024", "-", "init", "0205", "1", "open"});
    if (output.find("FIRST1") > output.find("SECOND1")) std::swap(printers[0], printers[1]);
    EXPECT_THAT(printers[0]->Log(), testing::Not(IsEmpty()));
    EXPECT_THAT(printers[1]->Log(), IsEmpty());
}

TEST_F(UsbSearchTest, ASecondSearchReleasesWhatTheFirstHeld) {
    const auto printer = bus.Plug(Printer());
    const std::string output = Run(
        {"init", "0205", "1", "open", "init", "0205", "1", "nodes", "init", "0205", "7", "nodes", "close"});
    EXPECT_THAT(output, HasSubstr("init=1 []\nnodes=1"));
    EXPECT_THAT(output, HasSubstr("init=0 []\nnodes=0"));
    EXPECT_THAT(printer->Log(), testing::ElementsAre("claim 0", "release 0"));
}

TEST_F(UsbSearchTest, OperationsOutOfOrderFailWithTheirLine) {
    bus.Plug(Printer());
    const std::string output =
        Run({"open", "read", "8",     "write",  "x",     "control",    "0x21", "9",
             "8",    "find", "close", "reopen", "save",  "find-place", "init", "0205",
             "1",    "read", "8",     "close",  "close", "read",       "8",    "handshake"});
    for (const char* const text :
         {"[Open]libusb_claim_interface error\n", "open=0 [libusb_claim_interface error]",
          "err 1 data []\nread=0 [Read timeout! No data read]",
          "err 1\nwrite=0 [Write Error---> error to reinit device]",
          "[ControlTransfer]libusb_control_transfer  LIBUSB_ERROR_NO_DEVICE\n", "control=0", "reopen=0",
          "[SaveLocationCurrentDevice]No Pid, Vid or AddrNumber Error \n", "save=0",
          "[RestoreAddrNumFrmLocatio]No location saved : Error.\n", "find-place=0",
          "init=1 []\nerr 1 data []\nread=0 [Read timeout! No data read]", "close=1", "handshake=0"})
        EXPECT_THAT(output, HasSubstr(text));
}

TEST_F(UsbSearchTest, ASearchWithoutAListHasItsLine) {
    EXPECT_THAT(Run({"find"}), HasSubstr("[FindDevice]libusb_get_device_list error\nfind=0"));
}

// libusb needs descriptors of its own to start: without any left, it cannot.
TEST_F(UsbSearchTest, ALibraryThatDoesNotStartIsAFailure) {
    bus.Plug(Printer());
    const std::string output =
        Run({"starve", "init", "0205", "1", "init-vendor", "F0F0", "list", "1024", "-", "close"});
    for (const char* const text :
         {"[Init]libusb_init error\ninit=0 [libusb_init error]",
          "[InitWithVid]libusb_init error\ninit-vendor=0 [libusb_init error]",
          "[GetDeviceList]libusb_init error\nerror [libusb_init error]\n{}\nlist=0", "close=1"})
        EXPECT_THAT(output, HasSubstr(text));
}

}  // namespace

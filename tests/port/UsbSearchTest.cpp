#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "port/UsbPortTest.h"

using simulator::UsbDescription;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using UsbSearchTest = UsbPortTest;

TEST_F(UsbSearchTest, AddressNumberIsTheLastCharacterAndSerialTextsAreComparedWhole) {
    const struct {
        const char* serial;
        const char* operations;
        const char* result;
    } matches[] = {
        {"ABC1", "init 0205 1", "init=1 []"},
        {"ABC1", "init 0205 2", "init=0 []"},
        {"ABC1", "init 0205 ABC1", "init=0 []"},  // no number: 0
        {"ABC0", "init 0205 X", "init=1 []"},
        {"ABC1", "init 0206 1", "init=0 []"},
        {"ABCA", "init 0205 17", "init=1 []"},
        {"ABC1", "init 0205 99999999999999999999", "init=0 []"},
        {"", "init 0205 5", "init=1 []"},
        {"ABC1", "init-vid F0F0 0205 ABC1", "init-vid=1 []"},
        {"ABC1", "init-vid F0F0 0205 1", "init-vid=0 []"},
        {"ABC1", "init-vid f0f0 0205 ABC1", "init-vid=0 []"},
        {"", "init-vid F0F0 0205 ABC1", "init-vid=1 []"},
        {"ABC1", "init-vendor F0F0", "init-vendor=1 []"},
        {"ABC1", "init-vendor 10C4", "init-vendor=0 []"},
    };
    for (const auto& match : matches) {
        SCOPED_TRACE(match.serial);
        const auto printer = bus.Plug(Printer(match.serial));
        Expect(match.operations, {match.result});
        bus.Unplug(printer);
    }
}

TEST_F(UsbSearchTest, EndpointsComeInEitherOrderAndAreUsedInTheirDirectionOnly) {
    const struct {
        std::vector<unsigned char> endpoints;
        const char* shown;
        bool written;
    } cases[] = {
        {{0x01, 0x82}, "in 82 out 01", true}, {{0x81, 0x02}, "in 81 out 02", true},
        {{0x81}, "in 81 out 00", false},      {{0x03}, "in 00 out 03", true},
        {{}, "in 00 out 00", false},          {{0x81, 0x82}, "in 81 out 82", false},
        {{0x01, 0x02}, "in 02 out 01", true},
    };
    for (const auto& each : cases) {
        UsbDescription look = Printer();
        look.interfaces[0].endpoints = each.endpoints;
        int received = 0;
        const auto printer = bus.Plug(look, {[&](const unsigned char*, std::size_t) { ++received; }, {}, {}});
        Expect("init 0205 1 show open write hello read 8",
               {each.shown, each.written ? "write=5 []" : "err 1\nwrite=0 [Write Error]",
                "read=0 [Read timeout! No data read]"});
        EXPECT_EQ(received, each.written ? 1 : 0);
        bus.Unplug(printer);
    }
}

TEST_F(UsbSearchTest, KernelDriversLeaveAndEveryFailureHasItsLine) {
    UsbDescription driven = Printer();
    driven.interfaces = {{{0x01, 0x82}, "usblp"}, {{0x03}, "usbhid"}, {{0x84}, "usbhid"}};
    UsbDescription keepsFirst = driven;
    keepsFirst.faults.undetachable = {0};
    UsbDescription keepsOthers = driven;
    keepsOthers.faults.undetachable = {1, 2};
    UsbDescription cannotOpen = Printer();
    cannotOpen.faults.cannotOpen = true;
    UsbDescription noSerial = Printer();
    noSerial.faults.noSerial = true;
    UsbDescription stringsStall = Printer();
    stringsStall.faults.stringsStall = true;
    UsbDescription cannotClaim = Printer();
    cannotClaim.faults.cannotClaim = true;
    UsbDescription unconfigured = Printer();
    unconfigured.faults.unconfigured = true;
    const std::string init = "init 0205 1 ";
    const std::string initVid = "init-vid F0F0 0205 ABC1 ";
    const std::string initVendor = "init-vendor F0F0 ";
    const struct {
        const UsbDescription& look;
        std::string operations;
        std::vector<std::string> expected;
        std::vector<std::string> done = {};  // to interfaces and drivers, where that matters
    } cases[] = {
        {driven, init + "open", {"open=1 []"}, {"detach 0", "detach 1", "detach 2", "claim 0", "release 0"}},
        {driven, initVid + "open", {"open=1 []"}, {"detach 0", "claim 0", "release 0"}},
        {driven, initVendor + "open", {"open=1 []"}, {"detach 0", "claim 0", "release 0"}},
        {keepsFirst,
         init,
         {"[FindDevice]libusb_detach_kernel_driver error\n", "=0 [libusb_detach_kernel_driver error]"}},
        {keepsFirst, initVid, {"[FindDeviceWithVid]libusb_detach_kernel_driver error\n", "=0 [libusb"}},
        {keepsFirst, initVendor, {"[FindDeviceWithVid]libusb_detach_kernel_driver error\n", "=0 [libusb"}},
        {keepsOthers,
         init,
         {"[FindDevice]libusb_detach_kernel_driver error interface index 1\n",
          "[FindDevice]libusb_detach_kernel_driver error interface index 2\n",
          "=1 [libusb_detach_kernel_driver error interface index 2]"},
         {"detach 0"}},
        {cannotOpen, init, {"[FindDevice]Couldn't open device\n", "=0 [Couldn't open device]"}},
        {cannotOpen, initVid, {"[FindDeviceWithVid]Couldn't open device\n", "=0 [Couldn't open device]"}},
        {cannotOpen, initVendor, {"[FindDeviceWithVid]Couldn't open device\n", "=0 [Couldn't open device]"}},
        {noSerial, init, {"[FindDevice]Coudn't get serial string\n", "=0 [Coudn't get serial string]"}},
        {noSerial,
         initVid,
         {"[FindDeviceWithVid]Coudn't get serial string\n", "=1 [Coudn't get serial string]"}},
        {stringsStall, init, {"[FindDevice]Coudn't get serial string\n", "=0 [Coudn't get serial string]"}},
        {stringsStall, initVendor, {"=1 []"}},
        {cannotClaim,
         init + "open",
         {"[Open]libusb_claim_interface error\n", "open=0 [libusb_claim_interface error]"}},
        {cannotClaim, init + "zeros 5", {"zeros=0 [Write Error---> error to reinit device]"}},
        {cannotClaim, initVid + "zeros 5", {"err 1\nzeros=0 [Write Error---> error to oen device]"}},
        {unconfigured, initVid, {"=1 []"}},
        {unconfigured, initVendor, {"=1 []"}},
    };
    for (const auto& each : cases) {
        const auto printer = bus.Plug(each.look);
        std::vector<std::string> expected = each.expected;
        expected.emplace_back("nodes=0");  // no device stayed open
        Expect(each.operations + " close nodes", expected);
        EXPECT_TRUE(each.done.empty() || printer->Log() == each.done) << each.operations;
        bus.Unplug(printer);
    }
    bus.Plug(unconfigured);
    const std::string output = Run(init, 255);
    EXPECT_EQ(output.substr(output.find("Error getting")), "Error getting usb config descriptor : -5 \n");
}

TEST_F(UsbSearchTest, OfTwoAlikeTheFirstOfTheListIsTakenAndASecondSearchReleasesIt) {
    std::vector<std::shared_ptr<simulator::UsbDevice>> printers = {bus.Plug(Printer("FIRST1", "1-1")),
                                                                   bus.Plug(Printer("SECOND1", "1-2"))};
    const std::string output = Run("list 1024 - init 0205 1 open init 0205 1 nodes init 0205 7 nodes close");
    ExpectInOrder(output, {"init=1 []\nnodes=1", "init=0 []\nnodes=0"});
    if (output.find("FIRST1") > output.find("SECOND1")) std::swap(printers[0], printers[1]);
    EXPECT_THAT(printers[0]->Log(), ElementsAre("claim 0", "release 0"));
    EXPECT_THAT(printers[1]->Log(), IsEmpty());
}

}  // namespace

#include <gmock/gmock.h>

#include <set>
#include <string>
#include <vector>

#include "port/UsbPortTest.h"

using simulator::UsbDescription;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class UsbSearchTest : public UsbPortTest {
 protected:
    static UsbDescription Driven(const std::set<int>& undetachable) {
        UsbDescription look = Printer();
        look.interfaces = {{{0x01, 0x82}, "usblp"}, {{0x03}, "usbhid"}, {{0x84}, "usbhid"}};
        look.faults.undetachable = undetachable;
        return look;
    }

    static UsbDescription Spoilt(bool simulator::UsbFaults::*fault) {
        UsbDescription look = Printer();
        look.faults.*fault = true;
        return look;
    }

    /// + found, r found and reported, f failed, x ends the program.
    void ExpectOutcome(const std::string& search, const std::string& tag, const std::string& error,
                       char outcome) const {
        const std::string result = search.substr(0, search.find(' ')) + (outcome == 'f' ? "=0 [" : "=1 [");
        if (outcome == 'x') {
            EXPECT_THAT(Run(search, 255), testing::EndsWith(error));
        } else if (outcome == 'f') {  // what failed is closed at once
            Expect(search + " nodes", {tag + error + "\n", result + error + "]", "nodes=0"});
        } else {
            const std::string reported = outcome == 'r' ? error : "";
            Expect(search + " nodes close nodes",
                   {outcome == 'r' ? tag + error + "\n" : "", result + reported + "]", "nodes=1", "nodes=0"});
        }
    }
};

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
        if (!each.written) printer->QueueIn({'x'});  // for a write that reads
        Expect("init 0205 1 show open write hello read 8",
               {each.shown, each.written ? "write=5 []" : "err 1\nwrite=0 [Write Error]"});
        EXPECT_EQ(received, each.written ? 1 : 0);
        bus.Unplug(printer);
    }
}

const std::pair<const char*, const char*> kSearches[] = {{"init 0205 1", "[FindDevice]"},
                                                         {"init-vid F0F0 0205 ABC1", "[FindDeviceWithVid]"},
                                                         {"init-vendor F0F0", "[FindDeviceWithVid]"}};

TEST_F(UsbSearchTest, EveryFailureHasItsLine) {
    const struct {
        UsbDescription look;
        const char* error;
        const char* outcomes;  // of the searches
    } cases[] = {
        {Spoilt(&simulator::UsbFaults::cannotOpen), "Couldn't open device", "fff"},
        {Spoilt(&simulator::UsbFaults::noSerial), "Coudn't get serial string", "fr+"},
        {Spoilt(&simulator::UsbFaults::stringsStall), "Coudn't get serial string", "fr+"},
        {Driven({0}), "libusb_detach_kernel_driver error", "fff"},
        {Driven({1}), "libusb_detach_kernel_driver error interface index 1", "r++"},
        {Spoilt(&simulator::UsbFaults::unconfigured), "Error getting usb config descriptor : -5 \n", "x++"},
    };
    for (const auto& each : cases) {
        const auto printer = bus.Plug(each.look);
        for (std::size_t i = 0; i < 3; ++i) {
            SCOPED_TRACE(testing::Message() << kSearches[i].first << " " << each.error);
            ExpectOutcome(kSearches[i].first, kSearches[i].second, each.error, each.outcomes[i]);
        }
        bus.Unplug(printer);
    }
}

TEST_F(UsbSearchTest, KernelDriversLeaveBeforeTheInterfaceIsClaimed) {
    UsbDescription look = Driven({});
    for (const auto& search : kSearches) {
        const auto printer = bus.Plug(look);
        Expect(search.first + std::string(" open"), {"open=1 []"});
        std::vector<std::string> expected{"detach 0", "claim 0", "release 0"};
        if (&search == kSearches) expected.insert(expected.begin() + 1, {"detach 1", "detach 2"});
        EXPECT_EQ(printer->Log(), expected);
        bus.Unplug(printer);
    }
    look.faults.cannotClaim = true;
    bus.Plug(look);
    Expect("init 0205 1 open close nodes",
           {"[Open]libusb_claim_interface error\n", "open=0 [libusb_claim_interface error]", "nodes=0"});
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

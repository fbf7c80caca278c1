#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <vector>

#include "port/UsbPortTest.h"

using simulator::Bytes;
using simulator::ControlRequest;
using simulator::UsbDescription;
using simulator::UsbHandlers;
using testing::HasSubstr;
using testing::Not;

namespace {

class UsbTransferTest : public UsbPortTest {
 protected:
    /// Keeps what the printer gets, one element a transfer.
    UsbHandlers Recorder() {
        UsbHandlers handlers;
        handlers.received = [this](const unsigned char* data, std::size_t size) {
            received.emplace_back(data, data + size);
        };
        return handlers;
    }

    std::vector<std::size_t> Sizes() const {
        std::vector<std::size_t> sizes;
        for (const Bytes& transfer : received) sizes.push_back(transfer.size());
        return sizes;
    }

    static std::size_t Count(const std::string& text, const std::string& part) {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
        return count;
    }

    std::vector<Bytes> received;
};

TEST_F(UsbTransferTest, WritesGoOutInPiecesWithAPauseAfterEachKilobyte) {
    bus.Plug(Printer(), Recorder());
    const std::string output = Run({"multiplier", "3", "init", "0205", "1", "open", "write-zeros", "1100"});
    EXPECT_THAT(output, HasSubstr("write-zeros=1100 []"));
    std::vector<std::size_t> sizes(17, 64);
    sizes.push_back(12);
    EXPECT_EQ(Sizes(), sizes);
    EXPECT_EQ(Count(output, "sleep 3000 us"), 1U);
    EXPECT_EQ(Count(output, "time-out 3000 ms"), 18U);
}

TEST_F(UsbTransferTest, PiecesFollowThePacketSize) {
    bus.Plug(Printer(), Recorder());
    const std::string output =
        Run({"init", "0205", "1", "open", "packet", "600", "write-zeros", "2400", "write-zeros", "599",
             "packet", "0", "write-zeros", "2000", "write-zeros", "0"});
    EXPECT_THAT(output, HasSubstr("write-zeros=2400 []"));
    EXPECT_THAT(output, HasSubstr("write-zeros=0 []"));
    EXPECT_EQ(Sizes(), (std::vector<std::size_t>{600, 600, 600, 600, 599, 2000, 0}));
    EXPECT_EQ(Count(output, "sleep 1000 us"), 2U);
}

struct Scaled {
    const char* multiplier;
    const char* timeout;
    const char* printed;
};

TEST_F(UsbTransferTest, TimeOutsAreScaledWithoutOverflowAndANegativeMultiplierLeavesThem) {
    const auto printer = bus.Plug(Printer(), Recorder());
    for (const Scaled& scaled : std::vector<Scaled>{{"1", "700", "time-out 700 ms"},
                                                    {"4", "700", "time-out 2800 ms"},
                                                    {"2", "0x80000000", "time-out 4294967295 ms"},
                                                    {"2147483647", "4294967295", "time-out 4294967295 ms"},
                                                    {"-3", "700", "time-out 700 ms"}}) {
        const std::string output = Run({"multiplier", scaled.multiplier, "init", "0205", "1", "open",
                                        "timeout", scaled.timeout, "write-zeros", "2048", "read", "64"});
        EXPECT_EQ(Count(output, scaled.printed), 33U) << output;
        EXPECT_THAT(output, HasSubstr("read=0 [Read timeout! No data read]"));
        EXPECT_TRUE(scaled.multiplier[0] != '-' || output.find("sleep") == std::string::npos) << output;
    }
}

TEST_F(UsbTransferTest, MultiplierZeroWaitsWithoutLimitAndNeverPauses) {
    const auto printer = bus.Plug(Printer(), Recorder());
    ChildProcess child(
        Command({"multiplier", "0", "init", "0205", "1", "open", "write-zeros", "2048", "read", "64"}),
        bus.ChildEnvironment());
    ASSERT_TRUE(child.WaitForText("write-zeros=2048")) << child.Output();
    EXPECT_FALSE(child.WaitForText("read=", 400)) << "the other time-outs end after 150 ms";
    printer->QueueIn({'l', 'a', 't', 'e'});
    EXPECT_EQ(child.WaitForEnd(), 0);
    EXPECT_THAT(child.Output(), HasSubstr("err 0 data [late]\nread=4 []"));
    EXPECT_THAT(child.Output(), Not(HasSubstr("sleep")));
}

TEST_F(UsbTransferTest, AReadTakesOneTransferAndNoMoreThanItAskedFor) {
    const auto printer = bus.Plug(Printer());
    printer->QueueIn({'a', 'b', 'c'});
    printer->QueueIn(Bytes(100, 'x'));
    printer->QueueIn(Bytes(100, 'y'));
    printer->QueueIn({});
    const std::string output = Run({"init", "0205", "1", "open", "read", "64", "read", "64", "read", "64",
                                    "read", "10", "read", "64", "read", "0"});
    EXPECT_THAT(output, HasSubstr("err 0 data [abc]\nread=3 []"));
    EXPECT_THAT(output, HasSubstr("data [" + std::string(64, 'x') + "]\n"));
    EXPECT_THAT(output, HasSubstr("data [" + std::string(36, 'x') + "]\n"));
    // A packet larger than what is left of the buffer is an error of the bus.
    EXPECT_THAT(
        output,
        HasSubstr("read=36 []\ntime-out 1000 ms\nerr 1 data []\nread=0 [Read timeout! No data read]"));
    EXPECT_THAT(output, HasSubstr("err 0 data []\nread=0 []"));
}

TEST_F(UsbTransferTest, TransfersThatFailOrAreNotTakenAreErrors) {
    UsbDescription look = Printer();
    look.faults.busy = true;
    const auto busy = bus.Plug(look);
    EXPECT_THAT(Run({"init", "0205", "1", "open", "write", "abc", "write-zeros", "200"}),
                testing::AllOf(HasSubstr("err 1\nwrite=0 [Write Error]"),
                               HasSubstr("err 1\nwrite-zeros=0 [Write Error]")));
    bus.Unplug(busy);
    look.faults.busy = false;
    look.faults.status = -EPIPE;
    bus.Plug(look);
    EXPECT_THAT(Run({"init", "0205", "1", "open", "write", "abc", "read", "64"}),
                testing::AllOf(HasSubstr("err 1\nwrite=0 [Write Error]"),
                               HasSubstr("err 1 data []\nread=0 [Read timeout! No data read]")));
}

TEST_F(UsbTransferTest, AWriteOnAClosedPortOpensItByWholeSerialText) {
    bus.Plug(Printer("ABC1"), Recorder());
    EXPECT_THAT(Run({"init-vid", "F0F0", "0205", "ABC1", "write", "hello"}), HasSubstr("err 0\nwrite=5 []"));
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(std::string(received[0].begin(), received[0].end()), "hello");
    // The address number is no whole serial text.
    EXPECT_THAT(Run({"init", "0205", "1", "close", "write", "hello"}),
                HasSubstr("err 1\nwrite=0 [Write Error---> error to reinit device]"));
    // A device named by its vendor alone is looked for by product and address number, which are empty.
    EXPECT_THAT(Run({"init-vendor", "F0F0", "close", "write", "hello"}),
                HasSubstr("write=0 [Write Error---> error to reinit device]"));
}

TEST_F(UsbTransferTest, AWriteThatCannotClaimSaysSo) {
    UsbDescription look = Printer("1");
    look.faults.cannotClaim = true;
    bus.Plug(look);
    EXPECT_THAT(Run({"init", "0205", "1", "write", "hello"}),
                HasSubstr("err 1\nwrite=0 [Write Error---> error to oen device]"));
}

TEST_F(UsbTransferTest, ReOpenLooksForAnAddressNumberOfThePrinterVendor) {
    UsbDescription boot = Printer("ABC1", "1-2");
    boot.identity.vendor = 0x045B;
    const auto bootDevice = bus.Plug(boot);
    const auto printer = bus.Plug(Printer("ABC1"));
    // By address number it comes back to the printer; by whole serial text it does not.
    EXPECT_THAT(Run({"init", "0205", "1", "open", "reopen"}), HasSubstr("reopen=1 []"));
    EXPECT_THAT(printer->Log(), testing::ElementsAre("claim 0", "release 0", "claim 0", "release 0"));
    EXPECT_THAT(Run({"init-vid", "F0F0", "0205", "ABC1", "open", "reopen"}), HasSubstr("reopen=0 []"));
    // The vendor is forgotten for the printers', and so is a boot device that sits beside.
    const std::string output = Run({"init-vid", "045B", "0205", "ABC1", "open", "reopen", "show"});
    EXPECT_THAT(output, HasSubstr("reopen=0 []"));
    EXPECT_THAT(output, HasSubstr("Pid : 0205 \nVid : F0F0 \nAddressNumberExt : ABC1 \n"));
    EXPECT_THAT(bootDevice->Log(), testing::ElementsAre("claim 0", "release 0"));
    // Named by its vendor alone, it is looked for with empty texts.
    EXPECT_THAT(Run({"init-vendor", "045B", "open", "reopen"}), HasSubstr("reopen=0 []"));
}

TEST_F(UsbTransferTest, ControlTransfersAndTheirLines) {
    std::vector<ControlRequest> requests;
    bool taken = true;
    UsbHandlers handlers;
    handlers.control = [&](const ControlRequest& request) {
        requests.push_back(request);
        return taken;
    };
    const auto printer = bus.Plug(Printer(), handlers);
    EXPECT_THAT(Run({"init", "0205", "1", "open", "control", "0x21", "9", "64"}), HasSubstr("control=1 []"));
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].type, 0x21);
    EXPECT_EQ(requests[0].request, 9);
    EXPECT_EQ(requests[0].value, 0x0200);
    EXPECT_EQ(requests[0].data, Bytes(64, 0));
    taken = false;
    EXPECT_THAT(
        Run({"multiplier", "5", "init", "0205", "1", "open", "control", "0x21", "9", "64"}),
        testing::AllOf(HasSubstr("time-out 1000 ms"),
                       HasSubstr("[ControlTransfer]libusb_control_transfer  LIBUSB_ERROR_PIPE\ncontrol=0")));
    EXPECT_THAT(Run({"init", "0205", "1", "control", "0x21", "9", "5000"}),
                HasSubstr("libusb_control_transfer  LIBUSB_ERROR_INVALID_PARAM\ncontrol=0"));
    bus.Unplug(printer);
    for (const auto& [status, line] :
         std::vector<std::pair<int, std::string>>{{-EPROTO, "LIBUSB_ERROR"},
                                                  {-ESHUTDOWN, "LIBUSB_ERROR_NO_DEVICE"},
                                                  {0, "LIBUSB_ERROR_TIMEOUT"}}) {
        UsbDescription look = Printer();
        look.faults.status = status;
        look.faults.busy = status == 0;
        const auto spoilt = bus.Plug(look);
        EXPECT_THAT(Run({"init", "0205", "1", "control", "0x21", "9", "64"}),
                    HasSubstr("[ControlTransfer]libusb_control_transfer  " + line + "\ncontrol=0"));
        bus.Unplug(spoilt);
    }
}

TEST_F(UsbTransferTest, HandshakeTriesFiveTimes) {
    const auto printer = bus.Plug(Printer("1"), Recorder());
    const std::string output = Run({"init", "0205", "1", "open", "handshake"});
    EXPECT_THAT(output, HasSubstr("handshake=0"));
    EXPECT_EQ(Count(output, "sleep 1500000 us"), 4U);
    EXPECT_EQ(Count(output, "[HandshakeCommunication]Read GSI Error... Retry"), 4U);
    bus.Unplug(printer);
    std::shared_ptr<simulator::UsbDevice> answering;
    UsbHandlers handlers;
    handlers.received = [&](const unsigned char* data, std::size_t size) {
        if (size == 3 && data[2] == 0x01) answering->QueueIn({0x5D});
        if (size == 3 && data[2] == 0x03) answering->QueueIn({'1', '.', '0'});
    };
    answering = bus.Plug(Printer("1"), handlers);
    EXPECT_THAT(Run({"init", "0205", "1", "open", "handshake"}), HasSubstr("GSI 0x015d \n"));
}

}  // namespace

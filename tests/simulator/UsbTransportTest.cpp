#include <gmock/gmock.h>

#include <csignal>
#include <string>
#include <vector>

#include "harness/ChildProcess.h"
#include "simulator/ScaledClock.h"
#include "simulator/SynchronizedModel.h"
#include "simulator/usb/UsbTransport.h"

using simulator::Bytes;
using simulator::ControlRequest;
using simulator::SynchronizedModel;
using simulator::UsbBus;
using simulator::UsbDescription;
using simulator::UsbIdentity;
using simulator::UsbTransport;
using testing::HasSubstr;

namespace {

/// Says back what it hears. "reboot" makes it leave for a while and come back with another serial number,
/// "cut" asks for its connection to be cut, "later" is answered after some time.
class EchoModel final : public simulator::DeviceModel {
 public:
    explicit EchoModel(std::string serial) : identity_{0xF0F0, 0x0205, std::move(serial)} {}

    void Receive(const unsigned char* data, std::size_t size, std::uint64_t now) override {
        const std::string text(data, data + size);
        heard += text;
        if (text == "reboot") {
            backAt_ = now + 300;
            identity_.serial += "9";
        } else if (text == "cut") {
            cut_ = true;
        } else {
            dueAt_ = text == "later" ? now + 200 : now;
            answer_.assign(data, data + size);
        }
    }
    std::vector<Bytes> Transmit(std::uint64_t now) override {
        if (now < dueAt_) return {};
        dueAt_ = kNever;
        return {answer_};
    }
    bool Control(const ControlRequest& request, std::uint64_t now) override {
        static_cast<void>(now);
        return request.request == 9;
    }
    std::uint64_t NextEvent(std::uint64_t now) const override {
        return now < backAt_ ? std::min(dueAt_, backAt_) : dueAt_;
    }
    bool OnLine(std::uint64_t now) override {
        static_cast<void>(now);
        return false;
    }
    std::optional<UsbIdentity> OnUsb(std::uint64_t now) override {
        return now < backAt_ ? std::nullopt : std::make_optional(identity_);
    }
    void ConnectionChanged(bool connected, std::uint64_t now) override {
        static_cast<void>(now);
        connections += connected ? '+' : '-';
    }
    bool TakeCut() override { return std::exchange(cut_, false); }

    std::string heard;
    std::string connections;

 private:
    UsbIdentity identity_;
    std::uint64_t backAt_ = 0;
    std::uint64_t dueAt_ = kNever;
    Bytes answer_;
    bool cut_ = false;
};

class UsbTransportTest : public testing::Test {
 protected:
    static UsbDescription At(const std::string& port) {
        UsbDescription look;
        look.port = port;
        return look;
    }

    std::vector<std::string> Command(std::vector<std::string> operations) const {
        operations.insert(operations.begin(), USB_CHILD);
        return operations;
    }

    std::string Run(const std::vector<std::string>& operations) const {
        ChildProcess child(Command(operations), bus.ChildEnvironment());
        EXPECT_EQ(child.WaitForEnd(20000), 0) << child.Output();
        return child.Output();
    }

    simulator::ScaledClock clock{10, 1};
    UsbBus bus;
    EchoModel model{"A1"};
    SynchronizedModel shared{model};
};

TEST_F(UsbTransportTest, BytesControlRequestsAndTimeReachTheModel) {
    UsbTransport transport(bus, shared, At("1-1"));
    transport.Start();
    const std::string output =
        Run({"init", "0205",    "1",    "open", "write", "hello", "read",  "64",   "control", "0x21", "9",
             "8",    "control", "0x21", "1",    "8",     "write", "later", "read", "64",      "close"});
    EXPECT_THAT(output, HasSubstr("data [hello]"));
    EXPECT_THAT(output, HasSubstr("data [later]"));
    EXPECT_THAT(output, HasSubstr("control=1"));
    EXPECT_THAT(output, HasSubstr("LIBUSB_ERROR_PIPE\ncontrol=0"));
    transport.Stop();
    EXPECT_EQ(model.heard, "hellolater");
    EXPECT_EQ(model.connections, "+--");
}

TEST_F(UsbTransportTest, AChangeOfIdentityIsARestartWithAnotherDeviceNumber) {
    UsbTransport transport(bus, shared, At("1-1.4"));
    transport.Start();
    const std::string output =
        Run({"init", "0205", "1", "open", "write", "reboot", "read", "64", "await", "F0F0|0205|A19", "init",
             "0205", "9", "open", "write", "again", "read", "64"});
    EXPECT_THAT(output, HasSubstr("write=6"));
    EXPECT_THAT(output, HasSubstr("read=0 [Read timeout! No data read]"));
    EXPECT_THAT(output, HasSubstr("data [again]"));
    EXPECT_EQ(transport.Plugged(), 2);
}

TEST_F(UsbTransportTest, ACutIsSeenAsARestart) {
    UsbTransport transport(bus, shared, At("1-1"));
    transport.Start();
    const std::string output = Run({"init", "0205", "1", "open", "write", "cut", "read", "64", "await",
                                    "F0F0|0205|A1", "reopen", "write", "again", "read", "64"});
    EXPECT_THAT(output, HasSubstr("read=0 [Read timeout! No data read]"));
    EXPECT_THAT(output, HasSubstr("data [again]"));
    EXPECT_EQ(transport.Plugged(), 2);
}

TEST_F(UsbTransportTest, TwoPrintersStandSideBySide) {
    EchoModel second("B2");
    SynchronizedModel sharedSecond(second);
    UsbTransport left(bus, shared, At("1-1.1"));
    UsbTransport right(bus, sharedSecond, At("1-1.2"));
    left.Start();
    right.Start();
    const std::string output = Run({"list", "1024", "-", "init", "0205", "2", "open", "write", "to B", "read",
                                    "64", "init", "0205", "1", "open", "write", "to A", "read", "64"});
    EXPECT_THAT(output, HasSubstr("F0F0|0205|A1\n"));
    EXPECT_THAT(output, HasSubstr("F0F0|0205|B2\n"));
    left.Stop();
    right.Stop();
    EXPECT_EQ(model.heard, "to A");
    EXPECT_EQ(second.heard, "to B");
}

TEST_F(UsbTransportTest, AChildThatIsKilledLeavesTheInterfaceFree) {
    UsbTransport transport(bus, shared, At("1-1"));
    transport.Start();
    {
        ChildProcess child(Command({"multiplier", "0", "init", "0205", "1", "open", "read", "64"}),
                           bus.ChildEnvironment());
        ASSERT_TRUE(child.WaitForText("time-out 0 ms"));
    }
    EXPECT_THAT(Run({"init", "0205", "1", "open", "write", "still here", "read", "64"}),
                HasSubstr("data [still here]"));
}

}  // namespace

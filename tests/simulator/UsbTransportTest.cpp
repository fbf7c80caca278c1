#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "port/UsbPortTest.h"
#include "simulator/ScaledClock.h"
#include "simulator/SynchronizedModel.h"
#include "simulator/usb/UsbTransport.h"

using simulator::Bytes;
using simulator::ControlRequest;
using simulator::SynchronizedModel;
using simulator::UsbIdentity;
using simulator::UsbTransport;

namespace {

/// Says back what it hears. "reboot" makes it leave for a while and come back with another serial number,
/// "cut" asks for its connection to be cut, "later" is answered after some time.
class EchoModel final : public simulator::DeviceModel {
 public:
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
    UsbIdentity identity_{0xF0F0, 0x0205, "A1"};
    std::uint64_t backAt_ = 0;
    std::uint64_t dueAt_ = kNever;
    Bytes answer_;
    bool cut_ = false;
};

class UsbTransportTest : public UsbPortTest {
 protected:
    UsbTransportTest() { transport.Start(); }

    simulator::ScaledClock clock{10, 1};
    EchoModel model;
    SynchronizedModel shared{model};
    UsbTransport transport{bus, shared, Printer("", "1-1.4")};
};

TEST_F(UsbTransportTest, CarriesTheModelThroughCutsAndRestarts) {
    Expect("init 0205 1 open write hello read 64 control 0x21 9 8 control 0x21 1 8 write later read 64 close",
           {"data [hello]", "control=1", "LIBUSB_ERROR_PIPE\ncontrol=0", "data [later]"});
    EXPECT_EQ(model.heard, "hellolater");
    EXPECT_EQ(model.connections, "+-");
    // Another identity is a restart, and so is a cut of the connection.
    Expect(
        "init 0205 1 open write cut read 64 await F0F0|0205|A1 reopen write reboot read 64 "
        "await F0F0|0205|A19 init 0205 9 open write again read 64",
        {"write=3", "read=0 [Read timeout! No data read]", "reopen=1", "write=6",
         "read=0 [Read timeout! No data read]", "data [again]"});
    EXPECT_EQ(transport.Plugged(), 3);
}

TEST_F(UsbTransportTest, AChildThatIsKilledLeavesTheInterfaceFree) {
    {
        ChildProcess child(Command("multiplier 0 init 0205 1 open read 64"), bus.ChildEnvironment());
        ASSERT_TRUE(child.WaitForText("time-out 0 ms"));
    }
    Expect("init 0205 1 open write hello read 64", {"data [hello]"});
}

}  // namespace

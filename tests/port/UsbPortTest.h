#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "harness/ChildProcess.h"
#include "simulator/usb/UsbBus.h"

/// A bus with printers on it, and children that perform operations of the USB port on them.
class UsbPortTest : public testing::Test {
 protected:
    static simulator::UsbDescription Printer(const std::string& serial = "ABC1",
                                             const std::string& port = "1-1") {
        simulator::UsbDescription look;
        look.identity = {0xF0F0, 0x0205, serial};
        look.port = port;
        return look;
    }

    /// A child that performs the operations.
    static std::vector<std::string> Command(std::vector<std::string> operations) {
        operations.insert(operations.begin(), USB_CHILD);
        return operations;
    }

    /// What a child printed, which has to end with `status`.
    std::string Run(const std::vector<std::string>& operations, int status = 0) const {
        ChildProcess child(Command(operations), bus.ChildEnvironment());
        EXPECT_EQ(child.WaitForEnd(20000), status) << child.Output();
        return child.Output();
    }

    simulator::UsbBus bus;
};

#pragma once

#include <gmock/gmock.h>

#include <sstream>
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

    /// A child that performs the operations, the words of a line.
    static std::vector<std::string> Command(const std::string& operations) {
        std::vector<std::string> command{USB_CHILD};
        std::istringstream words(operations);
        for (std::string word; words >> word;) command.push_back(word);
        return command;
    }

    /// What a child printed, which has to end with `status`.
    std::string Run(const std::string& operations, int status = 0) const {
        ChildProcess child(Command(operations), bus.ChildEnvironment());
        EXPECT_EQ(child.WaitForEnd(20000), status) << child.Output();
        return child.Output();
    }

    static void ExpectInOrder(const std::string& output, const std::vector<std::string>& texts) {
        std::size_t at = 0;
        for (const std::string& text : texts) {
            const std::size_t found = output.find(text, at);
            ASSERT_NE(found, std::string::npos) << text << "\nis not in its place in\n" << output;
            at = found + text.size();
        }
    }

    /// A child that performs the operations prints these texts in this order.
    void Expect(const std::string& operations, const std::vector<std::string>& texts, int status = 0) const {
        ExpectInOrder(Run(operations, status), texts);
    }

    simulator::UsbBus bus;
};

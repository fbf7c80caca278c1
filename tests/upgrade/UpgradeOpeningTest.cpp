#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "port/CommPortSettings.h"
#include "upgrade/BankScript.h"
#include "upgrade/UpgradeEngine.h"

// How the three bank engines begin: what they refuse, and how they reach the printer.

namespace {

using Form = TestPackage::Form;

bool SendFW(int mode, CComPort& port, PSWFile& package) {
    const auto engine = std::dynamic_pointer_cast<UpgradeEngine>(
        UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(mode), 3, 1));
    UpgradeDataInfo info;
    CommPortSettings settings;
    return engine->SendFW(info, port, package, settings, nullptr, nullptr);
}

TEST(UpgradeOpening, AFirmwareThatIsNotWholeIsRefusedBeforeThePrinterIsTouched) {
    const std::string wrong = "Upgrade file wrong or incomplete:";
    const std::string count = "NumBank Error : 0";
    const std::string size = "BankDim Error : 0";
    const struct {
        const char* what;
        std::uint64_t bankSize;
        int banks;
        bool u5Only;
        Lines log;
    } rows[] = {
        {"no banks", 10, 0, false, {wrong, count}},
        {"banks of no size", 0, 3, false, {wrong, size}},
        {"neither", 0, 0, false, {wrong, count, size}},
        {"a byte more than there is", 34, 3, false, {wrong}},
        {"a size that overflows the product", 1ULL << 62, 4, false, {wrong}},
        {"negative number of banks", 10, -3, false, {wrong}},
        {"no code group", 10, 2, true, {wrong}},
    };
    for (const int mode : {1, 3, 5}) {
        for (const auto& row : rows) {
            if (row.u5Only && mode != 5) continue;
            for (const Form form : {Form::kOld, Form::kNew}) {
                ScriptedPort port;
                port.OnClose();
                TestPackage package(form, "105", row.banks, row.bankSize, Pattern(101));
                LogCapture log;
                EXPECT_FALSE(SendFW(mode, port, package.file)) << mode << " " << row.what;
                EXPECT_EQ(log.Take("SendFW"), row.log) << mode << " " << row.what;
            }
        }
        // Neither form without the header that should hold its firmware.
        for (const int pswType : {0, 1}) {
            ScriptedPort port;
            port.OnClose();
            TestPackage package;
            package.file.iPswType = pswType;
            LogCapture log;
            EXPECT_FALSE(SendFW(mode, port, package.file));
            EXPECT_EQ(log.Take("SendFW"), (Lines{wrong, count, size}));
        }
    }
}

TEST(UpgradeOpening, ReopenHandshakeAndRelease) {
    const std::string numbered = "ReOpen Error. Retry %d";
    Lines exhausted;
    for (int i = 1; i <= 9; ++i) exhausted.push_back(Format(numbered.c_str(), i));
    exhausted.emplace_back("ReOpen Error. Num max Retry found. Throw Error");
    for (const int mode : {1, 3, 5}) {
        const std::string failed =
            mode == 5 ? "Handshake Communication Error." : "Handshake Communication Error";
        TestPackage package("105", 3, Pattern(30));
        LogCapture log;
        {
            VirtualClock clock;
            ScriptedPort port(&clock);
            for (int i = 0; i < 9; ++i) port.OnReOpen(false);
            if (mode != 1) port.OnHandshake(false);
            EXPECT_FALSE(SendFW(mode, port, package.file));
            Lines lines = mode == 1 ? Lines(9, "ReOpen Error. Retry") : exhausted;
            lines.push_back(mode == 1 ? "ReOpen Error. Num Max Retry found. Throw Error" : failed);
            EXPECT_EQ(log.Take("SendFW"), lines);
            EXPECT_EQ(port.Calls("HandshakeCommunication"), mode == 1 ? 0 : 1);
            EXPECT_EQ(port.Calls("Close"), 0);
            EXPECT_EQ(clock.WaitedUs(), 40U * 1000000);
        }
        {
            VirtualClock clock;
            ScriptedPort port(&clock);
            port.OnHandshake(false);
            EXPECT_FALSE(SendFW(mode, port, package.file));
            EXPECT_EQ(log.Take("SendFW"), Lines{failed});
            EXPECT_EQ(port.Calls("Close"), 0);
        }
        {
            VirtualClock clock;
            ScriptedPort port(&clock);
            port.Expect(ReleaseInquiry()).Silence().OnClose();
            EXPECT_FALSE(SendFW(mode, port, package.file));
            EXPECT_EQ(log.Take("SendFW"), Lines{"Read FW Release Error"});
        }
    }
}

}  // namespace

// What the three bank engines share: what they refuse, and how they reach the printer.
#include "upgrade/BankTransfer.h"

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "port/CommPortSettings.h"
#include "upgrade/TestPackage.h"
#include "upgrade/UpgradeEngine.h"

namespace {

using Form = TestPackage::Form;

bool SendFW(int mode, CComPort& port, PSWFile& package) {
    const auto engine = std::dynamic_pointer_cast<UpgradeEngine>(
        UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(mode), 3, 1));
    UpgradeDataInfo info;
    CommPortSettings settings;
    return engine->SendFW(info, port, package, settings, nullptr, nullptr);
}

TEST(BankTransfer, AFirmwareThatIsNotWholeIsRefusedBeforeThePrinterIsTouched) {
    const Lines wrong{"Upgrade file wrong or incomplete:"};
    const Lines count{"NumBank Error : 0"};
    const Lines size{"BankDim Error : 0"};
    const struct {
        const char* what;
        std::uint64_t bankSize;
        int banks;
        Lines log;
    } rows[] = {
        {"no banks", 10, 0, wrong + count},
        {"banks of no size", 0, 3, wrong + size},
        {"neither", 0, 0, wrong + count + size},
        {"a byte more than there is", 34, 3, wrong},
        {"a size that overflows the product", 1ULL << 62, 4, wrong},
        {"negative number of banks", 10, -3, wrong},
        {"no code group", 10, 2, wrong},  // refused by U5 alone
    };
    for (const int mode : {1, 3, 5}) {
        for (const auto& row : rows) {
            if (row.banks == 2 && mode != 5) continue;
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
            TestPackage package;
            package.file.iPswType = pswType;
            LogCapture log;
            EXPECT_FALSE(SendFW(mode, port, package.file));
            EXPECT_EQ(log.Take("SendFW"), wrong + count + size);
        }
    }
}

// Only U1 gives up when the port is not back; a port that was opened is closed by a missing release alone.
TEST(BankTransfer, ReopenHandshakeAndRelease) {
    enum Trouble { kNotBack, kNoHandshake, kNoRelease };
    for (const Trouble trouble : {kNotBack, kNoHandshake, kNoRelease}) {
        for (const int mode : {1, 3, 5}) {
            VirtualClock clock;
            ScriptedPort port(&clock);
            for (int i = 0; trouble == kNotBack && i < 9; ++i) port.OnReOpen(false);
            std::string line = mode == 5 ? "Handshake Communication Error." : "Handshake Communication Error";
            if (trouble == kNoRelease) {
                port.Expect(ReleaseInquiry()).Silence().OnClose();
                line = "Read FW Release Error";
            } else if (trouble == kNotBack && mode == 1) {
                line = "ReOpen Error. Num Max Retry found. Throw Error";
            } else {
                port.OnHandshake(false);
            }
            TestPackage package("105", 3, Pattern(30));
            LogCapture log;
            EXPECT_FALSE(SendFW(mode, port, package.file)) << trouble;
            EXPECT_EQ(log.Take("SendFW").back(), line) << trouble;
            EXPECT_EQ(port.Calls("Close"), trouble == kNoRelease ? 1 : 0);
        }
    }
}

TEST(ReopenLoop, PausesAndLinesOfEachVariant) {
    const struct {
        ReopenLoop loop;
        int failures;
        std::uint64_t seconds;
        const char* last;
    } rows[] = {
        {kReopenBeforeFirmware, 0, 5, ""},
        {kReopenBeforeFirmware, 8, 45, ""},
        {kReopenBeforeFirmware, 9, 40, "ReOpen Error. Num max Retry found. Throw Error"},
        {kReopenAfterBanks, 1, 4, ""},
        {kReopenAfterBanks, 9, 16, "ReOpen Error. Num max Retry found. Throw Error"},
        {kReopenOrFail, 0, 0, ""},
        {kReopenOrFail, 8, 40, ""},
        {kReopenOrFail, 9, 40, "ReOpen Error. Num Max Retry found. Throw Error"},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        ScriptedPort port(&clock);
        Lines lines;
        for (int i = 1; i <= row.failures; ++i) {
            port.OnReOpen(false);
            lines.push_back("ReOpen Error. Retry" +
                            (row.loop.numberedRetries ? " " + std::to_string(i) : ""));
        }
        if (*row.last != '\0')
            lines.emplace_back(row.last);
        else
            port.OnReOpen();
        LogCapture log;
        EXPECT_EQ(row.loop.Run(port, 2, "SendFW"), *row.last == '\0') << row.failures;
        EXPECT_EQ(clock.WaitedUs(), row.seconds * 2 * 1000000) << row.failures;
        EXPECT_EQ(log.Take("SendFW"), lines) << row.failures;
    }
}

}  // namespace

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "package/PSWComponents.h"
#include "port/CommPortSettings.h"
#include "upgrade/RecordingPort.h"
#include "upgrade/ReopenLoop.h"
#include "upgrade/TestPackage.h"
#include "upgrade/UpgradeEngine.h"

namespace {

PSWComponents* components = nullptr;  // of the run under test, for the state at the backup

/// Runs the flow of a real engine's record around a firmware that only notes that it was sent.
class ProbeEngine final : public UpgradeEngine {
 public:
    ProbeEngine(int mode, int mask, int timem) : UpgradeEngine(mask, timem) {
        engine_ = std::dynamic_pointer_cast<UpgradeEngine>(
            UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(mode), mask, timem));
    }
    const UpgradeFlow& Flow() const override { return engine_->Flow(); }
    bool SendFW(UpgradeDataInfo&, CComPort& port, PSWFile&, CommPortSettings&, void*, void*) override {
        static_cast<RecordingPort&>(port).Note("SendFW");
        return result;
    }
    bool result = true;

 private:
    std::shared_ptr<UpgradeEngine> engine_;
};

struct Outcome {
    bool result = false;
    std::string events;
    std::string log;
};

const std::string kStart2 = "START Upgrade PSW2";
const std::string kTaken = "|Send Fw...|Send FW:1|Programming OK!";

std::string Join(const Lines& lines, const char* separator) {
    std::string text;
    for (const std::string& line : lines) text += (text.empty() ? "" : separator) + line;
    return text;
}

struct Case {
    int mode = 1;
    int mask = 3;
    int timem = 2;
    COMMPORTTYPE type = COMMPORT_USB;
    std::vector<PSWCOMPONENTS> list{0x2020, 0, 0x3020};  // kinds that are passed over after a re-open
    bool sendFw = true;
    bool reopensFail = false;
};

Outcome RunFlow(const Case& test, bool newForm) {
    VirtualClock clock;
    RecordingPort port(clock, test.type);
    if (test.reopensFail) port.reopenResults = std::deque<bool>(20, false);
    port.stateAtBackup = [] { return std::string(components->HasBeginModules() ? "(before)" : "(after)"); };
    PSWComponents list;
    for (const PSWCOMPONENTS value : test.list) list.Add(value);
    components = &list;
    ProbeEngine engine(test.mode, test.mask, test.timem);
    engine.result = test.sendFw;
    UpgradeDataInfo info;
    TestPackage package;
    CommPortSettings settings;
    Outcome outcome;
    LogCapture log;
    outcome.result =
        (engine.*(newForm ? &UpgradePrinter::StartUpgrade_PSW2 : &UpgradePrinter::StartUpgrade_PSW1))(
            info, port, package.file, settings, nullptr, nullptr, list);
    port.Note("end");
    outcome.events = Join(port.events, " ");
    outcome.log = Join(log.Take(newForm ? "StartUpgrade_PSW2" : "StartUpgrade_PSW1"), "|");
    return outcome;
}

// Order and time of everything with a multiplier of 3, and the end of it with none: 20 s of U2 and U3 are not
// multiplied.
TEST(UpgradeFlow, OrderAndWaitsOfEachEngine) {
    const struct {
        int mode;
        const char* events;
        const char* endWithout;
    } rows[] = {
        {1, "ReOpen@0 ReOpen@0 SendFW@0 ReOpen@30 ReOpen@30 end@30", "end@0"},
        {2, "Backup(after)@0 SendFW@0 Restore@44 ReOpen@44 ReOpen@44 end@44", "end@20"},
        {3, "ReOpen@0 SendFW@0 ReOpen@44 end@44", "end@20"},
        {4, "Backup(before)@0 ReOpen@0 SendFW@0 Restore@54 ReOpen@54 ReOpen@54 end@54", "end@0"},
        {5, "Backup(after)@0 SendFW@0 Restore@54 ReOpen@54 ReOpen@54 end@54", "end@0"},
        {6, "Backup(after)@0 SendFW@0 Restore@54 ReOpen@54 ReOpen@54 end@54", "end@0"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunFlow({row.mode, 3, 3}, true);
        EXPECT_TRUE(outcome.result) << row.mode;
        EXPECT_EQ(outcome.events, row.events);
        EXPECT_EQ(outcome.log, row.mode == 1 ? kStart2 + "|Send Fw...|Send FW:1"
                                             : kStart2 + kTaken + "|Wait before starting modules upgrade!");
        const std::string events = RunFlow({row.mode, 3, 0}, true).events;
        EXPECT_EQ(events.substr(events.rfind("end@")), row.endWithout) << row.mode;
    }
}

TEST(UpgradeFlow, ComponentMaskAndContents) {
    const std::string noBefore = "|Upgrade Before Modules not enabled in command line arguments ";
    const std::string noFw = "|Upgrade FW not enabled in command line arguments ";
    const std::string noAfter = "|Upgrade After Modules not enabled in command line arguments ";
    const std::string refused = "|Send Fw...|Send FW:0";
    const std::string usbOnly = "|Upgrade U2 just support USB port error \\n";
    const struct {
        Case test;
        bool result;
        const char* events;
        std::string log;  // behind the START line
    } rows[] = {
        {{3, 1, 1},
         true,
         "SendFW@0 end@28",
         noBefore + kTaken + "|Wait before starting modules upgrade!" + noAfter},
        {{1, 1, 1}, true, "ReOpen@0 SendFW@0 end@10", noBefore + "|Send Fw...|Send FW:1" + noAfter},
        // U2 has no step for modules before.
        {{2, 1, 1, COMMPORT_USB, {0}}, true, "Backup(after)@0 SendFW@0 end@8", kTaken + noAfter},
        {{1, 2, 1}, true, "ReOpen@0 ReOpen@0 ReOpen@0 end@0", noFw},
        {{4, 2, 1}, true, "Backup(before)@0 ReOpen@0 Restore@0 ReOpen@0 ReOpen@0 end@0", noFw},
        // No firmware in the package, no modules after it.
        {{3, 3, 1, COMMPORT_USB, {0x2020, 0x3020}}, true, "ReOpen@0 ReOpen@0 end@0", "|Skip Fw..."},
        {{5, 3, 1, COMMPORT_USB, {0}}, true, "Backup(after)@0 SendFW@0 Restore@8 end@8", kTaken},
        // Firmware that the printer does not take.
        {{3, 3, 1, COMMPORT_USB, {0, 0x3020}, false},
         false,
         "SendFW@0 end@0",
         refused + "|Programming SW NOT OK!"},
        {{1, 3, 1, COMMPORT_USB, {0}, false},
         false,
         "ReOpen@0 SendFW@0 end@0",
         refused + "|FW Upgrade error"},
        {{2, 3, 1, COMMPORT_ETHERNET}, false, "Backup(after)@0 end@0", usbOnly},
        {{2, 3, 1, COMMPORT_SERIAL}, false, "Backup(after)@0 end@0", usbOnly},
        {{2, 2, 1, COMMPORT_USB_TOO, {0}}, true, "Backup(after)@0 Restore@0 end@0", noFw},
        // A module that does not go ends it on either side of the firmware, after eight pauses for
        // re-opening.
        {{3, 3, 1, COMMPORT_USB, {0x2002, 0}, true, true},
         false,
         "ReOpen@0 ReOpen@0 ReOpen@5 ReOpen@10 ReOpen@15 ReOpen@20 ReOpen@25 ReOpen@30 ReOpen@35 ReOpen@40 "
         "end@40",
         "|SendAllModules Failed..."},
        {{6, 2, 0, COMMPORT_USB, {0, 0x2002}, true, true},
         false,
         "Backup(after)@0 Restore@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 "
         "ReOpen@0 ReOpen@0 end@0",
         noFw + "|SendAllModules Failed..."},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunFlow(row.test, true);
        EXPECT_EQ(outcome.result, row.result) << row.events;
        EXPECT_EQ(outcome.events, row.events);
        EXPECT_EQ(outcome.log, kStart2 + row.log);
    }
}

TEST(UpgradeFlow, OldPackagesBringFirmwareAlone) {
    for (const int mode : {1, 2, 3, 4, 5, 6}) {
        for (const bool sent : {true, false}) {
            const Outcome outcome = RunFlow({mode, 3, 1, COMMPORT_SERIAL, {0, 0x2020}, sent}, false);
            EXPECT_EQ(outcome.result, sent);
            EXPECT_EQ(outcome.events, "SendFW@0 end@0") << mode;
            EXPECT_EQ(outcome.log, std::string("START Upgrade PSW1|Send Fw...|Send FW:") + (mode != 1 ? "{0}"
                                                                                            : sent    ? "1"
                                                                                                      : "0"));
        }
        const Outcome outcome = RunFlow({mode, 2, 1}, false);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.events, "end@0");
        EXPECT_EQ(outcome.log, "START Upgrade PSW1|Upgrade FW not enabled in command line arguments ");
    }
}

TEST(UpgradeFlow, EnginesByMode) {
    const int numbers[] = {0, 1, 2, 3, 2, 5, 6, 0};  // U4 carries U2's number
    for (int mode = 0; mode < 8; ++mode) {
        const auto engine = UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(mode), 2, 7);
        ASSERT_EQ(engine != nullptr, mode >= 1 && mode <= 6) << mode;
        if (engine == nullptr) continue;
        EXPECT_EQ(engine->iUpgradeMode, numbers[mode]);
        EXPECT_EQ(engine->iUpgComponents, 2);
        EXPECT_EQ(engine->iTimem, 7);
        EXPECT_STREQ(engine->szErrorMessage, "");
    }
}

TEST(UpgradeFlow, TheBaseUpgradesNothing) {
    VirtualClock clock;
    RecordingPort port(clock, COMMPORT_USB);
    UpgradePrinter base(3, 1);
    UpgradeDataInfo info;
    TestPackage package;
    CommPortSettings settings;
    PSWComponents list;
    LogCapture log;
    EXPECT_FALSE(base.StartUpgrade_PSW1(info, port, package.file, settings, nullptr, nullptr, list));
    EXPECT_FALSE(base.StartUpgrade_PSW2(info, port, package.file, settings, nullptr, nullptr, list));
    EXPECT_EQ(Join(log.Take(), "|"),
              "[StartUpgrade_PSW1]Unsupported Upgrade PSW1|[StartUpgrade_PSW2]Unsupported Upgrade PSW2");
}

TEST(ReopenLoop, PausesAndLinesOfEachVariant) {
    const struct {
        const char* what;
        ReopenLoop loop;
        int failures;
        bool result;
        std::uint64_t seconds;
        const char* retry;
        const char* last;
    } rows[] = {
        {"at once", kReopenBeforeFirmware, 0, true, 5, "", ""},
        {"eighth failure", kReopenBeforeFirmware, 8, true, 45, "ReOpen Error. Retry %d", ""},
        {"ninth failure", kReopenBeforeFirmware, 9, false, 40, "ReOpen Error. Retry %d",
         "ReOpen Error. Num max Retry found. Throw Error"},
        {"after banks", kReopenAfterBanks, 1, true, 4, "ReOpen Error. Retry %d", ""},
        {"after banks, ninth", kReopenAfterBanks, 9, false, 16, "ReOpen Error. Retry %d",
         "ReOpen Error. Num max Retry found. Throw Error"},
        {"or fail, at once", kReopenOrFail, 0, true, 0, "", ""},
        {"or fail, eighth", kReopenOrFail, 8, true, 40, "ReOpen Error. Retry", ""},
        {"or fail, ninth", kReopenOrFail, 9, false, 40, "ReOpen Error. Retry",
         "ReOpen Error. Num Max Retry found. Throw Error"},
    };
    for (const auto& row : rows) {
        VirtualClock clock;
        RecordingPort port(clock, COMMPORT_USB);
        port.reopenResults = std::deque<bool>(static_cast<std::size_t>(row.failures), false);
        Lines lines;
        for (int i = 1; i <= row.failures; ++i) lines.push_back(Format(row.retry, i));
        if (!row.result) lines.emplace_back(row.last);
        LogCapture log;
        EXPECT_EQ(row.loop.Run(port, 2, "SendFW"), row.result) << row.what;
        EXPECT_EQ(clock.WaitedUs(), row.seconds * 2 * 1000000) << row.what;
        EXPECT_EQ(log.Take("SendFW"), lines) << row.what;
    }
}

}  // namespace

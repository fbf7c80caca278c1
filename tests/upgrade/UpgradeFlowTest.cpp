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
    Lines events;
    Lines log;
};

struct Case {
    int mode = 1;
    int mask = 3;
    int timem = 2;
    COMMPORTTYPE type = COMMPORT_USB;
    std::vector<PSWCOMPONENTS> list{0x2020, 0, 0x3020};  // kinds that are passed over after a re-open
    bool sendFw = true;
    std::deque<bool> reopen = {};
};

Outcome RunFlow(const Case& test, bool newForm) {
    VirtualClock clock;
    RecordingPort port(clock, test.type);
    port.reopenResults = test.reopen;
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
    outcome.events = port.events;
    port.Note("end");
    outcome.events.push_back(port.events.back());
    outcome.log = log.Take(newForm ? "StartUpgrade_PSW2" : "StartUpgrade_PSW1");
    return outcome;
}

// Order and time of everything, with a multiplier of 2: 20 s of U2 and U3 are not multiplied.
TEST(UpgradeFlow, OrderAndWaitsOfEachEngine) {
    const struct {
        int mode;
        Lines events;
    } rows[] = {
        {1, {"ReOpen@0", "ReOpen@0", "SendFW@0", "ReOpen@20", "ReOpen@20", "end@20"}},
        {2, {"Backup(after)@0", "SendFW@0", "Restore@36", "ReOpen@36", "ReOpen@36", "end@36"}},
        {3, {"ReOpen@0", "SendFW@0", "ReOpen@36", "end@36"}},
        {4, {"Backup(before)@0", "ReOpen@0", "SendFW@0", "Restore@36", "ReOpen@36", "ReOpen@36", "end@36"}},
        {5, {"Backup(after)@0", "SendFW@0", "Restore@36", "ReOpen@36", "ReOpen@36", "end@36"}},
        {6, {"Backup(after)@0", "SendFW@0", "Restore@36", "ReOpen@36", "ReOpen@36", "end@36"}},
    };
    for (const auto& row : rows) {
        Case test;
        test.mode = row.mode;
        const Outcome outcome = RunFlow(test, true);
        EXPECT_TRUE(outcome.result) << row.mode;
        EXPECT_EQ(outcome.events, row.events) << row.mode;
        const Lines taken{"START Upgrade PSW2", "Send Fw...", "Send FW:1", "Programming OK!",
                          "Wait before starting modules upgrade!"};
        EXPECT_EQ(outcome.log, row.mode == 1 ? Lines(taken.begin(), taken.begin() + 3) : taken) << row.mode;
    }
}

TEST(UpgradeFlow, MultiplierOfNoneAndThree) {
    const struct {
        int mode, timem;
        const char* end;
    } rows[] = {{1, 0, "end@0"},  {2, 0, "end@20"}, {3, 0, "end@20"}, {4, 0, "end@0"},
                {1, 3, "end@30"}, {2, 3, "end@44"}, {3, 3, "end@44"}, {6, 3, "end@54"}};
    for (const auto& row : rows) {
        Case test;
        test.mode = row.mode;
        test.timem = row.timem;
        EXPECT_EQ(RunFlow(test, true).events.back(), row.end) << row.mode << " x" << row.timem;
    }
}

TEST(UpgradeFlow, ComponentMaskAndContents) {
    const std::string noBefore = "Upgrade Before Modules not enabled in command line arguments ";
    const std::string noFw = "Upgrade FW not enabled in command line arguments ";
    const std::string noAfter = "Upgrade After Modules not enabled in command line arguments ";
    const struct {
        const char* what;
        Case test;
        bool result;
        Lines events;
        Lines log;  // without the START line
    } rows[] = {
        {"firmware only",
         {3, 1, 1},
         true,
         {"SendFW@0", "end@28"},
         {noBefore, "Send Fw...", "Send FW:1", "Programming OK!", "Wait before starting modules upgrade!",
          noAfter}},
        {"firmware only, U1 re-opens before it",
         {1, 1, 1},
         true,
         {"ReOpen@0", "SendFW@0", "end@10"},
         {noBefore, "Send Fw...", "Send FW:1", noAfter}},
        {"U2 has no step for modules before",
         {2, 1, 1, COMMPORT_USB, {0}},
         true,
         {"Backup(after)@0", "SendFW@0", "end@8"},
         {"Send Fw...", "Send FW:1", "Programming OK!", noAfter}},
        {"modules only", {1, 2, 1}, true, {"ReOpen@0", "ReOpen@0", "ReOpen@0", "end@0"}, {noFw}},
        {"modules only, U4 re-opens all the same",
         {4, 2, 1},
         true,
         {"Backup(before)@0", "ReOpen@0", "Restore@0", "ReOpen@0", "ReOpen@0", "end@0"},
         {noFw}},
        {"no firmware in the package",
         {3, 3, 1, COMMPORT_USB, {0x2020, 0x3020}},
         true,
         {"ReOpen@0", "ReOpen@0", "end@0"},
         {"Skip Fw..."}},
        {"no modules after",
         {5, 3, 1, COMMPORT_USB, {0}},
         true,
         {"Backup(after)@0", "SendFW@0", "Restore@8", "end@8"},
         {"Send Fw...", "Send FW:1", "Programming OK!"}},
        {"firmware refused",
         {3, 3, 1, COMMPORT_USB, {0, 0x3020}, false},
         false,
         {"SendFW@0", "end@0"},
         {"Send Fw...", "Send FW:0", "Programming SW NOT OK!"}},
        {"firmware refused by U1",
         {1, 3, 1, COMMPORT_USB, {0}, false},
         false,
         {"ReOpen@0", "SendFW@0", "end@0"},
         {"Send Fw...", "Send FW:0", "FW Upgrade error"}},
        {"U2 on Ethernet",
         {2, 3, 1, COMMPORT_ETHERNET},
         false,
         {"Backup(after)@0", "end@0"},
         {"Upgrade U2 just support USB port error \\n"}},
        {"U2 on a serial line",
         {2, 3, 1, COMMPORT_SERIAL},
         false,
         {"Backup(after)@0", "end@0"},
         {"Upgrade U2 just support USB port error \\n"}},
        {"U2 on the other USB type",
         {2, 2, 1, COMMPORT_USB_TOO, {0}},
         true,
         {"Backup(after)@0", "Restore@0", "end@0"},
         {noFw}},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunFlow(row.test, true);
        EXPECT_EQ(outcome.result, row.result) << row.what;
        EXPECT_EQ(outcome.events, row.events) << row.what;
        Lines log{"START Upgrade PSW2"};
        log.insert(log.end(), row.log.begin(), row.log.end());
        EXPECT_EQ(outcome.log, log) << row.what;
    }
}

TEST(UpgradeFlow, AFailedModuleEndsTheUpgradeOnEitherSideOfTheFirmware) {
    Case before{3, 3, 1, COMMPORT_USB, {0x2002, 0}, true, std::deque<bool>(10, false)};
    Outcome outcome = RunFlow(before, true);
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(outcome.events.back(), "end@40");  // nine failed re-opens, a pause after eight of them
    EXPECT_EQ(outcome.log, (Lines{"START Upgrade PSW2", "SendAllModules Failed..."}));

    Case after{3, 3, 1, COMMPORT_USB, {0, 0x3002}, true, std::deque<bool>(10, false)};
    outcome = RunFlow(after, true);
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(outcome.log.back(), "SendAllModules Failed...");
    EXPECT_EQ(outcome.events.front(), "SendFW@0");
}

TEST(UpgradeFlow, OldPackagesBringFirmwareAlone) {
    for (const int mode : {1, 2, 3, 4, 5, 6}) {
        for (const bool sent : {true, false}) {
            const Outcome outcome = RunFlow({mode, 3, 1, COMMPORT_SERIAL, {0, 0x2020}, sent}, false);
            EXPECT_EQ(outcome.result, sent);
            EXPECT_EQ(outcome.events, (Lines{"SendFW@0", "end@0"})) << mode;
            const std::string number = sent ? "Send FW:1" : "Send FW:0";
            EXPECT_EQ(outcome.log,
                      (Lines{"START Upgrade PSW1", "Send Fw...", mode == 1 ? number : "Send FW:{0}"}));
        }
        const Outcome outcome = RunFlow({mode, 2, 1}, false);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.events, (Lines{"end@0"}));
        EXPECT_EQ(outcome.log,
                  (Lines{"START Upgrade PSW1", "Upgrade FW not enabled in command line arguments "}));
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
    EXPECT_EQ(log.Take(), (Lines{"[StartUpgrade_PSW1]Unsupported Upgrade PSW1",
                                 "[StartUpgrade_PSW2]Unsupported Upgrade PSW2"}));
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

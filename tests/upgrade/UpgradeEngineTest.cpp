// The flow around the firmware: what each engine does in which order, when, and what it says.
#include "upgrade/UpgradeEngine.h"

#include <gtest/gtest.h>

#include "harness/LogCapture.h"
#include "package/PSWComponents.h"
#include "port/CommPortSettings.h"
#include "upgrade/TestPackage.h"

namespace {

/// Keeps the order and the time of what the flow does: "ReOpen@36" is a re-open 36 seconds after the start.
class RecordingPort final : public CComPort {
 public:
    RecordingPort(const VirtualClock& clock, COMMPORTTYPE type, bool reopens, const PSWComponents& list)
        : clock_(clock), startMs_(clock.NowMs()), reopens_(reopens), list_(list) {
        iPortType = type;
    }
    bool ReOpen() override { return Note("ReOpen", reopens_); }
    // The state of the list tells whether it was converted before; nobody is to look at the results.
    bool BackupPortInfo() override {
        return Note(list_.HasBeginModules() ? "Backup(before)" : "Backup(after)", false);
    }
    bool RestoreportInfo() override { return Note("Restore", false); }
    bool Note(const std::string& event, bool result) {
        events.push_back(event + "@" + std::to_string((clock_.NowMs() - startMs_) / 1000));
        return result;
    }

    Lines events;

 private:
    const VirtualClock& clock_;
    const std::uint64_t startMs_;
    const bool reopens_;
    const PSWComponents& list_;
};

/// Runs the flow of a real engine's record around a firmware that only notes that it was sent.
class ProbeEngine final : public UpgradeEngine {
 public:
    ProbeEngine(int mode, int mask, int timem, bool result)
        : UpgradeEngine(mask, timem),
          result_(result),
          engine_(std::dynamic_pointer_cast<UpgradeEngine>(
              UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(mode), mask, timem))) {}
    const UpgradeFlow& Flow() const override { return engine_->Flow(); }
    bool SendFW(UpgradeDataInfo&, CComPort& port, PSWFile&, CommPortSettings&, void*, void*) override {
        return static_cast<RecordingPort&>(port).Note("SendFW", result_);
    }

 private:
    const bool result_;
    std::shared_ptr<UpgradeEngine> engine_;
};

struct Outcome {
    bool result = false;
    std::string events;
    std::string log;
};

struct Case {
    int mode = 1;
    int mask = 3;
    int timem = 1;
    std::vector<PSWCOMPONENTS> list{0x2020, 0, 0x3020};  // kinds that are passed over after a re-open
    COMMPORTTYPE type = COMMPORT_USB;
    bool sendFw = true;
    bool reopens = true;
};

Outcome RunFlow(const Case& test, bool newForm = true) {
    VirtualClock clock;
    PSWComponents list;
    for (const PSWCOMPONENTS value : test.list) list.Add(value);
    RecordingPort port(clock, test.type, test.reopens, list);
    ProbeEngine engine(test.mode, test.mask, test.timem, test.sendFw);
    UpgradeDataInfo info;
    TestPackage package;
    CommPortSettings settings;
    const auto start = newForm ? &UpgradePrinter::StartUpgrade_PSW2 : &UpgradePrinter::StartUpgrade_PSW1;
    LogCapture log;
    Outcome outcome;
    outcome.result = (engine.*start)(info, port, package.file, settings, nullptr, nullptr, list);
    port.Note("end", true);
    outcome.events = Joined(port.events, " ");
    outcome.log = Joined(log.Take(newForm ? "StartUpgrade_PSW2" : "StartUpgrade_PSW1"), "|");
    return outcome;
}

const std::string kStart = "START Upgrade PSW2";
const std::string kTaken = "|Send Fw...|Send FW:1|Programming OK!";
const std::string kWait = "|Wait before starting modules upgrade!";

// Order and time of everything with a multiplier of 3, and the end of it with none: 20 s of U2 and U3 are not
// multiplied.
TEST(UpgradeEngine, OrderAndWaitsOfEach) {
    const struct {
        int mode;
        const char *events, *endWithout;
    } rows[] = {
        {1, "ReOpen@0 ReOpen@0 SendFW@0 ReOpen@30 ReOpen@30 end@30", "end@0"},
        {2, "Backup(after)@0 SendFW@0 Restore@44 ReOpen@44 ReOpen@44 end@44", "end@20"},
        {3, "ReOpen@0 SendFW@0 ReOpen@44 end@44", "end@20"},
        {4, "Backup(before)@0 ReOpen@0 SendFW@0 Restore@54 ReOpen@54 ReOpen@54 end@54", "end@0"},
        {5, "Backup(after)@0 SendFW@0 Restore@54 ReOpen@54 ReOpen@54 end@54", "end@0"},
        {6, "Backup(after)@0 SendFW@0 Restore@54 ReOpen@54 ReOpen@54 end@54", "end@0"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunFlow(Case{row.mode, 3, 3});
        EXPECT_TRUE(outcome.result) << row.mode;
        EXPECT_EQ(outcome.events, row.events);
        const std::string log = row.mode == 1 ? "|Send Fw...|Send FW:1" : kTaken + kWait;
        EXPECT_EQ(outcome.log, kStart + log);
        const std::string events = RunFlow(Case{row.mode, 3, 0}).events;
        EXPECT_EQ(events.substr(events.rfind("end@")), row.endWithout) << row.mode;
    }
}

TEST(UpgradeEngine, ComponentMaskContentsAndFailures) {
    const std::string noBefore = "|Upgrade Before Modules not enabled in command line arguments ";
    const std::string noFw = "|Upgrade FW not enabled in command line arguments ";
    const std::string noAfter = "|Upgrade After Modules not enabled in command line arguments ";
    const std::string refused = "|Send Fw...|Send FW:0";
    const std::string usbOnly = "|Upgrade U2 just support USB port error \\n";
    const std::string failed = "|SendAllModules Failed...";
    const struct {
        Case test;
        bool result;
        const char* events;
        std::string log;  // behind the START line
    } rows[] = {
        {Case{3, 1}, true, "SendFW@0 end@28", noBefore + kTaken + kWait + noAfter},
        {Case{1, 1}, true, "ReOpen@0 SendFW@0 end@10", noBefore + "|Send Fw...|Send FW:1" + noAfter},
        {Case{2, 1, 1, {0}}, true, "Backup(after)@0 SendFW@0 end@8", kTaken + noAfter},  // no step before
        {Case{1, 2}, true, "ReOpen@0 ReOpen@0 ReOpen@0 end@0", noFw},
        {Case{4, 2}, true, "Backup(before)@0 ReOpen@0 Restore@0 ReOpen@0 ReOpen@0 end@0", noFw},
        {Case{3, 3, 1, {0x2020, 0x3020}}, true, "ReOpen@0 ReOpen@0 end@0", "|Skip Fw..."},
        {Case{5, 3, 1, {0}}, true, "Backup(after)@0 SendFW@0 Restore@8 end@8", kTaken},
        {Case{3, 3, 1, {0, 0x3020}, COMMPORT_USB, false}, false, "SendFW@0 end@0",
         refused + "|Programming SW NOT OK!"},
        {Case{1, 3, 1, {0}, COMMPORT_USB, false}, false, "ReOpen@0 SendFW@0 end@0",
         refused + "|FW Upgrade error"},
        {Case{2, 3, 1, {0}, COMMPORT_ETHERNET}, false, "Backup(after)@0 end@0", usbOnly},
        {Case{2, 3, 1, {0}, COMMPORT_SERIAL}, false, "Backup(after)@0 end@0", usbOnly},
        {Case{2, 2, 1, {0}, COMMPORT_USB_TOO}, true, "Backup(after)@0 Restore@0 end@0", noFw},
        // A module that does not go ends it on either side of the firmware, after eight pauses.
        {Case{3, 3, 1, {0x2002, 0}, COMMPORT_USB, true, false}, false,
         "ReOpen@0 ReOpen@0 ReOpen@5 ReOpen@10 ReOpen@15 ReOpen@20 ReOpen@25 ReOpen@30 ReOpen@35 ReOpen@40 "
         "end@40",
         failed},
        {Case{6, 2, 0, {0, 0x2002}, COMMPORT_USB, true, false}, false,
         "Backup(after)@0 Restore@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 ReOpen@0 "
         "ReOpen@0 ReOpen@0 end@0",
         noFw + failed},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunFlow(row.test);
        EXPECT_EQ(outcome.result, row.result) << row.events;
        EXPECT_EQ(outcome.events, row.events);
        EXPECT_EQ(outcome.log, kStart + row.log);
    }
}

TEST(UpgradeEngine, OldPackagesBringFirmwareAlone) {
    const std::string sends = "START Upgrade PSW1|Send Fw...|Send FW:";
    for (const int mode : {1, 2, 3, 4, 5, 6}) {
        for (const bool sent : {true, false}) {
            const Outcome outcome = RunFlow(Case{mode, 3, 1, {0}, COMMPORT_SERIAL, sent}, false);
            EXPECT_EQ(outcome.result, sent);
            EXPECT_EQ(outcome.events, "SendFW@0 end@0") << mode;
            const std::string result = mode != 1 ? "{0}" : sent ? "1" : "0";
            EXPECT_EQ(outcome.log, sends + result);
        }
        const Outcome outcome = RunFlow(Case{mode, 2}, false);
        EXPECT_FALSE(outcome.result);
        EXPECT_EQ(outcome.events, "end@0");
        EXPECT_EQ(outcome.log, "START Upgrade PSW1|Upgrade FW not enabled in command line arguments ");
    }
}

TEST(UpgradeEngine, ByMode) {
    const int numbers[] = {0, 1, 2, 3, 2, 5, 6, 0};  // U4 carries U2's number
    for (int mode = 0; mode < 8; ++mode) {
        const auto engine = UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(mode), 2, 7);
        ASSERT_EQ(engine != nullptr, mode >= 1 && mode <= 6) << mode;
        if (engine == nullptr) continue;
        EXPECT_EQ(engine->iUpgradeMode, numbers[mode]);
        EXPECT_EQ(engine->iUpgComponents, 2);
        EXPECT_EQ(engine->iTimem, 7);
    }
}

}  // namespace

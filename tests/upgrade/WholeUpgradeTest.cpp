// Whole upgrades of a simulated printer.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "harness/FaultPort.h"
#include "harness/ModelPort.h"
#include "package/PSWFile.h"
#include "port/CommPortSettings.h"
#include "simulator/PrinterModel.h"
#include "simulator/SampleFiles.h"
#include "upgrade/FirmwareImage.h"
#include "upgrade/UpgradePrinter.h"

namespace {

using simulator::Line;

/// A printer that programs at once, and a package with two modules before its firmware and one after it.
struct Rig {
    Rig(const char* upgradeMode, Line line, COMMPORTTYPE type)
        : printer(Options(upgradeMode, line)), port(clock, printer, type), mode(upgradeMode[1] - '0') {
        const std::string path = testing::TempDir() + "rig" + std::to_string(getpid()) + ".psw";
        simulator::PackageSample sample;
        sample.modules = simulator::SampleFiles::UsualModules();
        const simulator::Bytes bytes = simulator::SampleFiles::MakePackage(sample);
        const std::string text(bytes.begin(), bytes.end());
        std::ofstream(path, std::ios::binary) << text;
        EXPECT_TRUE(package.LoadPSWFromFile(path.c_str(), true));
        std::remove(path.c_str());
        port.Open();
    }

    static simulator::PrinterOptions Options(const char* mode, Line line) {
        simulator::PrinterOptions options;
        options.mode = mode;
        options.line = line;
        options.moduleMs = 50;
        options.programMs = 50;
        options.restartMs = 0;  // nobody drives the model during a wait: it would leave when next asked
        return options;
    }

    bool Upgrade(CComPort& over) {
        UpgradeDataInfo info;
        CommPortSettings settings;
        const auto engine = UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(mode), 3, 1);
        return engine->StartUpgrade_PSW2(info, over, package, settings, nullptr, nullptr,
                                         package.pswComponents);
    }

    bool IsUpgraded() {
        const FirmwareImage image = FirmwareImage::Of(package);
        return printer.Modules().size() >= 3 && printer.Release() == "1.06" &&
               printer.FlashImage() == simulator::Bytes(image.data, image.data + image.length);
    }

    VirtualClock clock;
    simulator::PrinterModel printer;
    ModelPort port;
    PSWFile package;
    int mode;
};

// The waits of a second or more are the named ones, in their order; what is left of the time (module packets,
// the printer's own answers) stays below one per cent.
TEST(WholeUpgrade, TakesItsNamedWaitsAndNoMore) {
    const struct {
        const char* mode;
        Line line;
        COMMPORTTYPE type;
        std::vector<std::uint64_t> seconds;
    } rows[] = {
        // two kinds of modules; re-open, reset, settling, before modules; one kind of module
        {"U3", Line::Ethernet, COMMPORT_ETHERNET, {20, 20, 5, 12, 8, 20, 20}},
        // two kinds of modules; re-open after the answer, after the group, before modules; one kind of module
        {"U1", Line::Serial, COMMPORT_SERIAL, {10, 10, 2, 3, 10, 10}},
        // re-open, reset, before the data, re-open, five banks, end, settling, before modules; three kinds
        {"U5", Line::Ethernet, COMMPORT_ETHERNET, {5, 30, 1, 2, 1, 1, 1, 1, 1, 1, 8, 10, 10, 10, 10}},
    };
    for (const auto& row : rows) {
        Rig rig(row.mode, row.line, row.type);
        const std::uint64_t begin = rig.clock.NowMs();
        EXPECT_TRUE(rig.Upgrade(rig.port)) << row.mode;
        const std::uint64_t took = rig.clock.NowMs() - begin;

        std::vector<std::uint64_t> seconds;
        std::uint64_t named = 0;
        for (const std::uint64_t us : rig.clock.waits) {
            if (us < 1000000) continue;
            seconds.push_back(us / 1000000);
            named += us / 1000;
        }
        RecordProperty(std::string(row.mode) + "_ms", static_cast<int>(took));
        RecordProperty(std::string(row.mode) + "_ms_beside_named_waits", static_cast<int>(took - named));
        EXPECT_EQ(seconds, row.seconds) << row.mode;
        EXPECT_LE(took - named, took / 100) << row.mode;
        EXPECT_TRUE(rig.IsUpgraded()) << row.mode;
        EXPECT_EQ(rig.printer.Violations(), std::vector<std::string>()) << row.mode;
    }
}

// Each write, read and re-open of a run fails, once or from then on: the run ends, and when it reports
// success the printer has the firmware and the modules.
TEST(WholeUpgrade, NoFailedCallIsReportedAsSuccessWithoutTheFirmware) {
    const struct {
        const char* mode;
        Line line;
        COMMPORTTYPE type;
    } rows[] = {{"U1", Line::Serial, COMMPORT_SERIAL},
                {"U1", Line::Ethernet, COMMPORT_ETHERNET},
                {"U3", Line::Usb, COMMPORT_USB},
                {"U5", Line::Ethernet, COMMPORT_ETHERNET}};
    for (const auto& row : rows) {
        for (const auto fault : {FaultPort::Fault::Once, FaultPort::Fault::FromThenOn}) {
            int successes = 0;
            int runs = 0;
            for (;;) {
                Rig rig(row.mode, row.line, row.type);
                FaultPort port(rig.port, ++runs, fault);
                const bool result = rig.Upgrade(port);
                if (port.Calls() < runs) break;
                successes += result ? 1 : 0;
                EXPECT_TRUE(!result || rig.IsUpgraded()) << row.mode << " call " << runs;
                ASSERT_LT(runs, 5000);
            }
            EXPECT_GT(runs, 30);
            // A single failure is often stood, a lasting one never.
            EXPECT_EQ(successes != 0, fault == FaultPort::Fault::Once) << row.mode << " " << successes;
        }
    }
}

}  // namespace

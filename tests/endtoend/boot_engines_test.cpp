// Procedures U2, U4 and U6: the built program with the real libusb, the printer on USB, on a serial line or
// on Ethernet, its boot device on an emulated USB bus.
#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <thread>

#include "endtoend/EndToEnd.h"
#include "simulator/PtyTransport.h"
#include "simulator/SampleFiles.h"
#include "simulator/TcpTransport.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"
#include "simulator/usb/UsbTransport.h"
#include "support/Clock.h"

using endtoend::ExpectRun;
using endtoend::RunResult;
using endtoend::TemporaryFile;
using simulator::BootFault;
using simulator::Bytes;
using simulator::Line;
using simulator::PackageSample;
using simulator::PrinterModel;
using simulator::PrinterOptions;
using simulator::RenesasBootDevice;
using simulator::SiliconLabsBootDevice;

namespace SampleFiles = simulator::SampleFiles;

namespace {

constexpr unsigned kUnit = 256;

/// What is tested: the procedure, where the printer is, and what its boot device does.
struct Setting {
    std::string mode;
    Line line = Line::Usb;
    bool newForm = true;
    std::string bootRelease = "1.00";
    bool newDialect = false;
    std::vector<BootFault> faults = {};
    std::uint64_t bootDelayMs = 2000;
    simulator::UsbDescription look = {};
};

PackageSample Package(const Setting& setting) {
    PackageSample sample;
    sample.newForm = setting.newForm;
    sample.bankSize = 4096;
    sample.banks = 4;
    if (setting.mode == "U6") {
        sample.firmware = SampleFiles::MakeRecords(sample.release, 60);
        sample.banks = 1;
        sample.bankSize = sample.firmware.size();
    } else {
        sample.firmware = SampleFiles::MakeFirmware(sample.release, sample.bankSize * sample.banks);
    }
    if (setting.newForm) sample.modules = SampleFiles::UsualModules();
    return sample;
}

PrinterOptions Options(const Setting& setting, std::size_t firmwareSize) {
    PrinterOptions options;
    options.mode = setting.mode;
    options.line = setting.line;
    options.bootDelayMs = setting.bootDelayMs;
    if (setting.mode == "U6") {
        simulator::SiliconLabsBootOptions boot;
        boot.firmwareSize = firmwareSize;
        boot.faults = setting.faults;
        options.bootDevice = [boot] { return std::make_unique<SiliconLabsBootDevice>(boot); };
    } else {
        simulator::RenesasBootOptions boot;
        boot.bootRelease = setting.mode == "U4" ? "0.99" : setting.bootRelease;
        boot.newDialect = setting.newDialect;
        boot.unitSize = kUnit;
        boot.faults = setting.faults;
        options.bootDevice = [boot] { return std::make_unique<RenesasBootDevice>(boot); };
    }
    return options;
}

/// A printer that can become a boot device: on its line, and on a USB bus.
class BootPrinter {
 public:
    explicit BootPrinter(const Setting& setting)
        : package(Package(setting)),
          model_(Options(setting, package.firmware.size())),
          usb_(bus, shared_, setting.look) {
        if (setting.line == Line::Ethernet) tcp_.emplace(shared_, std::uint16_t{0}).Start();
        if (setting.line == Line::Serial) pty_.emplace(shared_).Start();
        usb_.Start();
    }

    RunResult Upgrade(std::vector<std::string> words = {}) {
        const TemporaryFile file("sample.pfw", SampleFiles::MakePackage(package));
        words.insert(words.begin(), {"-f", file.Path(), "-v"});
        if (tcp_) {
            words.insert(words.end(), {"-t", "eth", "-d", "127.0.0.1:" + std::to_string(tcp_->Port())});
        } else if (pty_) {
            words.insert(words.end(), {"-t", "ser", "-d", pty_->Path() + ":115200:HW"});
        } else {
            words.insert(words.end(), {"-t", "usb", "-d", "ANY"});
        }
        return endtoend::RunProgram(words, bus.ChildEnvironment());
    }

    template <class Function>
    auto Inspect(Function&& function) {
        return shared_.Inspect([&] { return function(model_); });
    }

    /// Whether the printer runs the package's firmware within some minutes of its time.
    bool ComesBackWith(const std::string& release) {
        for (int turn = 0; turn < 1000; ++turn) {
            if (Inspect([&](PrinterModel& model) {
                    return model.Boot() == nullptr && model.Release() == release;
                })) {
                return true;
            }
            SleepMs(1000);
        }
        return false;
    }

    void PowerCycle() {
        Inspect([](PrinterModel& model) { model.PowerCycle(simulator::NowMs()); });
    }

    void ExpectUpgraded(int modules) {
        EXPECT_TRUE(ComesBackWith("1.06"));
        Inspect([&](PrinterModel& model) {
            EXPECT_EQ(model.FlashImage(), package.firmware);
            EXPECT_THAT(model.Violations(), testing::ElementsAre());
            std::vector<Bytes> sent;
            for (const auto& module : package.modules) sent.push_back(module.image);
            sent.resize(static_cast<std::size_t>(modules));
            EXPECT_EQ(model.Modules(), sent);
        });
    }

    /// The firmware that it had: nothing was programmed, and its boot loader stood all that it was sent.
    void ExpectNotUpgraded() {
        Inspect([](PrinterModel& model) {
            EXPECT_EQ(model.Release(), "1.05");
            EXPECT_THAT(model.FlashImage(), testing::ElementsAre());
            EXPECT_THAT(model.Violations(), testing::ElementsAre());
        });
    }

    simulator::UsbBus bus;
    PackageSample package;

 private:
    simulator::ScaledClock clock_{endtoend::kRate, 1};
    PrinterModel model_;
    simulator::SynchronizedModel shared_{model_};
    simulator::UsbTransport usb_;
    std::optional<simulator::TcpTransport> tcp_;
    std::optional<simulator::PtyTransport> pty_;
};

/// The user who switches the printer off and on when its boot loader holds the firmware.
class User {
 public:
    explicit User(BootPrinter& printer)
        : thread_([this, &printer] {
              while (!stop_) {
                  const bool programmed = printer.Inspect([](PrinterModel& model) {
                      return model.Boot() != nullptr && !model.Boot()->NewRelease().empty();
                  });
                  // The program closes the device after the lock bits; the user is slower than that.
                  SleepMs(4000);
                  if (programmed) printer.PowerCycle();
              }
          }) {}
    User(const User&) = delete;
    User& operator=(const User&) = delete;
    ~User() {
        stop_ = true;
        thread_.join();
    }

 private:
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

constexpr const char* kConnected = "[InitConnectRenesasDevice]Connecting operations executed!";

struct UpgradeCase {
    const char* name;
    Setting setting;
    std::vector<std::string> lines;
};

void PrintTo(const UpgradeCase& upgrade, std::ostream* out) {
    *out << upgrade.name;
}

class BootUpgrades : public testing::TestWithParam<UpgradeCase> {};

TEST_P(BootUpgrades, BringFirmwareAndModules) {
    const Setting& setting = GetParam().setting;
    BootPrinter printer(setting);
    std::optional<User> user;
    if (setting.mode == "U4") user.emplace(printer);
    const RunResult run = printer.Upgrade();
    std::vector<std::string> lines = GetParam().lines;
    if (setting.newForm) {
        lines.insert(lines.end(), {"[StartUpgrade_PSW2]Send FW:1", "[StartUpgrade_PSW2]Programming OK!",
                                   "[StartUpgrade_PSW2]Wait before starting modules upgrade!",
                                   "[SendAllModules]Send Fonts...", "[SendAllModules]Programming OK",
                                   "[SendAllModules]Send Flash Disk...", "[SendAllModules]Programming OK",
                                   "[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    } else {
        lines.emplace_back("[StartUpgrade_PSW1]Send FW:{0}");
    }
    ExpectRun(run, true, lines);
    printer.ExpectUpgraded(setting.newForm ? 3 : 0);
}

const std::vector<std::string> kRenesasLines{
    "[EnterUSBBootDirectModeOnUSB]Correct response, the device is in USB Boot Direct mode!", kConnected,
    "[StartUpgradeUsb]Sending bank 64/64 (100%)", "[StartUpgradeUsb]Sending Lock Bit Enable command"};
const std::vector<std::string> kSiliconLabsLines{"[SendFW]Found Silicon Lab device.",
                                                 "[SendFW]start sending FW ", "[SendFW]Bank 60 "};

INSTANTIATE_TEST_SUITE_P(
    BootEngines, BootUpgrades,
    testing::Values(UpgradeCase{"U2UsbNewForm", {"U2", Line::Usb, true}, kRenesasLines},
                    UpgradeCase{"U2UsbOldForm", {"U2", Line::Usb, false}, kRenesasLines},
                    UpgradeCase{"U2UsbOldRelease", {"U2", Line::Usb, false, "0.99"}, kRenesasLines},
                    UpgradeCase{
                        "U2UsbNewDialect",
                        {"U2", Line::Usb, false, "1.10", true},
                        {"[InitConnectRenesasDevice]New Bootloader...",
                         "[InitConnectRenesasDevice]Sending Data Area Blank Check command(New Bootloader)",
                         kConnected}},
                    UpgradeCase{"U4UsbNewForm", {"U4", Line::Usb, true}, kRenesasLines},
                    UpgradeCase{"U4UsbOldForm", {"U4", Line::Usb, false}, kRenesasLines},
                    UpgradeCase{"U4SerialNewForm", {"U4", Line::Serial, true}, kRenesasLines},
                    UpgradeCase{"U6UsbNewForm", {"U6", Line::Usb, true}, kSiliconLabsLines},
                    UpgradeCase{"U6UsbOldForm", {"U6", Line::Usb, false}, kSiliconLabsLines},
                    UpgradeCase{"U6SerialNewForm", {"U6", Line::Serial, true}, kSiliconLabsLines},
                    UpgradeCase{"U6EthernetNewForm", {"U6", Line::Ethernet, true}, kSiliconLabsLines}),
    [](const testing::TestParamInfo<UpgradeCase>& each) { return each.param.name; });

simulator::UsbDescription Unclaimable() {
    simulator::UsbDescription look;
    look.faults.cannotClaim = true;
    return look;
}

struct FailureCase {
    const char* name;
    Setting setting;
    std::vector<std::string> lines;
};

void PrintTo(const FailureCase& failure, std::ostream* out) {
    *out << failure.name;
}

class BootFailures : public testing::TestWithParam<FailureCase> {};

TEST_P(BootFailures, EndTheUpgradeAndSayWhy) {
    BootPrinter printer(GetParam().setting);
    ExpectRun(printer.Upgrade(), false, GetParam().lines);
    printer.ExpectNotUpgraded();
}

Setting WithFault(std::string mode, BootFault fault) {
    Setting setting;
    setting.mode = std::move(mode);
    setting.newForm = false;
    setting.faults = {std::move(fault)};
    return setting;
}

Setting Looking(std::string mode, Line line, simulator::UsbDescription look) {
    Setting setting;
    setting.mode = std::move(mode);
    setting.line = line;
    setting.look = std::move(look);
    return setting;
}

Setting NeverComing(std::string mode) {
    Setting setting;
    setting.mode = std::move(mode);
    setting.bootDelayMs = simulator::DeviceModel::kNever;
    return setting;
}

INSTANTIATE_TEST_SUITE_P(
    BootEngines, BootFailures,
    testing::Values(
        FailureCase{"U2OnEthernet",
                    {"U2", Line::Ethernet},
                    {"[StartUpgrade_PSW2]Upgrade U2 just support USB port error \\n"}},
        FailureCase{"U2OnSerial",
                    {"U2", Line::Serial},
                    {"[StartUpgrade_PSW2]Upgrade U2 just support USB port error \\n"}},
        FailureCase{
            "U4OnEthernet",
            {"U4", Line::Ethernet},
            {"[InitConnectRenesasDevice]Open Renesas device Error",
             "[SendFW]Init Renesas connection Error(1)", "[StartUpgrade_PSW2]Programming SW NOT OK!"}},
        FailureCase{"U2NeverComes", NeverComing("U2"), {"[SendFW]Error waiting renesas device timeout..."}},
        FailureCase{"U4NeverComes", NeverComing("U4"), {"[SendFW]Error waiting renesas device timeout..."}},
        FailureCase{"U6NeverComes", NeverComing("U6"), {"[SendFW]Not found Silicon Lab device Error."}},
        FailureCase{
            "U4SerialCannotBeClaimed",
            Looking("U4", Line::Serial, Unclaimable()),
            {"[Open]libusb_claim_interface error", "[InitConnectRenesasDevice]Open Renesas device Error"}},
        FailureCase{
            "U6EthernetCannotBeClaimed",
            Looking("U6", Line::Ethernet, Unclaimable()),
            {"[Open]libusb_claim_interface error", "[SendFW]Bank 1 ", "[SendFW]Read FW Release Error"}},
        FailureCase{"U2Vanishes",
                    WithFault("U2", BootFault::Vanishes(RenesasBootDevice::kUnit).Between(5, 5)),
                    {"[StartUpgradeUsb]Sending bank 5/64 (7%)",
                     "[StartUpgradeUsb]ERROR: wrong response! exit...", "[SendFW]Upgrade Error"}},
        FailureCase{"U2RefusedTwice",
                    WithFault("U2", BootFault::Says(RenesasBootDevice::kUnit, {0xD0, 0x2A}).Between(64, 65)),
                    {"[StartUpgradeUsb]Sending bank 64/64 (100%)",
                     "[StartUpgradeUsb]ERROR: wrong response: ADDRESS error!",
                     "[StartUpgradeUsb]Retry to send 64 bank!", "[StartUpgradeUsb]Exit..",
                     "[SendResetCommandUSB]OK!", "[SendFW]Upgrade Error"}},
        FailureCase{"U2AnswersTooLong",
                    WithFault("U2", BootFault::Says(RenesasBootDevice::kUnitSize, {0x37, 2, 1, 0, 0xC6, 0})),
                    {"[InitConnectRenesasDevice]Sending Programming Size Inquiry command",
                     "[InitConnectRenesasDevice]ERROR: wrong response! exit..."}},
        FailureCase{
            "U6Refused",
            WithFault("U6", BootFault::Says(SiliconLabsBootDevice::kRecord, {0x40, 0, 0, 1}).Between(3, 3)),
            {"[SendFW]Bank 3 ", "[SendFW]Silicon Laboratory answer Error NACK"}},
        FailureCase{"U6Vanishes",
                    WithFault("U6", BootFault::Vanishes(SiliconLabsBootDevice::kRecord).Between(7, 7)),
                    {"[SendFW]Bank 7 ", "[SendFW]Read FW Release Error"}}),
    [](const testing::TestParamInfo<FailureCase>& each) { return each.param.name; });

TEST(BootEngines, ARefusedUnitIsSentOnceMore) {
    for (const int unit : {1, 64}) {
        BootPrinter printer(
            WithFault("U2", BootFault::Says(RenesasBootDevice::kUnit, {0xD0, 0x53}).Between(unit, unit)));
        ExpectRun(printer.Upgrade(), true,
                  {"[StartUpgradeUsb]Retry to send " + std::to_string(unit) + " bank!",
                   "[StartUpgradeUsb]Bank " + std::to_string(unit) + " successfully sent!"});
        printer.ExpectUpgraded(0);
    }
}

TEST(BootEngines, U4IsABootDeviceUntilItIsRestarted) {
    BootPrinter printer(Setting{"U4", Line::Usb, false});
    ExpectRun(printer.Upgrade(), true,
              {"[SendResetCommandUSBForSuccess]Upgrade firmware. Please, restart the printer"});
    EXPECT_TRUE(printer.Inspect([](PrinterModel& model) { return model.Boot() != nullptr; }));
    printer.PowerCycle();
    printer.ExpectUpgraded(0);
}

TEST(BootEngines, WithAMultiplierOfZeroNobodyWaitsForTheBootDevice) {
    for (const char* mode : {"U2", "U4", "U6"}) {
        BootPrinter printer(Setting{mode, Line::Usb, false});
        ExpectRun(printer.Upgrade({"-m", "0"}), false,
                  {std::string(mode) == "U6" ? "[SendFW]Not found Silicon Lab device Error."
                                             : "[SendFW]Error waiting renesas device timeout..."});
    }
}

TEST(BootEngines, OfTwoBootDevicesOneIsProgrammedAndTheOtherLeftAlone) {
    BootPrinter printer(Setting{"U4", Line::Serial, false});
    simulator::RenesasBootOptions options;
    options.bootRelease = "0.99";
    options.usb.serial = "OTHER";
    RenesasBootDevice other(options);
    simulator::SynchronizedModel shared(other);
    simulator::UsbDescription look;
    look.port = "1-2";
    simulator::UsbTransport transport(printer.bus, shared, look);
    transport.Start();
    ExpectRun(printer.Upgrade(), true, {kConnected});
    const bool mine =
        printer.Inspect([](PrinterModel& model) { return !model.Boot()->NewRelease().empty(); });
    const Bytes elsewhere = shared.Inspect([&] { return other.FlashImage(); });
    EXPECT_EQ(elsewhere, mine ? Bytes() : printer.package.firmware);
    EXPECT_EQ(shared.Inspect([&] { return other.Count(RenesasBootDevice::kBitRateAdjustment); }),
              mine ? 0 : 1);
}

TEST(BootEngines, FirmwareThatIsNoRunOfRecordsIsRefusedWithThePrinterStillAPrinter) {
    BootPrinter printer(Setting{"U6", Line::Usb, false});
    printer.package.firmware.pop_back();
    ExpectRun(printer.Upgrade(), false,
              {"[SendFW]Upgrade file wrong or incomplete: the firmware is not a run of boot loader records"});
    EXPECT_EQ(
        printer.Inspect([](PrinterModel& model) { return model.Count(simulator::Exchange::BootEntry); }), 0);
}

TEST(BootEngines, AFirmwareThatDoesNotFitTheUnitsLocksNothing) {
    BootPrinter printer(
        WithFault("U4", BootFault::Says(RenesasBootDevice::kUnitSize, {0x37, 2, 0, 0xFF, 0xC8})));
    ExpectRun(printer.Upgrade(), false,
              {"[InitConnectRenesasDevice]Programming Size: 255", "[SendFW]Upgrade Error"});
    printer.ExpectNotUpgraded();
}

}  // namespace

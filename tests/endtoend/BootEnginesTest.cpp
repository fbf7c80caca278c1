// Procedures U2, U4 and U6: the built program with the real libusb, the printer on USB, on a serial line or
// on Ethernet, its boot device on an emulated USB bus.
#include <gmock/gmock.h>

#include "endtoend/EndToEnd.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"

using endtoend::ExpectRun;
using endtoend::Printer;
using simulator::BootFault;
using simulator::Bytes;
using simulator::Line;
using simulator::PackageSample;
using simulator::PrinterModel;
using simulator::PrinterOptions;
using simulator::RenesasBootDevice;
using simulator::SiliconLabsBootDevice;
using testing::ElementsAre;

using Lines = std::vector<std::string>;

namespace {

/// What is tried: the procedure, where the printer is, what its boot device does, and how the run ends.
struct Case {
    std::string name;  ///< begins with the procedure
    Line line = Line::Usb;
    bool newForm = false;
    bool upgraded = true;
    bool newDialect = false;
    bool claimable = true;
    bool userRestarts = true;  ///< of U4
    Lines lines = {};
    std::vector<BootFault> faults = {};
    std::string bootRelease = "1.00";  ///< of U2
    std::uint64_t bootDelayMs = 2000;

    std::string Mode() const { return name.substr(0, 2); }
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.name;
}

Case Upgrades(const std::string& name, Line line, bool newForm) {
    Case each{name, line, newForm};
    if (each.Mode() == "U6") {
        each.lines = {"[SendFW]Found Silicon Lab device.", "[SendFW]Bank 60 "};
    } else {
        each.lines = {"[EnterUSBBootDirectModeOnUSB]Correct response, the device is in USB Boot Direct mode!",
                      "[InitConnectRenesasDevice]Connecting operations executed!",
                      "[StartUpgradeUsb]Sending bank 32/64 (50%)",
                      "[StartUpgradeUsb]Sending Lock Bit Enable command"};
    }
    return each;
}

Case OfRelease(const std::string& name, const std::string& release, bool newDialect) {
    Case each = Upgrades(name, Line::Usb, false);
    each.bootRelease = release;
    each.newDialect = newDialect;
    return each;
}

Case Fails(const std::string& name, Line line, Lines lines, std::vector<BootFault> faults = {}) {
    Case each{name, line, line != Line::Usb, false};
    each.lines = std::move(lines);
    each.faults = std::move(faults);
    return each;
}

Case Unclaimable(const std::string& name, Line line, Lines lines) {
    Case each = Fails(name, line, std::move(lines));
    each.claimable = false;
    return each;
}

Case NeverComing(const std::string& name, const std::string& text) {
    Case each = Fails(name, Line::Usb, {text});
    each.bootDelayMs = simulator::DeviceModel::kNever;
    return each;
}

PackageSample PackageOf(const Case& each) {
    PackageSample sample = endtoend::Package(each.newForm, 0x37, "106", 4);
    if (each.Mode() != "U6") return sample;
    sample.firmware = simulator::SampleFiles::MakeRecords(sample.release, 60);
    sample.banks = 1;
    sample.bankSize = sample.firmware.size();
    return sample;
}

PrinterOptions OptionsOf(const Case& each, std::size_t firmwareSize) {
    PrinterOptions options;
    options.mode = each.Mode();
    options.line = each.line;
    options.bootDelayMs = each.bootDelayMs;
    if (options.mode == "U6") {
        simulator::SiliconLabsBootOptions boot;
        boot.firmwareSize = firmwareSize;
        boot.faults = each.faults;
        options.bootDevice = [boot] { return std::make_unique<SiliconLabsBootDevice>(boot); };
        return options;
    }
    simulator::RenesasBootOptions boot;
    boot.bootRelease = options.mode == "U4" ? "0.99" : each.bootRelease;
    boot.newDialect = each.newDialect;
    boot.userRestarts = options.mode == "U4" && each.userRestarts;
    boot.faults = each.faults;
    options.bootDevice = [boot] { return std::make_unique<RenesasBootDevice>(boot); };
    return options;
}

void ExpectUpgraded(Printer& printer, const PackageSample& package) {
    EXPECT_TRUE(printer.WaitUntil([](const PrinterModel& model) { return model.Release() == "1.06"; }));
    printer.ExpectNoViolations();
    std::vector<Bytes> modules;
    for (const auto& module : package.modules) modules.push_back(module.image);
    printer.Inspect([&](const PrinterModel& model) {
        EXPECT_EQ(model.FlashImage(), package.firmware);
        EXPECT_EQ(model.Modules(), modules);
    });
}

class BootEngines : public testing::TestWithParam<Case> {};

TEST_P(BootEngines, UpgradeOrSayWhyNot) {
    const Case& each = GetParam();
    const PackageSample package = PackageOf(each);
    simulator::UsbDescription look;
    look.faults.cannotClaim = !each.claimable;
    Printer printer{OptionsOf(each, package.firmware.size()), look};
    Lines lines = each.lines;
    if (each.upgraded && each.newForm)
        lines.insert(lines.end(), {"[StartUpgrade_PSW2]Send FW:1", "[StartUpgrade_PSW2]Programming OK!",
                                   "[StartUpgrade_PSW2]Wait before starting modules upgrade!",
                                   "[SendAllModules]Send Fonts...", "[SendAllModules]Send Flash Disk...",
                                   "[SendAllModules]Send Logos...", "[SendAllModules]Programming OK"});
    ExpectRun(endtoend::Upgrade(printer, package), each.upgraded, lines);
    if (each.upgraded) return ExpectUpgraded(printer, package);
    // It keeps the firmware that it had, and stood all that it was sent.
    printer.ExpectNoViolations();
    printer.Inspect([](const PrinterModel& model) {
        EXPECT_EQ(model.Release(), "1.05");
        EXPECT_THAT(model.FlashImage(), ElementsAre());
    });
}

const Case kCases[] = {
    Upgrades("U2NewForm", Line::Usb, true),
    Upgrades("U2OldForm", Line::Usb, false),
    OfRelease("U2OldRelease", "0.99", false),
    OfRelease("U2NewDialect", "1.10", true),
    Upgrades("U4NewForm", Line::Usb, true),
    Upgrades("U4Serial", Line::Serial, true),
    Upgrades("U6NewForm", Line::Usb, true),
    Upgrades("U6OldForm", Line::Usb, false),
    Upgrades("U6Serial", Line::Serial, true),
    Upgrades("U6Ethernet", Line::Ethernet, true),
    Fails("U2OnEthernet", Line::Ethernet, {"[StartUpgrade_PSW2]Upgrade U2 just support USB port error \\n"}),
    Fails("U4OnEthernet", Line::Ethernet,
          {"[InitConnectRenesasDevice]Open Renesas device Error", "[SendFW]Init Renesas connection Error(1)",
           "[StartUpgrade_PSW2]Programming SW NOT OK!"}),
    NeverComing("U2NeverComes", "[SendFW]Error waiting renesas device timeout..."),
    NeverComing("U6NeverComes", "[SendFW]Not found Silicon Lab device Error."),
    Unclaimable(
        "U4SerialCannotBeClaimed", Line::Serial,
        {"[Open]libusb_claim_interface error", "[InitConnectRenesasDevice]Open Renesas device Error"}),
    Unclaimable("U6EthernetCannotBeClaimed", Line::Ethernet,
                {"[Open]libusb_claim_interface error", "[SendFW]Bank 1 ", "[SendFW]Read FW Release Error"}),
    Fails("U2Vanishes", Line::Usb,
          {"[StartUpgradeUsb]Sending bank 5/64 (7%)", "[StartUpgradeUsb]ERROR: wrong response! exit...",
           "[SendFW]Upgrade Error"},
          {BootFault::Vanishes(RenesasBootDevice::kUnit).Between(5, 5)}),
    Fails("U2AnswersTooLong", Line::Usb,
          {"[InitConnectRenesasDevice]Sending Programming Size Inquiry command",
           "[InitConnectRenesasDevice]ERROR: wrong response! exit..."},
          {BootFault::Says(RenesasBootDevice::kUnitSize, {0x37, 2, 1, 0, 0xC6, 0})}),
    Fails("U4UnitsDoNotFit", Line::Usb,
          {"[InitConnectRenesasDevice]Programming Size: 255", "[SendFW]Upgrade Error"},
          {BootFault::Says(RenesasBootDevice::kUnitSize, {0x37, 2, 0, 0xFF, 0xC8})}),
    Fails("U6Vanishes", Line::Usb, {"[SendFW]Bank 7 ", "[SendFW]Read FW Release Error"},
          {BootFault::Vanishes(SiliconLabsBootDevice::kRecord).Between(7, 7)}),
};

INSTANTIATE_TEST_SUITE_P(Runs, BootEngines, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& each) { return each.param.name; });

TEST(BootEngine, U4IsABootDeviceUntilItIsRestarted) {
    Case each = Upgrades("U4", Line::Usb, false);
    each.userRestarts = false;
    const PackageSample package = PackageOf(each);
    Printer printer{OptionsOf(each, package.firmware.size())};
    ExpectRun(endtoend::Upgrade(printer, package), true,
              {"[SendResetCommandUSBForSuccess]Upgrade firmware. Please, restart the printer"});
    EXPECT_FALSE(printer.Inspect([](PrinterModel& model) {
        const bool started = model.Boot() == nullptr;
        model.PowerCycle(simulator::NowMs());
        return started;
    }));
    ExpectUpgraded(printer, package);
}

}  // namespace

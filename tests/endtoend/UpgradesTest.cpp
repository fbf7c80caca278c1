// One upgrade that goes well and one that does not for each procedure and port that it has, and module files.
#include <functional>

#include "endtoend/EndToEnd.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"

using simulator::BootFault;
using simulator::Exchange;
using simulator::Fault;
using simulator::RenesasBootDevice;
using simulator::SiliconLabsBootDevice;

namespace SampleFiles = simulator::SampleFiles;

namespace {

constexpr auto kSerial = simulator::Line::Serial;
constexpr auto kEthernet = simulator::Line::Ethernet;
constexpr auto kUsb = simulator::Line::Usb;

/// What is tried: as a rule a small package and the printer for it.
struct Given {
    Given(const std::string& mode, simulator::Line line, bool newForm) {
        printer.mode = mode;
        printer.line = line;
        printer.restartMs = 4000;
        // The driver is taken off each time that the printer comes back.
        if (line == kUsb) look.interfaces[0].kernelDriver = "usblp";
        const bool renesasMode = mode == "U2" || mode == "U4";
        package.newForm = newForm;
        package.bankSize = printer.bankSize = mode == "U3" || renesasMode ? 4096 : 1000;
        package.banks = printer.bankCount = renesasMode ? 4 : 5;
        package.firmware = SampleFiles::MakeFirmware(package.release, package.banks * package.bankSize);
        if (newForm) package.modules = SampleFiles::UsualModules();
        renesas.bootRelease = mode == "U4" ? "0.99" : "1.00";
        renesas.userRestarts = mode == "U4";
        if (mode != "U6") return;
        package.firmware = SampleFiles::MakeRecords(package.release, 60);
        package.banks = 1;
        package.bankSize = silicon.firmwareSize = package.firmware.size();
    }

    simulator::PrinterOptions printer;
    simulator::UsbDescription look;
    simulator::PackageSample package;
    simulator::RenesasBootOptions renesas;      ///< the boot device of U2 and U4
    simulator::SiliconLabsBootOptions silicon;  ///< and of U6
};

struct Case {
    std::string name;  ///< begins with the procedure; "M": a module file, of a printer of U3
    simulator::Line line;
    bool newForm;
    std::string failure;  ///< the line that tells why; empty: all that was sent is in the printer
    std::function<void(Given&)> given = {};
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.name;
}

class Upgrades : public testing::TestWithParam<Case> {};

TEST_P(Upgrades, EndAsTheyShould) {
    const Case& each = GetParam();
    const bool isModule = each.name[0] == 'M';
    const std::string mode = isModule ? "U3" : each.name.substr(0, 2);
    Given given(mode, each.line, each.newForm);
    if (each.given) each.given(given);
    if (mode == "U2" || mode == "U4")
        given.printer.bootDevice = [&] { return std::make_unique<RenesasBootDevice>(given.renesas); };
    if (mode == "U6")
        given.printer.bootDevice = [&] { return std::make_unique<SiliconLabsBootDevice>(given.silicon); };
    endtoend::Printer printer{given.printer, given.look};
    const simulator::Bytes module = SampleFiles::MakeModule({});
    const endtoend::TemporaryFile file(isModule ? "font.mod" : "sample.pfw",
                                       isModule ? module : SampleFiles::MakePackage(given.package));
    const endtoend::RunResult run = printer.Run({"-f", file.path, "-v", "-m", each.newForm ? "2" : "1"});
    EXPECT_EQ(run.status, each.failure.empty() ? endtoend::kSuccess : endtoend::kFailure) << run;
    EXPECT_EQ(run.lines.back(), each.failure.empty() ? "UPGRADE SUCCESS" : "UPGRADE FAILURE");
    if (!each.failure.empty()) {
        EXPECT_TRUE(run.Has(each.failure)) << each.failure << "\n" << run;
        printer.Inspect([&](const simulator::PrinterModel& model) {
            EXPECT_EQ(model.Release(), "1.05");
            EXPECT_FALSE(model.FlashImage() == given.package.firmware);
        });
        return;
    }
    EXPECT_TRUE(run.Has(isModule ? "MODULE INFO:" : "PSW FILE INFO:")) << run;
    if (isModule) {
        given.package.firmware.clear();
        given.package.modules = {{'f', SampleFiles::AsSent(module)}};
    }
    printer.ExpectHas(isModule ? "1.05" : "1.06", given.package);
}

/// A failure that the printer answers with, or the end of what it hears.
std::function<void(Given&)> Fails(const Fault& fault) {
    return [fault](Given& given) { given.printer.faults = {fault}; };
}
std::function<void(Given&)> Fails(const BootFault& fault) {
    return [fault](Given& given) { given.renesas.faults = given.silicon.faults = {fault}; };
}

std::vector<Case> Cases() {
    std::vector<Case> cases{
        {"U1ModuleRefused", kEthernet, true, "[StartUpgrade_PSW2]SendAllModules Failed...",
         Fails(Fault::Says(Exchange::Module, {0x95}))},
        {"U1Damaged", kSerial, false, "[SendBankFlashBanksNew]Answer: ERROR_BANK_DAMAGED",
         Fails(Fault::Says(Exchange::BankGroup, {0x66}).At(1))},
        {"U1PulledOut", kUsb, false, "[StartUpgrade_PSW1]Send FW:0",
         Fails(Fault::Cut(Exchange::BankGroup, 600))},
        {"U3SecondModuleRefused", kSerial, true,
         "[SendModuleToDevice]Answer Error(0x77) : Program Flash Error",
         Fails(Fault::Says(Exchange::Module, {0x12, 0x77}).At(2))},
        {"U3OtherFamily", kEthernet, false, "[PrnCom_UpgradePrinter]Family Compare Error (5,12)",
         [](Given& given) { given.printer.family = 5; }},
        {"U3PulledOut", kUsb, false, "[SendBankFlashGeneric]Communication Error! exit...",
         Fails(Fault::Cut(Exchange::BankGroup, 6000))},
        {"U5Checksum", kSerial, false, "[SendBankFlashDATA]Answer Error(0x99) : Generic Error",
         Fails(Fault::Says(Exchange::DataBank, {0x99}).At(1))},
        {"U5FlashError", kEthernet, true, "[StartUpgrade_PSW2]Programming SW NOT OK!",
         Fails(Fault::Says(Exchange::DataBank, {0x00, 0x77}))},
        {"U5PulledOut", kUsb, true, "[SendBankFlashDATA]Communication Error! exit...",
         Fails(Fault::Cut(Exchange::DataBank, 500))},
        {"U2Vanishes", kUsb, false, "[StartUpgradeUsb]ERROR: wrong response! exit...",
         Fails(BootFault::Vanishes(RenesasBootDevice::kUnit).Between(5, 5))},
        {"U4UnitsDoNotFit", kUsb, false, "[SendFW]Upgrade Error",
         Fails(BootFault::Says(RenesasBootDevice::kUnitSize, {0x37, 2, 0, 0xFF, 0xC8}))},
        {"U4", kEthernet, true, "[InitConnectRenesasDevice]Open Renesas device Error"},
        {"U6Vanishes", kUsb, false, "[SendFW]Read FW Release Error",
         Fails(BootFault::Vanishes(SiliconLabsBootDevice::kRecord).Between(7, 7))},
        {"U6CannotBeClaimed", kEthernet, true, "[Open]libusb_claim_interface error",
         [](Given& given) { given.look.faults.cannotClaim = true; }}};
    bool newForm = false;
    for (const std::string mode : {"U1", "U2", "U3", "U4", "U5", "U6", "Module"})
        for (const auto line : {kSerial, kEthernet, kUsb})
            if (line == kUsb || (mode != "U2" && (line == kSerial || (mode != "U4" && mode != "U6"))))
                cases.push_back({mode, line, newForm = !newForm, ""});
    return cases;
}

std::string NameOf(const testing::TestParamInfo<Case>& each) {
    const char* const lines[] = {"OnSerial", "OnEthernet", "OnUsb"};
    return each.param.name + lines[static_cast<int>(each.param.line)];
}

INSTANTIATE_TEST_SUITE_P(Runs, Upgrades, testing::ValuesIn(Cases()), NameOf);

}  // namespace

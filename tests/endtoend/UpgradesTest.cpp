// One upgrade that goes well and one that does not for each procedure and port that it has, module files, and
// some of them under valgrind, which ends a program that reads what was never written, touches what is not
// its own, or leaves memory behind that nothing points to.
#include "endtoend/EndToEnd.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"

using endtoend::Printer;
using endtoend::RunResult;
using simulator::BootFault;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::RenesasBootDevice;
using simulator::SiliconLabsBootDevice;

namespace SampleFiles = simulator::SampleFiles;

namespace {

constexpr Line kSerial = Line::Serial;
constexpr Line kEthernet = Line::Ethernet;
constexpr Line kUsb = Line::Usb;

/// What is tried.
struct Given {
    simulator::PrinterOptions printer;
    simulator::UsbDescription look;
    simulator::PackageSample package;
    simulator::RenesasBootOptions renesas;      ///< the boot device of U2 and U4
    simulator::SiliconLabsBootOptions silicon;  ///< and of U6
    Lines words{"-v"};
    endtoend::Start start;
};

struct Case {
    const char* name;  ///< begins with the procedure; "M": a module file, of a printer of U3
    Line line;
    bool newForm;
    const char* failure;  ///< the line that tells why; null: all that was sent is in the printer
    void (*given)(Given&) = [](Given&) {};

    std::string Mode() const { return *name == 'M' ? "U3" : std::string(name, 2); }
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.name;
}

/// A small package and the printer for it.
Given GivenFor(const Case& each) {
    Given given;
    given.printer.mode = each.Mode();
    given.printer.line = each.line;
    given.printer.restartMs = 4000;
    simulator::PackageSample& package = given.package;
    package.newForm = each.newForm;
    package.bankSize = given.printer.bankSize = each.Mode() == "U3" ? 4096 : 1000;
    package.banks = given.printer.bankCount = 5;
    if (each.newForm) package.modules = SampleFiles::UsualModules();
    package.firmware = SampleFiles::MakeFirmware(package.release, package.banks * package.bankSize);
    if (each.Mode() == "U2" || each.Mode() == "U4") {
        package.bankSize = 4096;
        package.banks = 4;
        package.firmware = SampleFiles::MakeFirmware(package.release, 4 * 4096U);
        given.renesas.bootRelease = each.Mode() == "U4" ? "0.99" : "1.00";
        given.renesas.userRestarts = each.Mode() == "U4";
    } else if (each.Mode() == "U6") {
        package.firmware = SampleFiles::MakeRecords(package.release, 60);
        package.banks = 1;
        package.bankSize = given.silicon.firmwareSize = package.firmware.size();
    }
    each.given(given);
    const std::string mode = each.Mode();
    if (mode == "U2" || mode == "U4")
        given.printer.bootDevice = [o = given.renesas] { return std::make_unique<RenesasBootDevice>(o); };
    if (mode == "U6")
        given.printer.bootDevice = [o = given.silicon] { return std::make_unique<SiliconLabsBootDevice>(o); };
    return given;
}

void UnderValgrind(Given& given) {
    given.start = {40,
                   3000,
                   {"valgrind", "-q", "--error-exitcode=99", "--leak-check=full",
                    std::string("--suppressions=") + EMULATED_BUS_SUPPRESSIONS}};
}

class Upgrades : public testing::TestWithParam<Case> {};

TEST_P(Upgrades, EndAsTheyShould) {
    const Case& each = GetParam();
    Given given = GivenFor(each);
#if defined(__SANITIZE_ADDRESS__)
    if (!given.start.by.empty()) GTEST_SKIP() << "the sanitizers see to it";
#endif
    Printer printer{given.printer, given.look, given.start};
    const bool isModule = *each.name == 'M';
    const endtoend::TemporaryFile file(
        isModule ? "font.mod" : "sample.pfw",
        isModule ? SampleFiles::MakeModule({}) : SampleFiles::MakePackage(given.package));
    Lines words = given.words;
    words.insert(words.begin(), {"-f", file.Path()});
    const RunResult run = printer.Run(words);
    EXPECT_EQ(run.status, each.failure == nullptr ? endtoend::kSuccess : endtoend::kFailure) << run;
    EXPECT_EQ(run.lines.back(), each.failure == nullptr ? "UPGRADE SUCCESS" : "UPGRADE FAILURE");
    if (each.failure != nullptr) {
        EXPECT_TRUE(run.Has(each.failure)) << each.failure << "\n" << run;
        printer.Inspect([&](const simulator::PrinterModel& model) {
            EXPECT_EQ(model.Release(), "1.05");
            EXPECT_FALSE(model.FlashImage() == given.package.firmware);
        });
    } else if (isModule) {
        given.package.firmware.clear();
        given.package.modules = {{'f', SampleFiles::AsSent(SampleFiles::MakeModule({}))}};
        EXPECT_TRUE(run.Has("MODULE INFO:")) << run;
        printer.ExpectHas("1.05", given.package);
    } else {
        printer.ExpectHas("1.06", given.package);
    }
}

constexpr const char* kGood = nullptr;

const Case kCases[] = {
    {"U1", kSerial, true, kGood},
    {"U1", kEthernet, false, kGood},
    {"U1", kUsb, true, kGood},
    {"U1ModuleRefused", kEthernet, true, "[StartUpgrade_PSW2]SendAllModules Failed...",
     [](Given& given) { given.printer.faults = {Fault::Says(Exchange::Module, {0x95})}; }},
    {"U1Damaged", kSerial, false, "[SendBankFlashBanksNew]Answer: ERROR_BANK_DAMAGED",
     [](Given& given) { given.printer.faults = {Fault::Says(Exchange::BankGroup, {0x66}).At(1)}; }},
    {"U1PulledOut", kUsb, false, "[StartUpgrade_PSW1]Send FW:0",
     [](Given& given) { given.printer.faults = {Fault::Cut(Exchange::BankGroup, 600)}; }},
    {"U3", kSerial, false, kGood},
    {"U3OneOfTwo", kEthernet, true, kGood,
     [](Given& given) {
         given.words = {"-v", "-m", "2"};
     }},
    // Its driver is taken off each time that the printer comes back.
    {"U3HasADriver", kUsb, true, kGood,
     [](Given& given) { given.look.interfaces[0].kernelDriver = "usblp"; }},
    {"U3SecondModuleRefused", kSerial, true, "[SendModuleToDevice]Answer Error(0x77) : Program Flash Error",
     [](Given& given) {
         given.printer.faults = {Fault::Says(Exchange::Module, {0x12, 0x77}).At(2)};
     }},
    {"U3OtherFamily", kEthernet, false, "[PrnCom_UpgradePrinter]Family Compare Error (5,12)",
     [](Given& given) { given.printer.family = 5; }},
    {"U3PulledOut", kUsb, false, "[SendBankFlashGeneric]Communication Error! exit...",
     [](Given& given) { given.printer.faults = {Fault::Cut(Exchange::BankGroup, 6000)}; }},
    {"U5", kSerial, true, kGood},
    {"U5", kEthernet, false, kGood},
    {"U5", kUsb, false, kGood},
    {"U5Checksum", kSerial, false, "[SendBankFlashDATA]Answer Error(0x99) : Generic Error",
     [](Given& given) { given.printer.faults = {Fault::Says(Exchange::DataBank, {0x99}).At(1)}; }},
    {"U5FlashError", kEthernet, true, "[StartUpgrade_PSW2]Programming SW NOT OK!",
     [](Given& given) {
         given.printer.faults = {Fault::Says(Exchange::DataBank, {0x00, 0x77})};
     }},
    {"U5PulledOut", kUsb, true, "[SendBankFlashDATA]Communication Error! exit...",
     [](Given& given) { given.printer.faults = {Fault::Cut(Exchange::DataBank, 500)}; }},
    {"U2", kUsb, true, kGood},
    {"U2Vanishes", kUsb, false, "[StartUpgradeUsb]ERROR: wrong response! exit...",
     [](Given& given) {
         given.renesas.faults = {BootFault::Vanishes(RenesasBootDevice::kUnit).Between(5, 5)};
     }},
    {"U4", kUsb, false, kGood},
    {"U4", kSerial, true, kGood},
    {"U4UnitsDoNotFit", kUsb, false, "[SendFW]Upgrade Error",
     [](Given& given) {
         given.renesas.faults = {BootFault::Says(RenesasBootDevice::kUnitSize, {0x37, 2, 0, 0xFF, 0xC8})};
     }},
    {"U4", kEthernet, true, "[InitConnectRenesasDevice]Open Renesas device Error"},
    {"U6", kUsb, false, kGood},
    {"U6", kSerial, true, kGood},
    {"U6Vanishes", kUsb, false, "[SendFW]Read FW Release Error",
     [](Given& given) {
         given.silicon.faults = {BootFault::Vanishes(SiliconLabsBootDevice::kRecord).Between(7, 7)};
     }},
    {"U6CannotBeClaimed", kEthernet, true, "[Open]libusb_claim_interface error",
     [](Given& given) { given.look.faults.cannotClaim = true; }},
    {"Module", kSerial, false, kGood},
    {"Module", kEthernet, false, kGood},
    {"Module", kUsb, false, kGood},
    {"ModuleNotOffered", kEthernet, false, "[PrnCom_WriteModule]Upgrade module not supported!",
     [](Given& given) { given.printer.dataAvailable = simulator::PrinterOptions::kOffersUpgrade; }},
    {"U3UnderValgrind", kEthernet, true, kGood, UnderValgrind},
    {"U5UnderValgrind", kUsb, false, kGood, UnderValgrind},
};

std::string NameOf(const testing::TestParamInfo<Case>& each) {
    const char* const lines[] = {"OnSerial", "OnEthernet", "OnUsb"};
    return each.param.name + std::string(lines[static_cast<int>(each.param.line)]) +
           (each.param.newForm ? "NewForm" : "");
}

INSTANTIATE_TEST_SUITE_P(Runs, Upgrades, testing::ValuesIn(kCases), NameOf);

}  // namespace

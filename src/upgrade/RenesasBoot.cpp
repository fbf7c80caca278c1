#include "upgrade/RenesasBoot.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "port/UsbDevices.h"
#include "protocol/Commands.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "upgrade/BootUsb.h"
#include "upgrade/RenesasLink.h"

namespace {

constexpr const char* kVendor = "045B";
constexpr unsigned char kEnterBoot[] = {0x1C, 0x4C, 0x49};
constexpr const char* kEnterBootAnswer = "BOOT_RST";
constexpr std::size_t kEnterBootBuffer = 16;
constexpr int kEnterBootMs = 10000;
constexpr int kDeviceWaitMs = 40000;
constexpr unsigned int kWriteTimeoutMs = 5000;
constexpr unsigned int kProgrammingPacket = 57344;
constexpr unsigned char kNak = 0x15;

// The exchanges with a boot loader, in the order in which they are made.

using Exchange = RenesasExchange;

constexpr Exchange kAdjustment("Sending Automatic Adjustment of Bit Rate command",
                               Commands::Cmd_AutomaticAdjustmentBitRate, {1, 0}, {{{0, 0xE6}}});
constexpr Exchange kRelease("Sending Get Bootloader Release command", Commands::Cmd_GetRelease, {4, 5000},
                            {});
constexpr Exchange kSaveSecurity = [] {
    Exchange exchange("Sending Save Security command", Commands::Cmd_SaveSecurity);
    exchange.alternative = {0, kNak};
    return exchange;
}();
constexpr Exchange kSaveSecurityNew("Sending Save Security NEW command", Commands::Cmd_SaveSecurityNew);
constexpr Exchange kProgrammingSize("Sending Programming Size Inquiry command",
                                    Commands::Cmd_ProgrammingSizeInquiry, {5, 5000}, {{{0, 0x37}}});
constexpr Exchange kDevice("Sending Device Selection command", Commands::Cmd_DeviceSelection);
constexpr Exchange kClockMode("Sending Clock Mode Selection command", Commands::Cmd_ClockModeSelection);
constexpr Exchange kUserArea("Sending User Area Information Inquiry command",
                             Commands::Cmd_UserAreaInformationInquiry, {12, 5000}, {{{0, 0x35}}});
constexpr Exchange kBitRate("Sending Bit Rate Selection command", Commands::Cmd_BitRateSelecion);
constexpr Exchange kConfirmation("Sending Confirmation command", Commands::Cmd_Confirmation);
constexpr Exchange kErasureState("Sending Programming/Erasure State Transition command",
                                 Commands::Cmd_ProgrammingErasureStateTransition, {1, 30000});
constexpr Exchange kStatusBeforeChecks("Sending Boot Program Status Inquiry command",
                                       Commands::Cmd_BootProgramStatusInquiry, {5, 10000},
                                       {{{0, 0x5F}, {2, 0x3F}, {3, 0x00}}});
constexpr Exchange kUserBlank("Sending User Area Blank Check command", Commands::Cmd_UserAreaBlankCheck,
                              {1, 5000});
constexpr Exchange kDataBlankOfOld("Sending Data Area Blank Check command(OLD BOOTLOADER)",
                                   Commands::Cmd_DataAreaBlankCheck, {1, 5000});
constexpr Exchange kDataBlankOfNew("Sending Data Area Blank Check command(New Bootloader)",
                                   Commands::Cmd_DataAreaBlankCheck, {2, 5000}, {{{1, 0x52}}});

constexpr Exchange ProgrammingStatus(unsigned char mark) {
    Exchange exchange("Sending Boot Program Status Inquiry command", Commands::Cmd_BootProgramStatusInquiry,
                      {5, 5000}, {{{0, 0x5F}}});
    exchange.mode = {{{2, 0x3F}, {3, mark}}};
    return exchange;
}

constexpr Exchange kStatusOfOld = ProgrammingStatus(0x00);
constexpr Exchange kStatusOfNew = ProgrammingStatus(0x52);
// kept: "Programmin" as it stands
constexpr Exchange kAreaSelection("Sending User Data Area Programmin Selection command",
                                  Commands::Cmd_AreaProgrammingSelection);
constexpr Exchange kTerminate("Sending Terminate Programming command", Commands::Cmd_TerminateProgramming);
constexpr Exchange kLockBits("Sending Lock Bit Enable command", Commands::Cmd_LockBitEnable);

bool OpenBootDevice(CComPort& port, const char* deviceName, const char* tag) {
    std::array<char, 512> vid{};
    std::array<char, 512> pid{};
    std::array<char, 512> serial{};
    ExtractUsbParamsFromName(deviceName, vid.data(), pid.data(), serial.data(), vid.size());
    return (port.InitWithVid(vid.data(), pid.data(), serial.data()) && port.Open()) ||
           Log::Fail(tag, "Open Renesas device Error");
}

/// The answer of a printer that is told to enter its boot loader: what comes until it is long enough for one,
/// or the time is over. A read may bring more than it was asked for.
std::string ReadEntryAnswer(CComPort& port, const Deadline& deadline) {
    std::array<unsigned char, kEnterBootBuffer + CComPort::kReadSlack> buffer{};
    std::size_t got = 0;
    ReadPacer pacer;
    do {
        unsigned int err = 0;
        const unsigned int bytes =
            port.Read(buffer.data() + got, static_cast<unsigned int>(kEnterBootBuffer - got), &err);
        got = std::min(got + bytes, buffer.size());
        pacer.AfterRead(bytes);
    } while (got < std::strlen(kEnterBootAnswer) && !deadline.IsOver());
    return std::string(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(got));
}

/// The size of the chip's user area, which ends at the top of its address space.
int FlashSize(const std::vector<unsigned char>& userArea) {
    std::uint32_t start = 0;
    for (std::size_t at = 3; at <= 6; ++at) start = start << 8 | userArea[at];
    return static_cast<int>(~start + 1);
}

}  // namespace

bool RenesasBoot::SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                         void* /*ctx1*/, void* /*ctx2*/) {
    static constexpr char kTag[] = "SendFW";
    if (!MayStart(port, package, kTag) || !ReachPrinter(port, kTag)) return false;
    const bool entered = EnterUSBBootDirectModeOnUSB(port);
    port.Close();
    if (!entered) return false;
    if (port.GetPortType() != COMMPORT_SERIAL) return ProgramBootDevice(info, port, package, settings, kTag);
    const std::unique_ptr<BootPort> bootPort = BootUsb::Get().MakePort();
    return ProgramBootDevice(info, bootPort->Port(), package, settings, kTag);
}

/// Looked at before the printer is told anything: in its boot loader it could only be left without firmware.
bool RenesasBoot::MayStart(CComPort& port, PSWFile& package, const char* tag) const {
    if (!TakesPort(port, tag)) return false;  // packages of the old form come here without that check
    if (FirmwareImage::Of(package).length != 0) return true;
    Log::WriteLog(tag, "Upgrade file wrong or incomplete:");
    port.Close();
    return false;
}

bool RenesasBoot::EnterUSBBootDirectModeOnUSB(CComPort& port) {
    static constexpr char kTag[] = "EnterUSBBootDirectModeOnUSB";
    Log::WriteLog(kTag, "Sending command to enter in USB Boot Direct mode...");
    if (port.SendCommand(kEnterBoot) == 0) return Log::Fail(kTag, "Error USB Boot Direct mode");
    const std::string answer = ReadEntryAnswer(port, Deadline(Wait{kEnterBootMs, iTimem}));
    Log::WriteLogP(kTag, "Read %d bytes", static_cast<int>(answer.size()));
    if (answer.size() != std::strlen(kEnterBootAnswer))
        return Log::Fail(kTag, "ERROR : WAIT TIMEOUT! Exit..");
    Log::WriteLogP(kTag, "Answer: %s", answer.c_str());
    Log::WriteLog(kTag, answer == kEnterBootAnswer
                            ? "Correct response, the device is in USB Boot Direct mode!"
                            : "Wrong response from device! Exit from upgrade procedure...");
    return true;  // kept: a wrong answer does not stop the procedure
}

bool RenesasBoot::ProgramBootDevice(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                    CommPortSettings& settings, const char* tag) {
    const std::string device = BootUsb::WaitForDevice(kVendor, Deadline(Wait{kDeviceWaitMs, iTimem}));
    if (device.empty()) return Log::Fail(tag, "Error waiting renesas device timeout...");
    BTPRGERROR err = BTPRG_FAILED;
    int programmingSize = 0;
    if (!InitConnectRenesasDevice(port, device.c_str(), err, programmingSize)) {
        Log::WriteLogP(tag, "Init Renesas connection Error(%d)", static_cast<int>(err));
        if (err != BTPRG_RELEASE_UNAVAILABLE) return false;
        return Log::Fail(tag,
                         "Impossible to retrieve bootloader release. Please contact Quorva Technical Service "
                         "at its web site or support mail address.");
    }
    if (StartUpgradeUsb(info, port, device.c_str(), package, settings, nullptr, nullptr, programmingSize) <
        1) {
        Log::WriteLog(tag, "Upgrade Error");
        port.Close();
        return false;
    }
    return true;
}

bool RenesasBoot::InitConnectRenesasDevice(CComPort& port, const char* deviceName, BTPRGERROR& err,
                                           int& programmingSize) {
    static constexpr char kTag[] = "InitConnectRenesasDevice";
    err = BTPRG_FAILED;
    programmingSize = 0;
    bNewBootloader = false;
    Log::WriteLog(kTag, "Starting connecting operations...");
    if (!OpenBootDevice(port, deviceName, kTag)) return false;
    port.SetTimeoutWrite(kWriteTimeoutMs);  // kept: not put back
    RenesasLink link(port, kTag, iTimem);
    const bool connected = Connect(link, err, programmingSize, kTag);
    if (!connected) SendResetCommandUSB(port);
    port.Close();
    if (connected) Log::WriteLog(kTag, "Connecting operations executed!");
    return connected;
}

/// From the open boot device to its blank checks.
bool RenesasBoot::Connect(RenesasLink& link, BTPRGERROR& err, int& programmingSize, const char* tag) {
    if (!link.Accepts(kAdjustment)) return false;
    if (asksRelease_ && !Secure(link, err, tag)) return false;
    if (!link.Accepts(kProgrammingSize)) return false;
    programmingSize = link.LastAnswer()[2] * 256 + link.LastAnswer()[3];
    Log::WriteLogP(tag, "Programming Size: %d", programmingSize);
    if (!link.Accepts(kDevice) || !link.Accepts(kClockMode) || !link.Accepts(kUserArea)) return false;
    Log::WriteLogP(tag, "Micro FLASH size: %d", FlashSize(link.LastAnswer()));
    return link.Accepts(kBitRate) && link.Accepts(kConfirmation) && link.Accepts(kErasureState) &&
           link.Accepts(kStatusBeforeChecks) && link.Accepts(kUserBlank) &&
           link.Accepts(bNewBootloader ? kDataBlankOfNew : kDataBlankOfOld);
}

/// Asks for the boot loader's release and secures one of 1.00 or newer, which shows whether it speaks the
/// newer dialect.
bool RenesasBoot::Secure(RenesasLink& link, BTPRGERROR& err, const char* tag) {
    const RenesasOutcome asked = link.Run(kRelease);
    if (asked == RenesasOutcome::NotSent) err = BTPRG_RELEASE_UNAVAILABLE;
    if (asked != RenesasOutcome::Accepted) return false;
    const std::string release(link.LastAnswer().begin(), link.LastAnswer().end());
    Log::WriteLogP(tag, "Release Found: %s", release.c_str());
    if (std::strcmp(release.c_str(), "1.00") < 0) return true;
    Log::WriteLog(tag, "Bootloader release support security!");
    const RenesasOutcome saved = link.Run(kSaveSecurity);
    if (saved != RenesasOutcome::Alternative) return saved == RenesasOutcome::Accepted;
    bNewBootloader = true;
    Log::WriteLog(tag, "New Bootloader...");
    return link.Accepts(kSaveSecurityNew);
}

int RenesasBoot::StartUpgradeUsb(UpgradeDataInfo& /*info*/, CComPort& port, const char* deviceName,
                                 PSWFile& package, CommPortSettings& /*settings*/, void* /*ctx1*/,
                                 void* /*ctx2*/, int programmingSize) {
    static constexpr char kTag[] = "StartUpgradeUsb";
    const FirmwareImage image = FirmwareImage::Of(package);
    const RenesasUnits units(image.data, image.length, programmingSize);
    if (!units.Fit() || !OpenBootDevice(port, deviceName, kTag)) return 0;
    const bool programmed = Program(port, units, kTag);
    if (programmed) {
        Sleep({100, iTimem});
        ResetAfterSuccess(port);
    } else {
        SendResetCommandUSB(port);
    }
    port.Close();
    if (programmed) Sleep({2500, iTimem});
    return programmed ? 1 : 0;
}

bool RenesasBoot::Program(CComPort& port, const RenesasUnits& units, const char* tag) {
    RenesasLink link(port, tag, iTimem);
    if (!link.Accepts(bNewBootloader ? kStatusOfNew : kStatusOfOld) || !link.Accepts(kAreaSelection)) {
        return false;
    }
    port.SetWPacketSize(kProgrammingPacket);  // one frame, one transfer; kept: not put back
    Log::WriteLog(tag, "Start do sending data!");
    port.CleanRX();
    return units.Send(port, tag) && link.Accepts(kTerminate) && link.Accepts(kLockBits);
}

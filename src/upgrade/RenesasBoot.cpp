#include "upgrade/RenesasBoot.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "port/ReadPacer.h"
#include "port/UsbDeviceName.h"
#include "protocol/Commands.h"
#include "support/Clock.h"
#include "support/Deadline.h"
#include "support/Log.h"
#include "upgrade/BootUsb.h"
#include "upgrade/FirmwareImage.h"
#include "upgrade/RenesasConnection.h"
#include "upgrade/RenesasExchange.h"
#include "upgrade/RenesasUnits.h"
#include "upgrade/ReopenLoop.h"

namespace {

constexpr const char* kVendor = "045B";
constexpr unsigned char kEnterBoot[] = {0x1C, 0x4C, 0x49};
constexpr const char* kEnterBootAnswer = "BOOT_RST";
constexpr std::size_t kEnterBootBuffer = 16;
constexpr int kEnterBootMs = 10000;
constexpr int kDeviceWaitMs = 40000;
constexpr unsigned int kWriteTimeoutMs = 5000;
constexpr unsigned int kProgrammingPacket = 57344;

using Exchange = RenesasExchange;

constexpr Exchange ProgrammingStatus(unsigned char mark) {
    Exchange exchange("Sending Boot Program Status Inquiry command", Commands::Cmd_BootProgramStatusInquiry,
                      {5, 5000}, {{{0, 0x5F}}});
    exchange.mode = {{{2, 0x3F}, {3, mark}}};
    return exchange;
}

constexpr Exchange kStatusOfOld = ProgrammingStatus(0x00);
constexpr Exchange kStatusOfNew = ProgrammingStatus(0x52);
// "Programmin": kept as it stands.
constexpr Exchange kAreaSelection("Sending User Data Area Programmin Selection command",
                                  Commands::Cmd_AreaProgrammingSelection);
constexpr Exchange kTerminate("Sending Terminate Programming command", Commands::Cmd_TerminateProgramming);
constexpr Exchange kLockBits("Sending Lock Bit Enable command", Commands::Cmd_LockBitEnable);

bool OpenBootDevice(CComPort& port, const char* deviceName, const char* tag) {
    std::array<char, 512> vid{};
    std::array<char, 512> pid{};
    std::array<char, 512> serial{};
    ExtractUsbParamsFromName(deviceName, vid.data(), pid.data(), serial.data(), vid.size());
    if (port.InitWithVid(vid.data(), pid.data(), serial.data()) && port.Open()) return true;
    Log::WriteLog(tag, "Open Renesas device Error");
    return false;
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

}  // namespace

bool RenesasBoot::EnterUSBBootDirectModeOnUSB(CComPort& port) {
    static constexpr const char* kTag = "EnterUSBBootDirectModeOnUSB";
    Log::WriteLog(kTag, "Sending command to enter in USB Boot Direct mode...");
    if (port.SendCommand(kEnterBoot) == 0) {
        Log::WriteLog(kTag, "Error USB Boot Direct mode");
        return false;
    }
    const std::string answer = ReadEntryAnswer(port, Deadline(kEnterBootMs, iTimem));
    Log::WriteLogP(kTag, "Read %d bytes", static_cast<int>(answer.size()));
    if (answer.size() != std::strlen(kEnterBootAnswer)) {
        Log::WriteLog(kTag, "ERROR : WAIT TIMEOUT! Exit..");
        return false;
    }
    Log::WriteLogP(kTag, "Answer: %s", answer.c_str());
    Log::WriteLog(kTag, answer == kEnterBootAnswer
                            ? "Correct response, the device is in USB Boot Direct mode!"
                            : "Wrong response from device! Exit from upgrade procedure...");
    return true;  // kept: a wrong answer does not stop the procedure
}

bool RenesasBoot::InitConnectRenesasDevice(CComPort& port, const char* deviceName, BTPRGERROR& err,
                                           int& programmingSize) {
    static constexpr const char* kTag = "InitConnectRenesasDevice";
    err = BTPRG_FAILED;
    programmingSize = 0;
    bNewBootloader = false;
    Log::WriteLog(kTag, "Starting connecting operations...");
    if (!OpenBootDevice(port, deviceName, kTag)) return false;
    port.SetTimeoutWrite(kWriteTimeoutMs);  // kept: not put back
    RenesasConnection connection(kTag, asksRelease_, bNewBootloader, programmingSize);
    const bool connected = connection.Make(port, iTimem, err);
    if (!connected) SendResetCommandUSB(port);
    port.Close();
    if (connected) Log::WriteLog(kTag, "Connecting operations executed!");
    return connected;
}

int RenesasBoot::StartUpgradeUsb(UpgradeDataInfo& info, CComPort& port, const char* deviceName,
                                 PSWFile& package, CommPortSettings& settings, void* ctx1, void* ctx2,
                                 int programmingSize) {
    static_cast<void>(info);
    static_cast<void>(settings);
    static_cast<void>(ctx1);
    static_cast<void>(ctx2);
    const FirmwareImage image = FirmwareImage::Of(package);
    const RenesasUnits units(image.data, image.length, programmingSize);
    if (!units.Fit()) return 0;
    if (!OpenBootDevice(port, deviceName, "StartUpgradeUsb")) return 0;
    const bool programmed = Program(port, units);
    if (programmed) {
        SleepMs(100, iTimem);
        ResetAfterSuccess(port);
    } else {
        SendResetCommandUSB(port);
    }
    port.Close();
    if (programmed) SleepMs(2500, iTimem);
    return programmed ? 1 : 0;
}

bool RenesasBoot::Program(CComPort& port, const RenesasUnits& units) {
    static constexpr const char* kTag = "StartUpgradeUsb";
    RenesasLink link(port, kTag, iTimem);
    const auto accepted = [&link](const RenesasExchange& exchange) {
        return link.Run(exchange) == RenesasOutcome::Accepted;
    };
    if (!accepted(bNewBootloader ? kStatusOfNew : kStatusOfOld) || !accepted(kAreaSelection)) return false;
    port.SetWPacketSize(kProgrammingPacket);  // one frame, one transfer; kept: not put back
    Log::WriteLog(kTag, "Start do sending data!");
    port.CleanRX();
    return units.Send(port, kTag) && accepted(kTerminate) && accepted(kLockBits);
}

/// Looked at before the printer is told anything: in its boot loader it could only be left without firmware.
bool RenesasBoot::MayStart(CComPort& port, PSWFile& package) const {
    if (!TakesPort(port, "SendFW")) return false;  // packages of the old form come here without that check
    if (FirmwareImage::Of(package).length != 0) return true;
    Log::WriteLog("SendFW", "Upgrade file wrong or incomplete:");
    port.Close();
    return false;
}

bool RenesasBoot::SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                         void* ctx1, void* ctx2) {
    static constexpr const char* kTag = "SendFW";
    if (!MayStart(port, package)) return false;
    kReopenBeforeFirmware.Run(port, iTimem, kTag);
    if (!port.HandshakeCommunication()) {
        Log::WriteLog(kTag, "Handshake Communication Error");
        return false;
    }
    const bool entered = EnterUSBBootDirectModeOnUSB(port);
    port.Close();
    if (!entered) return false;
    if (port.GetPortType() != COMMPORT_SERIAL) {
        return ProgramBootDevice(info, port, package, settings, ctx1, ctx2);
    }
    const std::unique_ptr<BootPort> bootPort = BootUsb::Get().MakePort();
    return ProgramBootDevice(info, bootPort->Port(), package, settings, ctx1, ctx2);
}

bool RenesasBoot::ProgramBootDevice(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                                    CommPortSettings& settings, void* ctx1, void* ctx2) {
    static constexpr const char* kTag = "SendFW";
    const std::string device = BootUsb::WaitForDevice(kVendor, Deadline(kDeviceWaitMs, iTimem));
    if (device.empty()) {
        Log::WriteLog(kTag, "Error waiting renesas device timeout...");
        return false;
    }
    BTPRGERROR err = BTPRG_FAILED;
    int programmingSize = 0;
    if (!InitConnectRenesasDevice(port, device.c_str(), err, programmingSize)) {
        Log::WriteLogP(kTag, "Init Renesas connection Error(%d)", static_cast<int>(err));
        if (err == BTPRG_RELEASE_UNAVAILABLE) {
            Log::WriteLog(
                kTag,
                "Impossible to retrieve bootloader release. Please contact Quorva Technical Service at its "
                "web site or support mail address.");
        }
        return false;
    }
    if (StartUpgradeUsb(info, port, device.c_str(), package, settings, ctx1, ctx2, programmingSize) < 1) {
        Log::WriteLog(kTag, "Upgrade Error");
        port.Close();
        return false;
    }
    return true;
}

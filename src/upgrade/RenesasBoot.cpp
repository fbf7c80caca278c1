#include "upgrade/RenesasBoot.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "port/ReadPacer.h"
#include "port/UsbDeviceName.h"
#include "protocol/Commands.h"
#include "support/Clock.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"
#include "upgrade/BootUsb.h"
#include "upgrade/FirmwareImage.h"
#include "upgrade/RenesasExchange.h"
#include "upgrade/RenesasUnits.h"
#include "upgrade/ReopenLoop.h"

namespace {

constexpr const char* kVendor = "045B";
constexpr std::array<unsigned char, 3> kEnterBoot{0x1C, 0x4C, 0x49};
constexpr const char* kEnterBootAnswer = "BOOT_RST";
constexpr std::size_t kEnterBootBuffer = 16;
constexpr int kEnterBootMs = 10000;
constexpr int kDeviceWaitMs = 40000;
constexpr unsigned int kWriteTimeoutMs = 5000;
constexpr unsigned int kProgrammingPacket = 57344;

constexpr unsigned char kAck = 0x06;
constexpr unsigned char kNak = 0x15;
constexpr RenesasExchange::Answer kOneByte{1, 0};
constexpr std::array<RenesasExchange::Expected, 3> kAcknowledged{{{0, kAck}}};

using Exchange = RenesasExchange;

constexpr Exchange Acknowledged(const char* line, Exchange::Request request,
                                Exchange::Answer answer = kOneByte) {
    return {line, request, answer, kAcknowledged, {}, {}};
}

/// What the steps of the connection learn from the boot loader and hand on to the later ones.
struct Connection {
    const char* tag;
    bool asksRelease;
    bool supportsSecurity;
    bool& newBootloader;
    int& programmingSize;
};

using Answer = std::vector<unsigned char>;

void TakeRelease(Connection& connection, const Answer& answer, RenesasOutcome outcome) {
    static_cast<void>(outcome);
    const std::string release(answer.begin(), answer.end());
    Log::WriteLogP(connection.tag, "Release Found: %s", release.c_str());
    connection.supportsSecurity = std::strcmp(release.c_str(), "1.00") >= 0;
    if (connection.supportsSecurity) Log::WriteLog(connection.tag, "Bootloader release support security!");
}

void TakeDialect(Connection& connection, const Answer& answer, RenesasOutcome outcome) {
    static_cast<void>(answer);
    if (outcome != RenesasOutcome::Alternative) return;
    connection.newBootloader = true;
    Log::WriteLog(connection.tag, "New Bootloader...");
}

void TakeProgrammingSize(Connection& connection, const Answer& answer, RenesasOutcome outcome) {
    static_cast<void>(outcome);
    connection.programmingSize = answer[2] * 256 + answer[3];
    Log::WriteLogP(connection.tag, "Programming Size: %d", connection.programmingSize);
}

void TakeUserArea(Connection& connection, const Answer& answer, RenesasOutcome outcome) {
    static_cast<void>(outcome);
    std::uint32_t start = 0;
    for (std::size_t at = 3; at <= 6; ++at) start = start << 8 | answer[at];
    Log::WriteLogP(connection.tag, "Micro FLASH size: %d", static_cast<int>(~start + 1));
}

bool AsksRelease(const Connection& connection) {
    return connection.asksRelease;
}
bool IsSecured(const Connection& connection) {
    return connection.supportsSecurity;
}
bool IsNew(const Connection& connection) {
    return connection.newBootloader;
}
bool IsOld(const Connection& connection) {
    return !connection.newBootloader;
}

/// One step of the connection: the exchange, when it is made, and what is taken from its answer.
struct Step {
    Exchange exchange;
    bool (*applies)(const Connection&) = nullptr;
    void (*take)(Connection&, const Answer&, RenesasOutcome) = nullptr;
    BTPRGERROR unsent = BTPRG_FAILED;
};

const std::array<Step, 15> kConnection{{
    {{"Sending Automatic Adjustment of Bit Rate command",
      Commands::Cmd_AutomaticAdjustmentBitRate,
      kOneByte,
      {{{0, 0xE6}}},
      {},
      {}}},
    {{"Sending Get Bootloader Release command", Commands::Cmd_GetRelease, {4, 5000}, {}, {}, {}},
     AsksRelease,
     TakeRelease,
     BTPRG_RELEASE_UNAVAILABLE},
    {{"Sending Save Security command", Commands::Cmd_SaveSecurity, kOneByte, kAcknowledged, {}, {0, kNak}},
     IsSecured,
     TakeDialect},
    {Acknowledged("Sending Save Security NEW command", Commands::Cmd_SaveSecurityNew), IsNew},
    {{"Sending Programming Size Inquiry command",
      Commands::Cmd_ProgrammingSizeInquiry,
      {5, 5000},
      {{{0, 0x37}}},
      {},
      {}},
     nullptr,
     TakeProgrammingSize},
    {Acknowledged("Sending Device Selection command", Commands::Cmd_DeviceSelection)},
    {Acknowledged("Sending Clock Mode Selection command", Commands::Cmd_ClockModeSelection)},
    {{"Sending User Area Information Inquiry command",
      Commands::Cmd_UserAreaInformationInquiry,
      {12, 5000},
      {{{0, 0x35}}},
      {},
      {}},
     nullptr,
     TakeUserArea},
    {Acknowledged("Sending Bit Rate Selection command", Commands::Cmd_BitRateSelecion)},
    {Acknowledged("Sending Confirmation command", Commands::Cmd_Confirmation)},
    {Acknowledged("Sending Programming/Erasure State Transition command",
                  Commands::Cmd_ProgrammingErasureStateTransition, {1, 30000})},
    {{"Sending Boot Program Status Inquiry command",
      Commands::Cmd_BootProgramStatusInquiry,
      {5, 10000},
      {{{0, 0x5F}, {2, 0x3F}, {3, 0x00}}},
      {},
      {}}},
    {Acknowledged("Sending User Area Blank Check command", Commands::Cmd_UserAreaBlankCheck, {1, 5000})},
    {Acknowledged("Sending Data Area Blank Check command(OLD BOOTLOADER)", Commands::Cmd_DataAreaBlankCheck,
                  {1, 5000}),
     IsOld},
    {{"Sending Data Area Blank Check command(New Bootloader)",
      Commands::Cmd_DataAreaBlankCheck,
      {2, 5000},
      {{{1, 0x52}}},
      {},
      {}},
     IsNew},
}};

Exchange ProgrammingStatus(bool newBootloader) {
    return {"Sending Boot Program Status Inquiry command",
            Commands::Cmd_BootProgramStatusInquiry,
            {5, 5000},
            {{{0, 0x5F}}},
            {{{2, 0x3F}, {3, static_cast<unsigned char>(newBootloader ? 0x52 : 0x00)}}},
            {}};
}

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
std::string ReadEntryAnswer(CComPort& port, std::int64_t limitMs) {
    std::array<unsigned char, kEnterBootBuffer + CComPort::kReadSlack> buffer{};
    std::size_t got = 0;
    const std::uint64_t began = GenericFunctions::GetCurrentTimeMsec();
    std::int64_t silentMs = 0;  // at least; ends the wait when the clock cannot be read
    ReadPacer pacer;
    do {
        unsigned int err = 0;
        const unsigned int bytes =
            port.Read(buffer.data() + got, static_cast<unsigned int>(kEnterBootBuffer - got), &err);
        got = std::min(got + bytes, buffer.size());
        if (bytes == 0) silentMs += ReadPacer::kTurnMs;
        pacer.AfterRead(bytes);
    } while (got < std::strlen(kEnterBootAnswer) && silentMs < limitMs &&
             static_cast<std::int64_t>(GenericFunctions::GetCurrentTimeMsec() - began) < limitMs);
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
    const std::string answer = ReadEntryAnswer(port, std::int64_t{kEnterBootMs} * iTimem);
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
    const bool connected = Connect(port, err, programmingSize);
    if (!connected) SendResetCommandUSB(port);
    port.Close();
    if (connected) Log::WriteLog(kTag, "Connecting operations executed!");
    return connected;
}

bool RenesasBoot::Connect(CComPort& port, BTPRGERROR& err, int& programmingSize) {
    static constexpr const char* kTag = "InitConnectRenesasDevice";
    Connection connection{kTag, asksRelease_, false, bNewBootloader, programmingSize};
    RenesasLink link(port, kTag, iTimem);
    for (const Step& step : kConnection) {
        if (step.applies != nullptr && !step.applies(connection)) continue;
        const RenesasOutcome outcome = link.Run(step.exchange);
        if (outcome == RenesasOutcome::NotSent) err = step.unsent;
        if (outcome != RenesasOutcome::Accepted && outcome != RenesasOutcome::Alternative) return false;
        if (step.take != nullptr) step.take(connection, link.LastAnswer(), outcome);
    }
    return true;
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
    const auto accepted = [&link](const Exchange& exchange) {
        return link.Run(exchange) == RenesasOutcome::Accepted;
    };
    if (!accepted(ProgrammingStatus(bNewBootloader)) ||
        // "Programmin": kept as it stands.
        !accepted(Acknowledged("Sending User Data Area Programmin Selection command",
                               Commands::Cmd_AreaProgrammingSelection))) {
        return false;
    }
    port.SetWPacketSize(kProgrammingPacket);  // one frame, one transfer; kept: not put back
    Log::WriteLog(kTag, "Start do sending data!");
    port.CleanRX();
    return units.Send(port, kTag) &&
           accepted(
               Acknowledged("Sending Terminate Programming command", Commands::Cmd_TerminateProgramming)) &&
           accepted(Acknowledged("Sending Lock Bit Enable command", Commands::Cmd_LockBitEnable));
}

/// Looked at before the printer is told anything: in its boot loader it could only be left without firmware.
bool RenesasBoot::MayStart(CComPort& port, PSWFile& package) const {
    const bool onUsb = port.GetPortType() == COMMPORT_USB || port.GetPortType() == COMMPORT_USB_TOO;
    if (Flow().notOnUsbLine != nullptr && !onUsb) {  // packages of the old form come here without that check
        Log::WriteLog("SendFW", Flow().notOnUsbLine);
        return false;
    }
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
    const std::string device = BootUsb::WaitForDevice(kVendor, std::int64_t{kDeviceWaitMs} * iTimem);
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

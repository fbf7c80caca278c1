#include "port/ComPortUsb.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "port/PrinterVendorId.h"
#include "support/Clock.h"
#include "support/Listener.h"
#include "support/Log.h"
#include "support/Text.h"

namespace {

constexpr unsigned int kBytesBetweenPauses = 1024;

/// The number at the start of the text, 0 without one, the nearest int when it is larger.
int NumberOf(const char* text) {
    return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}

int TransferLength(unsigned int len) {
    return static_cast<int>(std::min<unsigned int>(len, INT_MAX));
}

/// Copies whole lines as far as they fit.
void CopyLines(const std::string& lines, char* list, std::size_t size) {
    std::size_t length = lines.size();
    if (length >= size) {
        const std::size_t end = size < 2 ? std::string::npos : lines.rfind('\n', size - 2);
        length = end == std::string::npos ? 0 : end + 1;
    }
    std::memcpy(list, lines.data(), length);
    list[length] = '\0';
}

using Location = std::array<std::uint8_t, sizeof(CComPortUsb::aucLocation)>;

Location PortNumbers(libusb_device* device) {
    Location ports{};
    const int depth = libusb_get_port_numbers(device, ports.data(), static_cast<int>(ports.size()));
    // libusb fills the array from its end before it moves the numbers up, and leaves what lay there.
    std::fill(ports.begin() + std::max(depth, 0), ports.end(), std::uint8_t{0});
    return ports;
}

/// Each number is written at the position of its index, so that of a longer one only the first digit stays.
std::string LocationText(const std::uint8_t (&ports)[8]) {
    std::string text;
    for (std::size_t i = 0; i < std::size(ports); ++i) {
        text.resize(i);
        text += std::to_string(ports[i]);
    }
    return text;
}

}  // namespace

char CComPortUsb::m_strSerial[1024] = {};

CComPortUsb::CComPortUsb(int timeMultiplier) : iTimeMultiplier(timeMultiplier) {
    CopyText(m_strSerial, "");
    iPortType = COMMPORT_USB;
    uiTimeoutTX = 1000;
    uiTimeoutRX = 1000;
    uiWPacketSize = 64;
}

CComPortUsb::~CComPortUsb() {
    CComPortUsb::Close();
}

bool CComPortUsb::Init(char* pid, char* addrNum) {
    bIdentified = true;
    CopyText(szPid, pid);
    CopyText(szAddrNum, addrNum);
    CopyText(szVid, PRINTER_VENDOR_ID);
    return TakeList("Init") && FindDevice(szVid, szPid, NumberOf(szAddrNum)) > 0;
}

bool CComPortUsb::InitWithVid(char* vid, char* pid, char* serial) {
    bIdentified = true;
    CopyText(szVid, vid);
    CopyText(szPid, pid);
    CopyText(szAddrNum, serial);
    return TakeList("InitWithVid") && FindDeviceWithVid(szVid, szPid, szAddrNum) > 0;
}

bool CComPortUsb::InitWithVid(char* vid) {
    CopyText(szVid, vid);
    return TakeList("InitWithVid") && FindDeviceWithVid(szVid) > 0;
}

/// Initialises libusb once more and takes a fresh list. What the Init before held is released.
bool CComPortUsb::TakeList(const char* tag) {
    ClosePort();
    pDevList.reset();
    CopyText(szLastError, "");
    if (libusb_init(nullptr) != LIBUSB_SUCCESS) return Fail(tag, "libusb_init error");
    bListHeld = true;
    libusb_device** list = nullptr;
    if (libusb_get_device_list(nullptr, &list) < 0) return Fail(tag, "libusb_get_device_list error");
    pDevList.reset(list);
    return true;
}

int CComPortUsb::FindDevice(const char* vid, const char* pid, int addrNum) {
    UsbSearch search("FindDevice", vid);
    search.pid = pid;
    search.serialFits = [addrNum](const std::string& serial) { return serial.back() - '0' == addrNum; };
    search.strict = true;
    return RunSearch(search);
}

int CComPortUsb::FindDeviceWithVid(const char* vid, const char* pid, const char* serial) {
    UsbSearch search("FindDeviceWithVid", vid);
    search.pid = pid;
    search.serialFits = [serial](const std::string& found) { return found == serial; };
    return RunSearch(search);
}

int CComPortUsb::FindDeviceWithVid(const char* vid) {
    UsbSearch search("FindDeviceWithVid", vid);
    return RunSearch(search);
}

int CComPortUsb::RunSearch(UsbSearch& search) {
    ClosePort();
    CopyText(szLastError, "");
    if (pDevList == nullptr) return Fail(search.tag, "libusb_get_device_list error") ? 1 : 0;
    const bool found = search.Run(pDevList.get());
    CopyText(szLastError, search.lastError.c_str());
    pHandle = std::move(search.handle);
    uiEpIn = search.epIn;
    uiEpOut = search.epOut;
    return found ? 1 : 0;
}

bool CComPortUsb::Open() {
    CopyText(szLastError, "");
    if (pHandle == nullptr || libusb_claim_interface(pHandle.get(), 0) != LIBUSB_SUCCESS)
        return Fail("Open", "libusb_claim_interface error");
    bClaimed = true;
    return true;
}

void CComPortUsb::ClosePort() {
    if (bClaimed) libusb_release_interface(pHandle.get(), 0);
    bClaimed = false;
    pHandle.reset();
}

bool CComPortUsb::Close() {
    ClosePort();
    pDevList.reset();
    if (bListHeld) libusb_exit(nullptr);
    bListHeld = false;
    return true;
}

unsigned int CComPortUsb::Write(unsigned char* buf, unsigned int len, unsigned int* err) {
    CopyText(szLastError, "");
    if (!bClaimed) {
        if (!InitAgainForWrite()) return FailTransfer("Write Error---> error to reinit device", err);
        if (!Open()) return FailTransfer("Write Error---> error to oen device", err);
    }
    if (uiWPacketSize == 0 || len < uiWPacketSize) return UsbWrite(buf, len, err);
    return WritePieces(buf, len, err);
}

// kept: the reverse of the choice in ReOpen.
bool CComPortUsb::InitAgainForWrite() {
    return bIdentified ? InitWithVid(szVid, szPid, szAddrNum) : Init(szPid, szAddrNum);
}

unsigned int CComPortUsb::WritePieces(unsigned char* buf, unsigned int len, unsigned int* err) {
    unsigned int sent = 0;
    unsigned int sincePause = 0;
    *err = 0;
    while (sent < len) {
        const unsigned int piece = std::min(len - sent, uiWPacketSize);
        const unsigned int taken = UsbWrite(buf + sent, piece, err);
        if (*err != 0) return 0;
        sent += taken;
        sincePause += taken;
        if (taken < piece) break;
        if (sincePause >= kBytesBetweenPauses) {
            Sleep({1, iTimeMultiplier});
            sincePause = 0;
        }
    }
    return sent;
}

unsigned int CComPortUsb::UsbWrite(unsigned char* buf, unsigned int len, unsigned int* err) {
    CopyText(szLastError, "");
    *err = 0;
    // An IN endpoint would turn the transfer into a read.
    if (!bClaimed || uiEpOut == 0 || (uiEpOut & LIBUSB_ENDPOINT_IN) != 0)
        return FailTransfer("Write Error", err);
    int taken = 0;
    if (libusb_bulk_transfer(pHandle.get(), static_cast<unsigned char>(uiEpOut), buf, TransferLength(len),
                             &taken, TransferTimeout(uiTimeoutTX)) != LIBUSB_SUCCESS)
        return FailTransfer("Write Error", err);
    Listener::Tell(Listener::Event::kWritten, taken);
    return static_cast<unsigned int>(taken);
}

unsigned int CComPortUsb::Read(unsigned char* buf, unsigned int len, unsigned int* err) {
    CopyText(szLastError, "");
    *err = 0;
    int got = 0;
    // An OUT endpoint would send the buffer to the printer.
    if (!bClaimed || (uiEpIn & LIBUSB_ENDPOINT_IN) == 0 ||
        libusb_bulk_transfer(pHandle.get(), static_cast<unsigned char>(uiEpIn), buf, TransferLength(len),
                             &got, TransferTimeout(uiTimeoutRX)) != LIBUSB_SUCCESS)
        return FailTransfer("Read timeout! No data read", err);
    return static_cast<unsigned int>(got);
}

bool CComPortUsb::ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                                  unsigned short index, unsigned char* data, unsigned short length,
                                  unsigned int timeout) {
    int result = LIBUSB_ERROR_NO_DEVICE;
    if (pHandle != nullptr)
        result = libusb_control_transfer(pHandle.get(), requestType, request, value, index, data, length,
                                         Clock::Get().BlockingTimeout(timeout));
    Listener::Tell(Listener::Event::kWritten, result);
    if (result >= 0) return true;
    const char* reason = "";
    switch (result) {
        case LIBUSB_ERROR_PIPE:
            reason = "_PIPE";
            break;
        case LIBUSB_ERROR_TIMEOUT:
            reason = "_TIMEOUT";
            break;
        case LIBUSB_ERROR_BUSY:
            reason = "_BUSY";
            break;
        case LIBUSB_ERROR_NO_DEVICE:
            reason = "_NO_DEVICE";
            break;
        case LIBUSB_ERROR_INVALID_PARAM:
            reason = "_INVALID_PARAM";
            break;
        default:
            break;
    }
    return Log::FailP("ControlTransfer", "libusb_control_transfer  LIBUSB_ERROR%s", reason);
}

unsigned int CComPortUsb::TransferTimeout(unsigned int ms) const {
    const unsigned int factor = iTimeMultiplier < 0 ? 1U : static_cast<unsigned int>(iTimeMultiplier);
    const std::uint64_t scaled = std::uint64_t{ms} * factor;
    return Clock::Get().BlockingTimeout(static_cast<unsigned int>(std::min<std::uint64_t>(scaled, UINT_MAX)));
}

bool CComPortUsb::ReOpen() {
    std::string pid = szPid;
    std::string vid = szVid;
    std::string addrNum = szAddrNum;
    Close();
    const bool found =
        bIdentified ? Init(pid.data(), addrNum.data()) : InitWithVid(vid.data(), pid.data(), addrNum.data());
    return found && Open();
}

bool CComPortUsb::BackupPortInfo() {
    CopyText(szPidBak, szPid);
    CopyText(szVidBak, szVid);
    CopyText(szAddrNumBak, szAddrNum);
    return true;
}

bool CComPortUsb::RestoreportInfo() {
    CopyText(szPid, szPidBak);
    CopyText(szVid, szVidBak);
    CopyText(szAddrNum, szAddrNumBak);
    return true;
}

bool CComPortUsb::DumpPortInfo() {
    std::printf("Pid : %s \n", szPid);
    std::printf("Vid : %s \n", szVid);
    std::printf("AddressNumberExt : %s \n", szAddrNum);
    return true;
}

bool CComPortUsb::SaveLocationCurrentDevice() {
    static constexpr char kTag[] = "SaveLocationCurrentDevice";
    Log::WriteLog(kTag, "SaveLocationCurrentDevice Begin");
    if (szPid[0] == '\0' || szVid[0] == '\0' || szAddrNum[0] == '\0')
        return Log::Fail(kTag, "No Pid, Vid or AddrNumber Error ");
    const bool walked = VisitLikeDevices(kTag, [&](libusb_device* device, const std::string& address) {
        if (address != szAddrNum) return;
        const Location ports = PortNumbers(device);
        std::copy(ports.begin(), ports.end(), aucLocation);
        Log::WriteLogP(kTag, "Vid:%s, Pid:%s, AddrNum:%s, Location: %s", szVid, szPid, szAddrNum,
                       LocationText(aucLocation).c_str());
    });
    if (walked) Log::WriteLog(kTag, "SaveLocationCurrentDevice End");
    return walked;
}

bool CComPortUsb::RestoreAddrNumFrmLocatio() {
    static constexpr char kTag[] = "RestoreAddrNumFrmLocatio";
    Log::WriteLog(kTag, "RestoreAddrNumFrmLocatio Begin");
    if (aucLocation[0] == 0) return Log::Fail(kTag, "No location saved : Error.");
    const bool walked = VisitLikeDevices(kTag, [&](libusb_device* device, const std::string& address) {
        const Location ports = PortNumbers(device);
        if (!std::equal(ports.begin(), ports.end(), aucLocation)) return;
        CopyText(szAddrNum, address.c_str());
        Log::WriteLogP(kTag, "New info Vid:%s, Pid:%s, AddrNum:%s, Location: %s", szVid, szPid, szAddrNum,
                       LocationText(aucLocation).c_str());
    });
    if (walked) Log::WriteLog(kTag, "RestoreAddrNumFrmLocatio End");
    return walked;
}

/// Visits every device on the bus that has the recorded IDs and an address number, with that one character.
/// The walk never stops early: of several devices the last counts. False when the bus cannot be listed.
bool CComPortUsb::VisitLikeDevices(const char* tag, const DeviceVisitor& visit) {
    const char* const failure = VisitUsbDevices(
        [this](const UsbDevice& each) {
            return each.vendor == szVid && each.product == szPid && each.serialIndex != 0;
        },
        [tag](const char* text) { Log::WriteLog(tag, text); },
        [&visit](const UsbDevice& each) {
            if (!each.serial.empty()) visit(each.device, each.serial.substr(each.serial.size() - 1));
        });
    return failure == nullptr || Fail(tag, failure);
}

bool CComPortUsb::GetDeviceList(char* list, std::size_t listSize, char* error, std::size_t errorSize,
                                const char* vid) {
    const auto report = [error, errorSize](const char* text) {
        if (error != nullptr) std::snprintf(error, errorSize, "%s", text);
        return Log::Fail("GetDeviceList", text);
    };
    if (error != nullptr && errorSize != 0) error[0] = '\0';
    if (listSize == 0) return false;
    list[0] = '\0';
    const std::string vendor = vid != nullptr ? vid : PRINTER_VENDOR_ID;
    bool result = true;
    std::string lines;
    const char* const failure =
        VisitUsbDevices([&vendor](const UsbDevice& each) { return each.vendor == vendor; }, report,
                        [&](const UsbDevice& each) {
                            if (!each.serialRead && vid == nullptr) result = false;
                            lines += each.vendor + "|" + each.product + "|" + each.serial + "\n";
                        });
    if (failure != nullptr) return report(failure);
    CopyLines(lines, list, listSize);
    return result;
}

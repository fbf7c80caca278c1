#include "port/ComPortUsb.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "port/PortText.h"
#include "port/PrinterVendorId.h"
#include "port/UsbBusWalk.h"
#include "port/UsbDeviceIds.h"
#include "port/UsbSearch.h"
#include "support/Clock.h"
#include "support/Log.h"

namespace {

constexpr unsigned int kBytesBetweenPauses = 1024;

/// As SetPortText, for a text that may be the field itself.
template <std::size_t N>
void KeepText(char (&field)[N], const char* text) {
    const std::string copy = text != nullptr ? text : "";
    SetPortText(field, copy.c_str());
}

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
    SetPortText(m_strSerial, "");
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
    KeepText(szPid, pid);
    KeepText(szAddrNum, addrNum);
    KeepText(szVid, PRINTER_VENDOR_ID);
    return TakeList("Init") && FindDevice(szVid, szPid, NumberOf(szAddrNum)) > 0;
}

bool CComPortUsb::InitWithVid(char* vid, char* pid, char* serial) {
    bIdentified = true;
    KeepText(szVid, vid);
    KeepText(szPid, pid);
    KeepText(szAddrNum, serial);
    return TakeList("InitWithVid") && FindDeviceWithVid(szVid, szPid, szAddrNum) > 0;
}

bool CComPortUsb::InitWithVid(char* vid) {
    KeepText(szVid, vid);
    return TakeList("InitWithVid") && FindDeviceWithVid(szVid) > 0;
}

/// Initialises libusb once more and takes a fresh list. What the Init before held is released.
bool CComPortUsb::TakeList(const char* tag) {
    ClosePort();
    pDevList.reset();
    SetPortText(szLastError, "");
    if (libusb_init(nullptr) != LIBUSB_SUCCESS) return Fail(tag, "libusb_init error");
    bListHeld = true;
    libusb_device** list = nullptr;
    if (libusb_get_device_list(nullptr, &list) < 0) return Fail(tag, "libusb_get_device_list error");
    pDevList.reset(list);
    return true;
}

int CComPortUsb::FindDevice(const char* vid, const char* pid, int addrNum) {
    UsbSearch search;
    search.tag = "FindDevice";
    search.vid = vid;
    search.pid = pid;
    search.serialFits = [addrNum](const std::string& serial) { return serial.back() - '0' == addrNum; };
    search.serialRequired = true;
    search.configRequired = true;
    search.allInterfaces = true;
    return RunSearch(search);
}

int CComPortUsb::FindDeviceWithVid(const char* vid, const char* pid, const char* serial) {
    UsbSearch search;
    search.tag = "FindDeviceWithVid";
    search.vid = vid;
    search.pid = pid;
    search.serialFits = [serial](const std::string& found) { return found == serial; };
    return RunSearch(search);
}

int CComPortUsb::FindDeviceWithVid(const char* vid) {
    UsbSearch search;
    search.tag = "FindDeviceWithVid";
    search.vid = vid;
    return RunSearch(search);
}

int CComPortUsb::RunSearch(UsbSearch& search) {
    ClosePort();
    SetPortText(szLastError, "");
    if (pDevList == nullptr) {
        Fail(search.tag, "libusb_get_device_list error");
        return 0;
    }
    const bool found = search.Run(pDevList.get());
    SetPortText(szLastError, search.lastError.c_str());
    pHandle = std::move(search.handle);
    uiEpIn = search.epIn;
    uiEpOut = search.epOut;
    return found ? 1 : 0;
}

bool CComPortUsb::Open() {
    SetPortText(szLastError, "");
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
    SetPortText(szLastError, "");
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
            SleepMs(iTimeMultiplier);
            sincePause = 0;
        }
    }
    return sent;
}

unsigned int CComPortUsb::UsbWrite(unsigned char* buf, unsigned int len, unsigned int* err) {
    SetPortText(szLastError, "");
    *err = 0;
    // An IN endpoint would turn the transfer into a read.
    if (!bClaimed || uiEpOut == 0 || (uiEpOut & LIBUSB_ENDPOINT_IN) != 0)
        return FailTransfer("Write Error", err);
    int taken = 0;
    if (libusb_bulk_transfer(pHandle.get(), static_cast<unsigned char>(uiEpOut), buf, TransferLength(len),
                             &taken, TransferTimeout(uiTimeoutTX)) != LIBUSB_SUCCESS)
        return FailTransfer("Write Error", err);
    return static_cast<unsigned int>(taken);
}

unsigned int CComPortUsb::Read(unsigned char* buf, unsigned int len, unsigned int* err) {
    SetPortText(szLastError, "");
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
    if (result >= 0) return true;
    const char* line = "libusb_control_transfer  LIBUSB_ERROR";
    switch (result) {
        case LIBUSB_ERROR_PIPE:
            line = "libusb_control_transfer  LIBUSB_ERROR_PIPE";
            break;
        case LIBUSB_ERROR_TIMEOUT:
            line = "libusb_control_transfer  LIBUSB_ERROR_TIMEOUT";
            break;
        case LIBUSB_ERROR_BUSY:
            line = "libusb_control_transfer  LIBUSB_ERROR_BUSY";
            break;
        case LIBUSB_ERROR_NO_DEVICE:
            line = "libusb_control_transfer  LIBUSB_ERROR_NO_DEVICE";
            break;
        case LIBUSB_ERROR_INVALID_PARAM:
            line = "libusb_control_transfer  LIBUSB_ERROR_INVALID_PARAM";
            break;
        default:
            break;
    }
    Log::WriteLog("ControlTransfer", line);
    return false;
}

// 0 is a transfer without time-out: a time-out that is not positive never gets there by arithmetic.
void CComPortUsb::SetTimeoutTX(int ms) {
    uiTimeoutTX = static_cast<unsigned int>(ms < 0 ? 1 : ms);
}
void CComPortUsb::SetTimeoutRX(int ms) {
    uiTimeoutRX = static_cast<unsigned int>(ms < 0 ? 1 : ms);
}
int CComPortUsb::GetTimeoutRX() {
    return static_cast<int>(uiTimeoutRX);
}

unsigned int CComPortUsb::TransferTimeout(unsigned int ms) const {
    const unsigned int factor = iTimeMultiplier < 0 ? 1U : static_cast<unsigned int>(iTimeMultiplier);
    const std::uint64_t scaled = std::uint64_t{ms} * factor;
    return Clock::Get().BlockingTimeout(static_cast<unsigned int>(std::min<std::uint64_t>(scaled, UINT_MAX)));
}

bool CComPortUsb::HandshakeCommunication() {
    return RunHandshake({5, 1500, false});
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
    KeepText(szPidBak, szPid);
    KeepText(szVidBak, szVid);
    KeepText(szAddrNumBak, szAddrNum);
    return true;
}

bool CComPortUsb::RestoreportInfo() {
    KeepText(szPid, szPidBak);
    KeepText(szVid, szVidBak);
    KeepText(szAddrNum, szAddrNumBak);
    return true;
}

bool CComPortUsb::DumpPortInfo() {
    std::printf("Pid : %s \n", szPid);
    std::printf("Vid : %s \n", szVid);
    std::printf("AddressNumberExt : %s \n", szAddrNum);
    return true;
}

bool CComPortUsb::SaveLocationCurrentDevice() {
    const char* const tag = "SaveLocationCurrentDevice";
    Log::WriteLog(tag, "SaveLocationCurrentDevice Begin");
    if (szPid[0] == '\0' || szVid[0] == '\0' || szAddrNum[0] == '\0') {
        Log::WriteLog(tag, "No Pid, Vid or AddrNumber Error ");
        return false;
    }
    const bool walked = VisitLikeDevices(tag, [&](libusb_device* device, const std::string& address) {
        if (address != szAddrNum) return;
        const Location ports = PortNumbers(device);
        std::copy(ports.begin(), ports.end(), aucLocation);
        Log::WriteLogP(tag, "Vid:%s, Pid:%s, AddrNum:%s, Location: %s", szVid, szPid, szAddrNum,
                       LocationText(aucLocation).c_str());
    });
    if (walked) Log::WriteLog(tag, "SaveLocationCurrentDevice End");
    return walked;
}

bool CComPortUsb::RestoreAddrNumFrmLocatio() {
    const char* const tag = "RestoreAddrNumFrmLocatio";
    Log::WriteLog(tag, "RestoreAddrNumFrmLocatio Begin");
    if (aucLocation[0] == 0) {
        Log::WriteLog(tag, "No location saved : Error.");
        return false;
    }
    const bool walked = VisitLikeDevices(tag, [&](libusb_device* device, const std::string& address) {
        const Location ports = PortNumbers(device);
        if (!std::equal(ports.begin(), ports.end(), aucLocation)) return;
        SetPortText(szAddrNum, address.c_str());
        Log::WriteLogP(tag, "New info Vid:%s, Pid:%s, AddrNum:%s, Location: %s", szVid, szPid, szAddrNum,
                       LocationText(aucLocation).c_str());
    });
    if (walked) Log::WriteLog(tag, "RestoreAddrNumFrmLocatio End");
    return walked;
}

/// Visits every device on the bus that has the recorded IDs and an address number, with that one character.
/// The walk never stops early: of several devices the last counts. False when the bus cannot be listed.
bool CComPortUsb::VisitLikeDevices(const char* tag, const DeviceVisitor& visit) {
    const UsbBusWalk walk;
    if (walk.Failure() != nullptr) return Fail(tag, walk.Failure());
    for (libusb_device* device : walk) {
        UsbDeviceIds ids;
        if (!ids.Read(device)) {
            Log::WriteLog(tag, "failed to get device descriptor");
            continue;
        }
        if (ids.vendor != szVid || ids.product != szPid || ids.serialIndex == 0) continue;
        UsbHandle handle = OpenUsbDevice(device);
        if (handle == nullptr) {
            Log::WriteLog(tag, "Couldn't open device");
            continue;
        }
        std::string serial;
        if (!ReadUsbSerial(handle.get(), ids.serialIndex, serial))
            Log::WriteLog(tag, "Coudn't get serial string");
        handle.reset();
        if (!serial.empty()) visit(device, serial.substr(serial.size() - 1));
    }
    return true;
}

bool CComPortUsb::GetDeviceList(char* list, std::size_t listSize, char* error, std::size_t errorSize,
                                const char* vid) {
    const auto report = [error, errorSize](const char* text) {
        Log::WriteLog("GetDeviceList", text);
        if (error != nullptr) static_cast<void>(std::snprintf(error, errorSize, "%s", text));
    };
    if (error != nullptr && errorSize != 0) error[0] = '\0';
    if (listSize == 0) return false;
    list[0] = '\0';
    const UsbBusWalk walk;
    if (walk.Failure() != nullptr) {
        report(walk.Failure());
        return false;
    }
    bool result = true;
    std::string lines;
    for (libusb_device* device : walk) {
        UsbDeviceIds ids;
        if (!ids.Read(device)) {
            report("failed to get device descriptor");
            continue;
        }
        if (ids.vendor != (vid != nullptr ? vid : PRINTER_VENDOR_ID)) continue;
        const UsbHandle handle = OpenUsbDevice(device);
        if (handle == nullptr) {
            report("Couldn't open device");
            continue;
        }
        std::string serial;
        if (!ReadUsbSerial(handle.get(), ids.serialIndex, serial)) {
            report("Coudn't get serial string");
            result = result && vid != nullptr;
        }
        lines += ids.vendor + "|" + ids.product + "|" + serial + "\n";
    }
    CopyLines(lines, list, listSize);
    return result;
}

bool CComPortUsb::Fail(const char* tag, const char* text) {
    Log::WriteLog(tag, text);
    SetPortText(szLastError, text);
    return false;
}

unsigned int CComPortUsb::FailTransfer(const char* text, unsigned int* err) {
    *err = 1;
    SetPortText(szLastError, text);
    return 0;
}

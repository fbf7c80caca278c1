#include "port/ComPortRs232.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>

#include "support/Clock.h"
#include "support/Listener.h"
#include "support/Log.h"
#include "support/Text.h"

namespace {

struct LineSpeed {
    int iBaudrate;
    speed_t constant;
};

constexpr std::array<LineSpeed, 8> kLineSpeeds{{{1200, B1200},
                                                {2400, B2400},
                                                {4800, B4800},
                                                {9600, B9600},
                                                {19200, B19200},
                                                {38400, B38400},
                                                {57600, B57600},
                                                {115200, B115200}}};

constexpr int kRefusedPauseMs = 10;
constexpr std::uint64_t kSettleUs = 10;
constexpr int kFewBytes = 7;         // more than these waiting are the start of an answer ...
constexpr int kRestOfAnswerMs = 80;  // ... that gets this long to arrive in one read
constexpr std::size_t kReadSize = CComPort::kReadSlack;

}  // namespace

CComPortRs232::CComPortRs232() {
    iPortType = COMMPORT_SERIAL;
    uiTimeoutTX = 1000;
    uiTimeoutRX = 1000;
    uiWPacketSize = 1000;
}

CComPortRs232::~CComPortRs232() {
    ClosePort();
}

bool CComPortRs232::Init(char* device, int baudrate, int flowcontrol) {
    static constexpr char kTag[] = "Init";
    CopyText(szLastError, "");
    CopyText(szDeviceNamed, device);
    CopyText(szDevice, szDeviceNamed);
    iBaudrate = baudrate;
    iFlowControl = flowcontrol;
    tty = termios{};
    const auto speed = std::find_if(kLineSpeeds.begin(), kLineSpeeds.end(),
                                    [baudrate](const LineSpeed& row) { return row.iBaudrate == baudrate; });
    if (speed == kLineSpeeds.end()) {
        iBaudrate = -1;
        return Fail(kTag, "Error invalid Baudrate");
    }
    cfsetispeed(&tty, speed->constant);
    cfsetospeed(&tty, speed->constant);
    tty.c_cflag |= CS8;
    if (flowcontrol == 1) {
        tty.c_cflag |= CRTSCTS;
    } else if (flowcontrol == 2) {
        tty.c_iflag |= IXON | IXOFF | IXANY;
    } else if (flowcontrol != 0) {
        iFlowControl = -1;
        return Fail(kTag, "Error invalid Flow control");
    }
    tty.c_cflag |= CREAD | CLOCAL;
    return true;
}

bool CComPortRs232::Open() {
    CopyText(szLastError, "");
    return OpenPort() || Fail("Open", "Open RS232 Device Error");
}

bool CComPortRs232::OpenPort() {
    static constexpr char kTag[] = "OpenPort";
    CopyText(szLastError, "");
    if (iFd != -1) close(iFd);
    iFd = open(szDevice, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (iFd == -1) {
        Listener::Tell(Listener::Event::kSystemError, errno);
        return Fail(kTag, "Error to open Serial port");
    }
    tcflush(iFd, TCOFLUSH);
    // kept: refused, the descriptor stays open until the port is closed or opened again
    return tcsetattr(iFd, TCSANOW, &tty) == 0 || Fail(kTag, "Error to tcsetattr");
}

bool CComPortRs232::Close() {
    CopyText(szLastError, "");
    ClosePort();
    return true;
}

void CComPortRs232::ClosePort() {
    if (iFd != -1) close(iFd);
    iFd = -1;
    CopyText(szDevice, "");
}

bool CComPortRs232::ReOpen() {
    std::string device = szDevice[0] != '\0' ? szDevice : szDeviceNamed;
    const int baudrate = iBaudrate;
    const int flowcontrol = iFlowControl;
    Close();
    return Init(device.data(), baudrate, flowcontrol) && Open();
}

bool CComPortRs232::BackupPortInfo() {
    CopyText(szDeviceBak, szDevice);
    iBaudrateBak = iBaudrate;
    iFlowControlBak = iFlowControl;
    bKept = true;
    return true;
}

bool CComPortRs232::RestoreportInfo() {
    if (!bKept) return true;
    CopyText(szDevice, szDeviceBak);
    iBaudrate = iBaudrateBak;
    iFlowControl = iFlowControlBak;
    return true;
}

void CComPortRs232::CleanTX() {
    if (iFd != -1) tcflush(iFd, TCOFLUSH);
}

void CComPortRs232::CleanRX() {
    if (iFd != -1) tcflush(iFd, TCIFLUSH);
}

// Half of what the line carries in one write time-out at 10 bits a byte, in whole fives. The product wraps at
// 32 bits (kept: required).
void CComPortRs232::CalcMaxPacketSize() {
    uiWPacketSize = static_cast<unsigned int>(iBaudrate) * uiTimeoutTX / 1000 / 10 / 10 * 5;
}

unsigned int CComPortRs232::Write(unsigned char* buf, unsigned int len, unsigned int* err) {
    CopyText(szLastError, "");
    CalcMaxPacketSize();
    // A time-out too short for five bytes gives a packet size of 0, which cuts nothing.
    if (len < uiWPacketSize || uiWPacketSize == 0) return ComWrite(buf, len, err);
    *err = 0;
    unsigned int written = 0;
    while (written < len) {
        written += ComWrite(buf + written, std::min(uiWPacketSize, len - written), err);
        if (*err != 0) return 0;
    }
    return written;
}

unsigned int CComPortRs232::ComWrite(unsigned char* buf, unsigned int len, unsigned int* err) {
    CopyText(szLastError, "");
    *err = 0;
    unsigned int written = 0;
    while (written < len) {
        const ssize_t taken = iFd != -1 ? write(iFd, buf + written, len - written) : -1;
        if (taken > 0) {
            written += static_cast<unsigned int>(taken);
            Listener::Tell(Listener::Event::kWritten, taken);
        } else if (taken == 0 || (iFd != -1 && errno == EAGAIN)) {
            Sleep({kRefusedPauseMs});  // kept: without limit, a printer may hold the line for minutes
        } else if (iFd == -1 || errno != EINTR) {
            Log::WriteLog("ComWrite", "Error ComWrite");
            FailTransfer("Write Error", err);
            break;
        }
    }
    return written;
}

bool CComPortRs232::Drain() {
    Deadline progress(Wait{kLineStoppedMs});
    int least = INT_MAX;
    for (int waiting = 0; ioctl(iFd, TIOCOUTQ, &waiting) == 0; Sleep({kRefusedPauseMs})) {
        if (waiting == 0) return true;
        if (waiting < least) progress = Deadline(Wait{kLineStoppedMs});
        if (progress.IsOver()) break;
        least = std::min(least, waiting);
    }
    CopyText(szLastError, "Write Error");
    return false;
}

unsigned int CComPortRs232::Read(unsigned char* buf, unsigned int len, unsigned int* err) {
    CopyText(szLastError, "");
    return ComRead(buf, len, err);
}

unsigned int CComPortRs232::ComRead(unsigned char* buf, unsigned int /*len*/, unsigned int* err) {
    ssize_t received = -1;
    if (WaitForDescriptor(iFd, DescriptorEvent::Readable, uiTimeoutRX)) {
        Clock::Get().SleepMicroseconds(kSettleUs);
        int waiting = 0;
        if (ioctl(iFd, FIONREAD, &waiting) == 0 && waiting > kFewBytes) Sleep({kRestOfAnswerMs});
        do {
            received = read(iFd, buf, kReadSize);  // kept: whatever was asked
        } while (received == -1 && errno == EINTR);
    }
    *err = 0;
    if (received >= 0) return static_cast<unsigned int>(received);
    return FailTransfer("Read select() timeout! No data read", err);
}

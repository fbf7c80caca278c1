#include "port/ComPortEth.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "support/Clock.h"
#include "support/Listener.h"
#include "support/Text.h"

namespace {

// A wait for acknowledgements: a printer at hand sends them before the shortest sleep is over.
constexpr int kDrainYields = 100;
constexpr int kDrainTurnMs = 1;

// The first IPv4 address of the host; false when it has none.
bool Resolve(const char* host, in_addr& address) {
    const hostent* const found = gethostbyname(host);
    if (found == nullptr || found->h_addrtype != AF_INET || found->h_addr_list[0] == nullptr) return false;
    std::memcpy(&address, found->h_addr_list[0], sizeof(address));
    return true;
}

}  // namespace

CComPortEth::CComPortEth() {
    iPortType = COMMPORT_ETHERNET;
    uiTimeoutTX = 500;
    uiTimeoutRX = 500;
    uiWPacketSize = 1000;
}

CComPortEth::~CComPortEth() {
    CComPortEth::Close();
}

bool CComPortEth::Init(char* host, int port) {
    CopyText(szHost, host);
    iPort = port;
    return true;
}

bool CComPortEth::Open() {
    CopyText(szLastError, "");
    return OpenPort() || Fail("Open", "Open ETH Device Error");
}

bool CComPortEth::Close() {
    if (iSocket != -1) close(iSocket);
    iSocket = -1;
    return true;
}

bool CComPortEth::ReOpen() {
    std::string host = szHost;
    const int port = iPort;
    Close();
    return Init(host.data(), port) && Open();
}

bool CComPortEth::OpenPort() {
    CopyText(szLastError, "");
    if (iSocket != -1) return true;
    const char* const failure = Connect();
    if (failure == nullptr) return true;
    Close();
    return Fail("OpenPort", failure);
}

// Each step of a connection returns what failed, or null. A failed one may leave the socket for OpenPort to
// close.
const char* CComPortEth::Connect() {
    iSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (iSocket == -1) return "Error to create new socket";
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    if (!Resolve(szHost, peer.sin_addr)) return "Wrong hostname";
    // Cut to 16 bits, the number would name another port.
    if (iPort < 0 || iPort > UINT16_MAX) return "Error to connect socket";
    peer.sin_port = htons(static_cast<std::uint16_t>(iPort));
    if (const char* const failure = SetBlocking(false)) return failure;
    if (const char* const failure = ConnectWithinTimeout(peer)) return failure;
    if (const char* const failure = SetBlocking(true)) return failure;
    // Requests are short and each waits for its answer: held back for the acknowledgement of the one before,
    // every exchange would take some 40 ms more.
    const int on = 1;
    setsockopt(iSocket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    // Without it a write to a cable that is pulled waits for ever. Only what is on its way is waited for, so
    // that probes of an idle connection would add nothing.
    const unsigned int peerLostMs = Clock::Get().BlockingTimeout(kPeerLostMs);
    setsockopt(iSocket, IPPROTO_TCP, TCP_USER_TIMEOUT, &peerLostMs, sizeof(peerLostMs));
    uiAppliedTX = kNotApplied;
    uiAppliedRX = kNotApplied;
    ApplyTimeout(SO_SNDTIMEO, uiTimeoutTX, uiAppliedTX);
    ApplyTimeout(SO_RCVTIMEO, uiTimeoutRX, uiAppliedRX);
    return nullptr;
}

const char* CComPortEth::ConnectWithinTimeout(const sockaddr_in& peer) {
    if (connect(iSocket, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0) return nullptr;
    if (errno != EINPROGRESS) {
        Listener::Tell(Listener::Event::kSystemError, errno);
        return "Error to connect socket";
    }
    if (!WaitForDescriptor(iSocket, DescriptorEvent::Writable, uiTimeoutTX)) return "Timeout or error()";
    int error = 0;
    socklen_t size = sizeof(error);
    if (getsockopt(iSocket, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
        Listener::Tell(Listener::Event::kSystemError, error);
        return "Error in connection()";
    }
    return nullptr;
}

const char* CComPortEth::SetBlocking(bool blocking) {
    const int flags = fcntl(iSocket, F_GETFL);
    if (flags == -1) return "Error fcntl(..., F_GETFL)";
    const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    return fcntl(iSocket, F_SETFL, wanted) == -1 ? "Error fcntl(..., F_SETFL)" : nullptr;
}

void CComPortEth::ApplyTimeout(int option, unsigned int ms, unsigned int& applied) {
    const unsigned int limit = Clock::Get().BlockingTimeout(ms);
    if (limit == applied) return;
    applied = limit;
    timeval time{static_cast<time_t>(limit / 1000), static_cast<suseconds_t>(limit % 1000) * 1000};
    if (limit == 0) time.tv_usec = 1;  // zero would mean without limit
    setsockopt(iSocket, SOL_SOCKET, option, &time, sizeof(time));
}

unsigned int CComPortEth::Write(unsigned char* buf, unsigned int len, unsigned int* err) {
    *err = 0;
    const unsigned int pieceSize = uiWPacketSize != 0 ? uiWPacketSize : len;
    unsigned int written = 0;
    ReadPacer pacer;
    while (written < len) {
        const unsigned int sent = EthWrite(buf + written, std::min(pieceSize, len - written), err);
        if (*err != 0) return 0;
        written += sent;
        pacer.AfterRead(sent);
    }
    return written;
}

unsigned int CComPortEth::Read(unsigned char* buf, unsigned int len, unsigned int* err) {
    return EthRead(buf, len, err);
}

bool CComPortEth::OpenFor(const char* tag, unsigned int* err) {
    *err = 0;
    if (OpenPort()) return true;
    *err = 1;
    return Fail(tag, "Open Error (Device Error)");
}

unsigned int CComPortEth::EthWrite(unsigned char* buf, unsigned int len, unsigned int* err) {
    if (!OpenFor("EthWrite", err)) return 0;
    ApplyTimeout(SO_SNDTIMEO, uiTimeoutTX, uiAppliedTX);
    ssize_t sent = 0;
    do {
        sent = send(iSocket, buf, len, MSG_NOSIGNAL);  // a connection that is gone must not end the program
    } while (sent == -1 && errno == EINTR);
    if (sent == -1 && errno != EAGAIN && errno != EWOULDBLOCK) {
        Close();
        return FailTransfer(kConnectionBroke, err);
    }
    if (sent <= 0) return 0;  // without an error: the peer was only slow, and what was not sent is sent again
    Listener::Tell(Listener::Event::kWritten, sent);
    return static_cast<unsigned int>(sent);
}

bool CComPortEth::Drain() {
    for (int turn = 0;; turn += turn < kDrainYields ? 1 : 0) {
        // Asked before the bytes are counted: those of a connection that is over change no more.
        pollfd state{iSocket, 0, 0};
        const bool over = poll(&state, 1, 0) == 1;  // an error or the end of both directions
        int waiting = 0;
        const bool counted = ioctl(iSocket, SIOCOUTQ, &waiting) == 0;
        if (counted && waiting == 0) return true;
        if (!counted || over) break;
        turn < kDrainYields ? std::this_thread::yield() : Sleep({kDrainTurnMs});
    }
    CopyText(szLastError, kConnectionBroke);
    Close();
    return false;
}

unsigned int CComPortEth::EthRead(unsigned char* buf, unsigned int len, unsigned int* err) {
    if (!OpenFor("EthRead", err)) return 0;
    ApplyTimeout(SO_RCVTIMEO, uiTimeoutRX, uiAppliedRX);
    ssize_t received = recv(iSocket, buf, len, 0);
    // Signals that come more often than the time-out must not begin it anew for ever.
    if (received == -1 && errno == EINTR &&
        WaitForDescriptor(iSocket, DescriptorEvent::Readable, uiTimeoutRX))
        received = recv(iSocket, buf, len, MSG_DONTWAIT);
    if (received > 0) return static_cast<unsigned int>(received);
    if (received == -1) FailTransfer("EthRead Error", err);
    // A read of no bytes says nothing about the connection; otherwise it is over and the next call connects
    // again.
    if (received == -1 || len != 0) Close();
    return 0;
}

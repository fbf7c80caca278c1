#include "simulator/LineTransport.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <termios.h>

#include <cerrno>
#include <system_error>

#include "simulator/ScaledClock.h"

namespace simulator {

namespace {

constexpr std::size_t kInputSize = 256 * 1024;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool IsOnlyBusy() {
    return errno == EAGAIN || errno == EINTR;
}

Descriptor BoundSocket(std::uint16_t port) {
    Descriptor bound(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!bound.IsOpen()) Fail("socket");
    const int yes = 1;
    setsockopt(bound.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(bound.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) Fail("bind");
    return bound;
}

std::uint16_t PortOf(const Descriptor& bound) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(bound.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) Fail("getsockname");
    return ntohs(address.sin_port);
}

}  // namespace

// What both share

LineTransport::LineTransport(DeviceModel& model) : model_(model), input_(kInputSize) {}

void LineTransport::Start() {
    thread_ = std::thread([this] {
        while (!stop_) Turn();
    });
}

void LineTransport::Stop() {
    stop_ = true;  // seen within RealWaitMs
    if (thread_.joinable()) thread_.join();
}

void LineTransport::Turn() {
    const bool onLine = model_.OnLine(NowMs());
    const bool cut = model_.TakeCut();
    if (Follow(onLine, cut) && !(Receive() && Send())) Disconnect();
    const int events = output_.empty() ? POLLIN : POLLIN | POLLOUT;
    pollfd watched{line_.IsOpen() ? line_.Get() : listener_.Get(), static_cast<short>(events), 0};
    poll(&watched, 1, static_cast<int>(RealWaitMs(model_.NextEvent(NowMs()))));
}

long LineTransport::Read() {
    const ssize_t got = read(line_.Get(), input_.data(), input_.size());
    if (got > 0) return got;
    return got < 0 && IsOnlyBusy() ? 0 : -1;
}

bool LineTransport::Receive() {
    const long got = Read();
    if (got > 0) model_.Receive(input_.data(), static_cast<std::size_t>(got), NowMs());
    return got == 0 || (got > 0 && !model_.TakeCut());
}

bool LineTransport::Send() {
    for (const Bytes& answer : model_.Transmit(NowMs()))
        output_.insert(output_.end(), answer.begin(), answer.end());
    while (!output_.empty()) {
        // A socket must not end the process by SIGPIPE; a terminal knows no send.
        ssize_t put = send(line_.Get(), output_.data(), output_.size(), MSG_NOSIGNAL);
        if (put < 0 && errno == ENOTSOCK) put = write(line_.Get(), output_.data(), output_.size());
        if (put < 0) return IsOnlyBusy();
        output_.erase(output_.begin(), output_.begin() + put);
    }
    return true;
}

// TCP

TcpTransport::TcpTransport(DeviceModel& model, std::uint16_t port)
    : LineTransport(model), reserver_(BoundSocket(port)), port_(PortOf(reserver_)) {
    Listen(model_.OnLine(NowMs()));
}

TcpTransport::~TcpTransport() {
    Stop();
    Disconnect();
}

bool TcpTransport::Follow(bool onLine, bool cut) {
    if (cut || !onLine) Disconnect();
    Listen(onLine);
    if (onLine && !line_.IsOpen()) Accept();
    return line_.IsOpen();
}

void TcpTransport::Disconnect() {
    if (!line_.IsOpen()) return;
    line_.Reset();
    output_.clear();
    model_.ConnectionChanged(false, NowMs());
}

void TcpTransport::Listen(bool wanted) {
    if (!wanted) listener_.Reset();
    if (!wanted || listener_.IsOpen()) return;
    listener_ = BoundSocket(port_);
    if (listen(listener_.Get(), 1) != 0) Fail("listen");
}

void TcpTransport::Accept() {
    line_ = Descriptor(accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!line_.IsOpen()) return;
    const int yes = 1;
    setsockopt(line_.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    model_.ConnectionChanged(true, NowMs());
}

// Pseudo-terminal

PtyTransport::PtyTransport(DeviceModel& model) : LineTransport(model) {
    line_ = Descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!line_.IsOpen() || grantpt(line_.Get()) != 0 || unlockpt(line_.Get()) != 0) Fail("pseudo-terminal");
    char path[128] = {};
    if (ptsname_r(line_.Get(), path, sizeof path) != 0) Fail("ptsname");
    path_ = path;
    slave_ = Descriptor(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios raw{};
    if (!slave_.IsOpen() || tcgetattr(slave_.Get(), &raw) != 0) Fail("pseudo-terminal");
    cfmakeraw(&raw);
    if (tcsetattr(slave_.Get(), TCSANOW, &raw) != 0) Fail("pseudo-terminal");
}

bool PtyTransport::Follow(bool onLine, bool) {
    if (onLine) return true;
    Read();  // to be lost
    output_.clear();
    return false;
}

}  // namespace simulator

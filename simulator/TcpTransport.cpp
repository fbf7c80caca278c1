#include "simulator/TcpTransport.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "simulator/ScaledClock.h"

namespace simulator {

namespace {

constexpr std::size_t kInputSize = 256 * 1024;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

Descriptor BoundSocket(std::uint16_t port) {
    Descriptor bound(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!bound.IsOpen()) Fail("socket");
    const int yes = 1;
    setsockopt(bound.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const sockaddr_in address = Loopback(port);
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

TcpTransport::TcpTransport(DeviceModel& model, std::uint16_t port)
    : model_(model), reserver_(BoundSocket(port)), input_(kInputSize), port_(PortOf(reserver_)) {
    Listen(model_.OnLine(NowMs()));
}

void TcpTransport::Start() {
    thread_.Start([this] { Turn(); });
}

void TcpTransport::Stop() {
    thread_.Stop();
    Disconnect();
}

void TcpTransport::Turn() {
    const bool onLine = model_.OnLine(NowMs());
    if (model_.TakeCut() || !onLine) Disconnect();
    Listen(onLine);
    if (!connection_.IsOpen()) Accept();
    if (connection_.IsOpen()) ReceiveSome();
    if (connection_.IsOpen()) SendSome();
    Wait();
}

void TcpTransport::Listen(bool wanted) {
    if (!wanted) listener_.Reset();
    if (!wanted || listener_.IsOpen()) return;
    listener_ = BoundSocket(port_);
    if (listen(listener_.Get(), 1) != 0) Fail("listen");
}

void TcpTransport::Accept() {
    if (!listener_.IsOpen()) return;
    connection_ = Descriptor(accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!connection_.IsOpen()) return;
    const int yes = 1;
    setsockopt(connection_.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    model_.ConnectionChanged(true, NowMs());
}

void TcpTransport::Disconnect() {
    if (!connection_.IsOpen()) return;
    connection_.Reset();
    output_.clear();
    model_.ConnectionChanged(false, NowMs());
}

void TcpTransport::ReceiveSome() {
    const long got = ReadSome(connection_.Get(), input_);
    if (got < 0) {
        Disconnect();
    } else if (got > 0) {
        model_.Receive(input_.data(), static_cast<std::size_t>(got), NowMs());
        if (model_.TakeCut()) Disconnect();
    }
}

void TcpTransport::SendSome() {
    for (const Bytes& answer : model_.Transmit(NowMs()))
        output_.insert(output_.end(), answer.begin(), answer.end());
    if (!WriteSome(connection_.Get(), output_)) Disconnect();
}

void TcpTransport::Wait() {
    std::vector<pollfd> descriptors;
    if (connection_.IsOpen()) {
        const int events = output_.empty() ? POLLIN : POLLIN | POLLOUT;
        descriptors.push_back({connection_.Get(), static_cast<short>(events), 0});
    } else if (listener_.IsOpen()) {
        descriptors.push_back({listener_.Get(), POLLIN, 0});
    }
    thread_.Wait(std::move(descriptors), model_.NextEvent(NowMs()));
}

}  // namespace simulator

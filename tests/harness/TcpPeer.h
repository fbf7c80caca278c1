#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <string>

#include "harness/Descriptors.h"

/// The other end of a TCP connection. Everything it does waits some seconds at most.
class TcpConnection {
 public:
    explicit TcpConnection(int fd = -1) : fd_(fd) {}

    /// Reads `count` bytes, fewer when the connection ends before.
    std::string Receive(std::size_t count) { return ReceiveFrom(fd_, count, kWaitMs); }
    void Send(const std::string& text) { send(fd_.Get(), text.data(), text.size(), MSG_NOSIGNAL); }
    /// True when the other side has closed and nothing is left to read.
    bool Ended() {
        char byte = 0;
        pollfd event{fd_.Get(), POLLIN, 0};
        return poll(&event, 1, kWaitMs) == 1 && recv(fd_.Get(), &byte, 1, MSG_PEEK) <= 0;
    }
    void Close() { fd_.Reset(); }

 private:
    static constexpr int kWaitMs = 5000;
    OwnedDescriptor fd_;
};

/// Listens on a free port; `Port` is 0 when that cannot be had.
class TcpListener {
 public:
    explicit TcpListener(int backlog = 16) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        socklen_t size = sizeof(address);
        listen(fd_.Get(), backlog);  // takes a port by itself
        getsockname(fd_.Get(), reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
    }
    int Get() const { return fd_.Get(); }
    int Port() const { return port_; }
    TcpConnection Accept() {
        pollfd event{fd_.Get(), POLLIN, 0};
        return TcpConnection(poll(&event, 1, 5000) == 1 ? accept(fd_.Get(), nullptr, nullptr) : -1);
    }

 private:
    OwnedDescriptor fd_;
    int port_ = 0;
};

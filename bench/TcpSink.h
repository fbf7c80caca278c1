#pragma once

#include <benchmark/benchmark.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

#include "harness/Descriptors.h"
#include "harness/TcpPeer.h"

/// Accepts one connection and reads it to its end. With `bank`, a number of bytes, it answers behind each of
/// so many that they are programmed.
class TcpSink {
 public:
    explicit TcpSink(std::size_t bank = 0)
        : reader_([this, bank] {
              const std::size_t most = bank != 0 ? bank : std::size_t{1} << 16;
              TcpConnection peer = listener_.Accept();
              while (peer.Receive(most).size() == most) {
                  if (bank != 0) peer.Send("\xAA");
              }
          }) {}
    TcpSink(const TcpSink&) = delete;
    TcpSink& operator=(const TcpSink&) = delete;
    ~TcpSink() { reader_.join(); }
    int Port() const { return listener_.Port(); }

 private:
    TcpListener listener_;
    std::thread reader_;
};

/// What a plain loop of `send` takes for the same bytes in packets of `packet`, to the same kind of sink.
inline void SendPlainly(benchmark::State& state, const std::vector<unsigned char>& data, std::size_t packet) {
    TcpSink sink;
    const OwnedDescriptor connection(socket(AF_INET, SOCK_STREAM, 0));
    const int on = 1;
    setsockopt(connection.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));  // as the port does
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(sink.Port()));
    if (connect(connection.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        state.SkipWithError("no connection");
    }
    while (state.KeepRunning()) {
        for (std::size_t sent = 0; sent < data.size();) {
            const std::size_t piece = std::min(packet, data.size() - sent);
            const ssize_t taken = send(connection.Get(), data.data() + sent, piece, MSG_NOSIGNAL);
            if (taken <= 0) {
                state.SkipWithError("send failed");
                break;
            }
            sent += static_cast<std::size_t>(taken);
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}

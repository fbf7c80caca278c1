#include "simulator/TransportThread.h"

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "simulator/DeviceModel.h"
#include "simulator/ScaledClock.h"

namespace simulator {

namespace {

constexpr int kLongestWaitMs = 20;

int RealWait(std::uint64_t until) {
    if (until == DeviceModel::kNever) return kLongestWaitMs;
    const std::uint64_t now = NowMs();
    const std::uint64_t left = until > now ? until - now : 1;
    const unsigned int ms = static_cast<unsigned int>(std::min<std::uint64_t>(left, UINT32_MAX));
    return static_cast<int>(std::min<unsigned int>(Clock::Get().BlockingTimeout(ms), kLongestWaitMs));
}

bool IsOnlyBusy() {
    return errno == EAGAIN || errno == EINTR;
}

}  // namespace

TransportThread::TransportThread() : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!wake_.IsOpen()) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void TransportThread::Start(std::function<void()> turn) {
    stop_ = false;
    thread_ = std::thread([this, turn = std::move(turn)] {
        while (!stop_) turn();
    });
}

void TransportThread::Stop() {
    if (!thread_.joinable()) return;
    stop_ = true;
    eventfd_write(wake_.Get(), 1);
    thread_.join();
    eventfd_t drained = 0;
    eventfd_read(wake_.Get(), &drained);
}

void TransportThread::Wait(std::vector<pollfd> descriptors, std::uint64_t until) const {
    descriptors.push_back({wake_.Get(), POLLIN, 0});
    poll(descriptors.data(), descriptors.size(), RealWait(until));
}

long ReadSome(int fd, std::vector<unsigned char>& buffer) {
    const ssize_t got = read(fd, buffer.data(), buffer.size());
    if (got > 0) return got;
    return got < 0 && IsOnlyBusy() ? 0 : -1;
}

bool WriteSome(int fd, std::vector<unsigned char>& pending) {
    while (!pending.empty()) {
        // A socket must not end the process by SIGPIPE; a terminal knows no send.
        ssize_t put = send(fd, pending.data(), pending.size(), MSG_NOSIGNAL);
        if (put < 0 && errno == ENOTSOCK) put = write(fd, pending.data(), pending.size());
        if (put < 0) return IsOnlyBusy();
        pending.erase(pending.begin(), pending.begin() + put);
    }
    return true;
}

}  // namespace simulator

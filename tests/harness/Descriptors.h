#pragma once

#include <dirent.h>
#include <poll.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

/// A descriptor that is closed with its owner.
class OwnedDescriptor {
 public:
    explicit OwnedDescriptor(int fd = -1) : fd_(fd) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        Reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~OwnedDescriptor() { Reset(); }
    void Reset(int fd = -1) {
        if (fd_ != -1) close(fd_);
        fd_ = fd;
    }
    int Get() const { return fd_; }

 private:
    int fd_;
};

/// The descriptors that this process has open.
inline int OpenDescriptors() {
    int count = -1;  // the directory's own
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc/self/fd"), closedir);
    while (const dirent* const entry = readdir(directory.get())) count += entry->d_name[0] != '.' ? 1 : 0;
    return count;
}

/// Reads `count` bytes, fewer when nothing comes for `waitMs` or the other side has closed.
inline std::string ReceiveFrom(const OwnedDescriptor& from, std::size_t count, int waitMs) {
    std::string got(count, '\0');
    std::size_t used = 0;
    pollfd event{from.Get(), POLLIN, 0};
    while (used < count && poll(&event, 1, waitMs) == 1) {
        const ssize_t bytes = read(from.Get(), got.data() + used, count - used);
        if (bytes <= 0) break;
        used += static_cast<std::size_t>(bytes);
    }
    got.resize(used);
    return got;
}

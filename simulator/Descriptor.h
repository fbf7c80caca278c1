#pragma once

#include <unistd.h>

#include <utility>

namespace simulator {

/// An owned file descriptor.
class Descriptor {
 public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            Reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Reset(); }

    int Get() const { return fd_; }
    bool IsOpen() const { return fd_ >= 0; }
    void Reset() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

 private:
    int fd_ = -1;
};

}  // namespace simulator

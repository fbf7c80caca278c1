#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

#include <memory>
#include <utility>
#include <vector>

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

/// While it lives, no descriptor can be had.
class NoMoreDescriptors {
 public:
    NoMoreDescriptors() {
        getrlimit(RLIMIT_NOFILE, &was_);
        const rlimit none{0, was_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &was_); }

 private:
    rlimit was_{};
};

/// While it lives, new descriptors have numbers that `select` cannot hold.
class HighDescriptors {
 public:
    HighDescriptors() {
        getrlimit(RLIMIT_NOFILE, &was_);
        rlimit more = was_;
        more.rlim_cur = more.rlim_max;
        setrlimit(RLIMIT_NOFILE, &more);
        do {
            fillers_.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
        } while (fillers_.back().Get() != -1 && fillers_.back().Get() < FD_SETSIZE);
    }
    HighDescriptors(const HighDescriptors&) = delete;
    HighDescriptors& operator=(const HighDescriptors&) = delete;
    ~HighDescriptors() {
        fillers_.clear();
        setrlimit(RLIMIT_NOFILE, &was_);
    }
    /// False where the system does not allow so many.
    bool Reached() const { return fillers_.back().Get() >= FD_SETSIZE; }

 private:
    rlimit was_{};
    std::vector<OwnedDescriptor> fillers_;
};

#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

/// A file in memory, for what is only read through its name.
class MemoryFile {
 public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : fd_(memfd_create("fuzz", MFD_CLOEXEC)) {
        if (fd_ < 0 || write(fd_, data, size) != static_cast<ssize_t>(size)) std::abort();
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(fd_); }
    std::string Name() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
    int fd_;
};

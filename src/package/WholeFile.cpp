#include "package/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace {

constexpr off_t kLongestFile = off_t{1} << 30;
constexpr std::size_t kPiece = std::size_t{1} << 20;

class Descriptor {
 public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    int Get() const { return fd_; }

 private:
    int fd_;
};

bool Readable(const struct stat& info) {
    return S_ISREG(info.st_mode) && info.st_size >= 0 && info.st_size <= kLongestFile;
}

bool ReadAll(int fd, unsigned char* out, std::size_t size) {
    while (size > 0) {
        const ssize_t got = read(fd, out, std::min(size, kPiece));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;  // an error, or a file that has become shorter
        out += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace

OwnedBytes ReadWholeFile(const char* name, int* length) {
    struct stat info {};
    if (name == nullptr || stat(name, &info) != 0 || !Readable(info)) return nullptr;
    // What stands there now may no longer be what was looked at.
    const Descriptor file(open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.Get() < 0 || fstat(file.Get(), &info) != 0 || !Readable(info)) return nullptr;
    const auto size = static_cast<std::size_t>(info.st_size);
    OwnedBytes bytes = AllocateBytes(size);
    if (bytes == nullptr || !ReadAll(file.Get(), bytes.get(), size)) return nullptr;
    *length = static_cast<int>(size);
    return bytes;
}

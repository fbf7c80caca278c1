#pragma once

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "harness/Descriptors.h"

/// A pseudo-terminal: the program opens `Path()`, the test is the device at the other end.
class PtyPair {
 public:
    PtyPair() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        grantpt(master_.Get());
        unlockpt(master_.Get());
        char path[64] = {};
        ptsname_r(master_.Get(), path, sizeof(path));
        path_ = path;
    }
    const char* Path() const { return path_.c_str(); }

    /// The line settings that the program made.
    termios Settings() const {
        termios settings{};
        tcgetattr(master_.Get(), &settings);
        return settings;
    }
    bool Send(const std::string& text) {
        return write(master_.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
    }
    /// Reads `count` bytes, fewer when they do not come within some seconds.
    std::string Receive(std::size_t count, int waitMs = 5000) {
        std::string got(count, '\0');
        std::size_t used = 0;
        pollfd event{master_.Get(), POLLIN, 0};
        while (used < count && poll(&event, 1, waitMs) == 1) {
            const ssize_t bytes = read(master_.Get(), got.data() + used, count - used);
            if (bytes <= 0) break;
            used += static_cast<std::size_t>(bytes);
        }
        got.resize(used);
        return got;
    }
    void HangUp() { master_.Reset(); }

 private:
    OwnedDescriptor master_;
    std::string path_;
};

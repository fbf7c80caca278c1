#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
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
    /// Sends and waits until the program can read all of it: the terminal hands bytes on at its leisure. Only
    /// while nobody reads.
    bool Deliver(const std::string& text) {
        const OwnedDescriptor other(open(Path(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        int before = 0;
        if (ioctl(other.Get(), FIONREAD, &before) != 0 || !Send(text)) return false;
        for (int turn = 0; turn < 5000; ++turn) {
            int now = 0;
            if (ioctl(other.Get(), FIONREAD, &now) != 0) return false;
            if (now >= before + static_cast<int>(text.size())) return true;
            poll(nullptr, 0, 1);
        }
        return false;
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

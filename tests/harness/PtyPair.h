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
        ptsname_r(master_.Get(), path_, sizeof(path_));
    }
    char* Path() { return path_; }

    /// The line settings that the program made.
    termios Settings() const {
        termios settings{};
        tcgetattr(master_.Get(), &settings);
        return settings;
    }
    /// Sends and waits until the program can read all of it: the terminal hands bytes on at its leisure. Only
    /// while nobody reads.
    bool Deliver(const std::string& text) {
        const OwnedDescriptor other(open(Path(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        const int due = Waiting(other) + static_cast<int>(text.size());
        if (write(master_.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) return false;
        for (int turn = 0; turn < 5000 && Waiting(other) < due; ++turn) poll(nullptr, 0, 1);
        return Waiting(other) >= due;
    }
    /// Reads `count` bytes, fewer when nothing comes for `waitMs`.
    std::string Receive(std::size_t count, int waitMs = 5000) { return ReceiveFrom(master_, count, waitMs); }
    std::string ReceiveSome() { return ::ReceiveSome(master_, 65536, 60000); }
    void HangUp() { master_.Reset(); }

 private:
    static int Waiting(const OwnedDescriptor& line) {
        int bytes = 0;
        ioctl(line.Get(), FIONREAD, &bytes);
        return bytes;
    }

    OwnedDescriptor master_;
    char path_[64] = {};
};

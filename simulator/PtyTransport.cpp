#include "simulator/PtyTransport.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>

#include <cerrno>
#include <system_error>

#include "simulator/ScaledClock.h"

namespace simulator {

namespace {

constexpr std::size_t kInputSize = 64 * 1024;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

Descriptor OpenMaster() {
    Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!master.IsOpen() || grantpt(master.Get()) != 0 || unlockpt(master.Get()) != 0)
        Fail("pseudo-terminal");
    return master;
}

std::string SlavePath(const Descriptor& master) {
    char path[128] = {};
    if (ptsname_r(master.Get(), path, sizeof path) != 0) Fail("ptsname");
    return path;
}

Descriptor OpenSlave(const std::string& path) {
    Descriptor slave(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios line{};
    if (!slave.IsOpen() || tcgetattr(slave.Get(), &line) != 0) Fail("pseudo-terminal");
    cfmakeraw(&line);
    if (tcsetattr(slave.Get(), TCSANOW, &line) != 0) Fail("pseudo-terminal");
    return slave;
}

}  // namespace

PtyTransport::PtyTransport(DeviceModel& model)
    : model_(model),
      master_(OpenMaster()),
      slave_(OpenSlave(SlavePath(master_))),
      path_(SlavePath(master_)),
      input_(kInputSize) {}

void PtyTransport::Start() {
    thread_.Start([this] { Turn(); });
}

void PtyTransport::Turn() {
    const bool onLine = model_.OnLine(NowMs());
    model_.TakeCut();
    const long got = ReadSome(master_.Get(), input_);
    if (onLine && got > 0) model_.Receive(input_.data(), static_cast<std::size_t>(got), NowMs());
    if (!onLine) {
        output_.clear();
    } else {
        for (const Bytes& answer : model_.Transmit(NowMs()))
            output_.insert(output_.end(), answer.begin(), answer.end());
        WriteSome(master_.Get(), output_);
    }
    const int events = output_.empty() ? POLLIN : POLLIN | POLLOUT;
    thread_.Wait({{master_.Get(), static_cast<short>(events), 0}}, model_.NextEvent(NowMs()));
}

}  // namespace simulator

#include "port/PortWaits.h"

#include <sys/select.h>

#include <algorithm>
#include <cerrno>

#include "support/Listener.h"

namespace {

constexpr unsigned int kTurnMs = 200;  // of a wait that somebody watches

}  // namespace

bool WaitForDescriptor(int fd, DescriptorEvent event, unsigned int ms) {
    if (fd < 0 || fd >= FD_SETSIZE) return false;
    Listener* const listener = Listener::Get();
    unsigned int limit = Clock::Get().BlockingTimeout(ms);
    unsigned int turn = listener != nullptr ? std::min(limit, kTurnMs) : limit;
    timeval left{static_cast<time_t>(turn / 1000), static_cast<suseconds_t>(turn % 1000) * 1000};
    for (;;) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(fd, &set);
        const bool reading = event == DescriptorEvent::Readable;
        // Linux leaves the time that remains in `left`, so a wait that a signal broke goes on where it stood.
        const int ready = select(fd + 1, reading ? &set : nullptr, reading ? nullptr : &set, nullptr, &left);
        if (ready < 0 && errno == EINTR) continue;
        limit -= turn;
        if (ready != 0 || limit == 0) return ready > 0;
        listener->OnTurn();
        turn = std::min(limit, kTurnMs);
        left = {0, static_cast<suseconds_t>(turn) * 1000};
    }
}

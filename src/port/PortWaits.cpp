#include "port/PortWaits.h"

#include <sys/select.h>

#include <cerrno>

bool WaitForDescriptor(int fd, DescriptorEvent event, unsigned int ms) {
    if (fd < 0 || fd >= FD_SETSIZE) return false;
    const unsigned int limit = Clock::Get().BlockingTimeout(ms);
    timeval left{static_cast<time_t>(limit / 1000), static_cast<suseconds_t>(limit % 1000) * 1000};
    for (;;) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(fd, &set);
        const bool reading = event == DescriptorEvent::Readable;
        // Linux leaves the time that remains in `left`, so a wait that a signal broke goes on where it stood.
        const int ready = select(fd + 1, reading ? &set : nullptr, reading ? nullptr : &set, nullptr, &left);
        if (ready >= 0 || errno != EINTR) return ready > 0;
    }
}

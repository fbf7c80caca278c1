// Linked into the program under another name: its clock runs at the rate that TICKETFLASH_TEST_CLOCK names,
// "rate,floor" (blocking calls last at least `floor` real milliseconds). Everything else is what ships.
#include <cstdio>
#include <cstdlib>

#include "simulator/ScaledClock.h"

namespace {

struct Installer {
    Installer() {
        unsigned int rate = 1;
        unsigned int floorMs = 1;
        const char* setting = std::getenv("TICKETFLASH_TEST_CLOCK");
        if (setting == nullptr || std::sscanf(setting, "%u,%u", &rate, &floorMs) != 2 || rate == 0) {
            std::fputs("TICKETFLASH_TEST_CLOCK: rate,floor\n", stderr);
            std::_Exit(2);
        }
        static simulator::ScaledClock clock(rate, floorMs);
    }
};

const Installer installer;

}  // namespace

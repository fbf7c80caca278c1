#include "terminal/LiveLine.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <ctime>

namespace {

constexpr time_t kAgainSeconds = 5;

std::atomic<bool> asked{false};
std::atomic<time_t> firstAt{0};
bool isOpen = false;
sighandler_t oldInterrupt = SIG_DFL;
sighandler_t oldHangUp = SIG_DFL;

// Calls nothing but what a handler may, which a Clock is not.
void OnInterrupt(int number) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    asked = true;
    const time_t before = firstAt.exchange(now.tv_sec);
    if (before == 0 || now.tv_sec - before >= kAgainSeconds) return;
    std::signal(number, SIG_DFL);
    raise(number);  // comes when the handler has returned
}

/// What the signal did before. One that is ignored already stays so.
sighandler_t Catch(int number, sighandler_t handler) {
    const sighandler_t old = std::signal(number, handler);
    if (old == SIG_IGN) std::signal(number, SIG_IGN);
    return old;
}

}  // namespace

void Interruption::Open() {
    if (isOpen || isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) return;
    isOpen = true;
    firstAt = 0;
    oldInterrupt = Catch(SIGINT, OnInterrupt);
    oldHangUp = Catch(SIGHUP, SIG_IGN);
}

void Interruption::Close() {
    if (!isOpen) return;
    std::signal(SIGINT, oldInterrupt);
    std::signal(SIGHUP, oldHangUp);
    isOpen = false;
}

bool Interruption::Asked() {
    return asked.exchange(false);
}

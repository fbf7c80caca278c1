#include "terminal/Interruption.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

namespace {

constexpr time_t kAgainSeconds = 5;

std::atomic<const char*> whatIsLeft{nullptr};  // null: the window is closed
std::atomic<const char*> lineStart{""};
std::atomic<time_t> firstAt{0};
struct sigaction oldInterrupt {};
struct sigaction oldHangUp {};

void Put(const char* text) {
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) return;
}

// Calls nothing but what a handler may.
void OnInterrupt(int number) {
    const int before = errno;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (firstAt != 0 && now.tv_sec - firstAt < kAgainSeconds) {
        std::signal(number, SIG_DFL);
        raise(number);  // comes when the handler has returned
        return;
    }
    firstAt = now.tv_sec;
    Put(lineStart);
    Put("If the run ends now, ");
    Put(whatIsLeft);
    Put(".\nPress Ctrl-C again within five seconds to end it all the same.\n");
    errno = before;
}

/// A signal that is ignored already stays so.
void Catch(int number, void (*handler)(int), struct sigaction& old) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(number, nullptr, &old);
    if (old.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
}

}  // namespace

void Interruption::Open(const char* leaves, bool plain) {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) return;
    const bool opens = whatIsLeft == nullptr;
    whatIsLeft = leaves;
    lineStart = plain ? "\n" : "\r\033[K";
    if (!opens) return;
    firstAt = 0;
    Catch(SIGINT, OnInterrupt, oldInterrupt);
    Catch(SIGHUP, SIG_IGN, oldHangUp);
}

void Interruption::Close() {
    if (whatIsLeft == nullptr) return;
    sigaction(SIGINT, &oldInterrupt, nullptr);
    sigaction(SIGHUP, &oldHangUp, nullptr);
    whatIsLeft = nullptr;
}

// Linked to a test program, interrupts whatever blocks in it, two thousand times a second: signals that go to
// a handler without SA_RESTART, as an embedder's may be.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>

namespace {

class SignalStorm final : public testing::Environment {
    void SetUp() override {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, 500}, {0, 500}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    void TearDown() override {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
    }
};

testing::Environment* const kStorm = testing::AddGlobalTestEnvironment(new SignalStorm);

}  // namespace

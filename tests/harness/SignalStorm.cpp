// Linked to a test program, interrupts whatever blocks in its main thread, a thousand times a second: signals
// that go to a handler without SA_RESTART, as an embedder's may be.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

namespace {

class SignalStorm final : public testing::Environment {
    void SetUp() override {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        thread_ = std::thread([this, target = pthread_self()] {
            for (; !over_; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
                pthread_kill(target, SIGALRM);
        });
    }
    void TearDown() override {
        over_ = true;
        thread_.join();
    }
    std::atomic<bool> over_{false};
    std::thread thread_;
};

testing::Environment* const kStorm = testing::AddGlobalTestEnvironment(new SignalStorm);

}  // namespace

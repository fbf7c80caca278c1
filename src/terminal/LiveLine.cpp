#include "terminal/LiveLine.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "support/Text.h"
#include "terminal/Interruption.h"

namespace {

constexpr char kErase[] = "\r\033[K";
constexpr char kStrong[] = "\033[1;31m";
constexpr char kUsual[] = "\033[0m";
constexpr int kUsualWidth = 80;
constexpr std::uint64_t kTurnUs = 100000;
constexpr unsigned int kEndMs = 2000;
constexpr std::int64_t kSecond = 1000000;
constexpr std::int64_t kStallUs = 30 * kSecond;
constexpr std::int64_t kRateUs = kSecond / 2;  // before it, a rate says nothing

/// A terminal that went away takes nothing, and nobody minds.
void Put(const std::string& text) {
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) return;
}

/// What a file or a printer brought steers no terminal; each byte is one column.
std::string Harmless(std::string text) {
    BlankControls(text.begin(), text.end());
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c > '~'; }, '?');
    return text;
}

std::string Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// Asked each time: the window may have been made larger or smaller.
std::size_t Width() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    const int columns = std::atoi(Variable("COLUMNS").c_str());
    return static_cast<std::size_t>(columns > 0 ? columns : kUsualWidth);
}

std::string Kilobytes(std::int64_t bytes) {
    return std::to_string((bytes + 1023) / 1024);
}

/// How far it is: what is left of a wait, or what has become of bytes.
std::string Figures(const Progress& progress, std::int64_t now) {
    if (progress.limitUs > now)
        return " at most " + std::to_string((progress.limitUs - now + kSecond - 1) / kSecond) + " s:";
    if (!progress.counts || progress.total == 0) return "";
    // The whole is reached when the procedure ends, not when its bytes are gone.
    std::string text =
        " " + std::to_string(std::min<std::int64_t>(progress.sent * 100 / progress.total, 99)) + " %";
    const std::int64_t took = now - progress.fromUs;
    const std::int64_t rate = took >= kRateUs ? progress.gone * kSecond / took : 0;
    if (rate > 0)
        text += ", " + Kilobytes(rate) + " kB/s, " + std::to_string((progress.total - progress.sent) / rate) +
                " s left";
    return text + ", " + Kilobytes(progress.sent) + " of " + Kilobytes(progress.total) + " kB:";
}

}  // namespace

/// What both threads use, under the mutex but for what is set once.
struct LiveLine::State {
    std::mutex mutex;
    std::condition_variable changed;
    Progress progress;
    std::string pending;  // lines that stay
    std::string stalled;
    bool draws = false;
    bool plain = false;
    bool colours = false;
    bool shown = false;
    bool ends = false;
    bool ended = false;
    const std::int64_t startUs = Progress::Now();

    std::string Staying(const std::string& text, bool strong = false) const {
        return (colours && strong ? kStrong + Harmless(text) + kUsual : Harmless(text)) + "\n";
    }

    /// The live line, cut to the width of the terminal, which may begin a new line behind its last column.
    std::string Line(std::int64_t now) const {
        const std::int64_t seconds = (now - startUs) / kSecond;
        const std::int64_t silent = (now - progress.takenUs) / kSecond;
        const std::string two = std::to_string(seconds % 60 + 100).substr(1);
        const std::string what = progress.counts && silent >= kStallUs / kSecond
                                     ? " no byte taken for " + std::to_string(silent) + " s: "
                                     : Figures(progress, now) + " ";
        return kErase + Harmless(std::to_string(seconds / 60) + ":" + two + what + progress.text)
                            .substr(0, Width() - 1);
    }

    /// What is to be written now; `last`: nothing after it.
    std::string Turn(bool& last) {
        const std::lock_guard lock(mutex);
        const std::int64_t now = Progress::Now();
        last = ends;
        if (progress.counts && now - progress.takenUs >= kStallUs) pending += std::exchange(stalled, "");
        if (Interruption::Asked()) {
            pending += Staying(std::string("If the run ends now, ") + progress.leaves + ".", true) +
                       Staying("Press Ctrl-C again within five seconds to end it all the same.");
        }
        std::string text = std::exchange(pending, "");
        if (shown && (ends || !text.empty())) text.insert(0, kErase);
        shown = draws && !plain && !ends;
        return shown ? text + Line(now) : text;
    }
};

LiveLine::LiveLine(bool draws, const std::string& stalled, const std::string& advice)
    : state_(std::make_shared<State>()) {
    const std::string terminal = Variable("TERM");
    state_->draws = draws;
    state_->plain = terminal.empty() || terminal == "dumb";
    state_->colours = !state_->plain && Variable("NO_COLOR").empty();
    state_->stalled = state_->Staying(stalled) + state_->Staying(advice);
    if (isatty(STDERR_FILENO) == 0) return;
    auto kept = std::make_unique<std::shared_ptr<State>>(state_);
    running_ = pthread_create(&thread_, nullptr, Draw, kept.get()) == 0;
    if (running_) static_cast<void>(kept.release());
}

// Takes no signal: those that end the run, or are answered, are the other thread's.
void* LiveLine::Draw(void* state) {
    sigset_t all{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    const std::unique_ptr<std::shared_ptr<State>> owned(static_cast<std::shared_ptr<State>*>(state));
    State& mine = **owned;
    for (bool last = false; !last;) {
        Put(mine.Turn(last));
        if (!last) Clock::Get().SleepMicroseconds(kTurnUs);  // not a wait of the run's
    }
    const std::lock_guard lock(mine.mutex);
    mine.ended = true;
    mine.changed.notify_all();
    return nullptr;
}

void LiveLine::Change(const std::function<void(Progress&)>& change) {
    const std::lock_guard lock(state_->mutex);
    change(state_->progress);
}

void LiveLine::Print(const std::string& text, bool strong) {
    const std::string line = state_->Staying(text, strong);
    if (running_) {
        const std::lock_guard lock(state_->mutex);
        state_->pending += line;
        return;
    }
    pollfd terminal{STDERR_FILENO, POLLOUT, 0};
    held_ = held_ || poll(&terminal, 1, kEndMs) != 1;
    if (!held_) Put(line);
}

void LiveLine::Begin(const std::string& text) {
    if (state_->plain && state_->draws) Print(text);
}

void LiveLine::End() {
    if (!std::exchange(running_, false)) return;
    const std::chrono::milliseconds limit(Clock::Get().BlockingTimeout(kEndMs));
    std::unique_lock lock(state_->mutex);
    state_->ends = true;
    held_ = !state_->changed.wait_for(lock, limit, [this] { return state_->ended; });
    lock.unlock();
    static_cast<void>(held_ ? pthread_detach(thread_) : pthread_join(thread_, nullptr));
}

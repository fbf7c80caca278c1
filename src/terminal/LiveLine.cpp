#include "terminal/LiveLine.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "support/Text.h"

namespace {

constexpr char kErase[] = "\r\033[K";
constexpr char kStrong[] = "\033[1;31m";
constexpr char kUsual[] = "\033[0m";
constexpr int kUsualWidth = 80;
constexpr std::uint64_t kTurnUs = 100000;
constexpr int kEndSeconds = 2;  // the terminal's, whatever clock the run has
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

LiveLine::LiveLine(bool draws, const std::string& stalled, const std::string& advice) : draws_(draws) {
    const std::string terminal = Variable("TERM");
    plain_ = terminal.empty() || terminal == "dumb";
    colours_ = !plain_ && Variable("NO_COLOR").empty();
    stalled_ = Staying(stalled) + Staying(advice);
    running_ = isatty(STDERR_FILENO) != 0 && pthread_create(&thread_, nullptr, Draw, this) == 0;
}

std::string LiveLine::Staying(const std::string& text, bool strong) const {
    return (colours_ && strong ? kStrong + Harmless(text) + kUsual : Harmless(text)) + "\n";
}

/// The live line, cut to the width of the terminal, which may begin a new line behind its last column.
std::string LiveLine::Line(std::int64_t now) const {
    const std::int64_t seconds = (now - startUs_) / kSecond;
    const std::int64_t silent = (now - progress_.takenUs) / kSecond;
    const std::string two = std::to_string(seconds % 60 + 100).substr(1);
    const std::string what = progress_.counts && silent >= kStallUs / kSecond
                                 ? " no byte taken for " + std::to_string(silent) + " s: "
                                 : Figures(progress_, now) + " ";
    return kErase +
           Harmless(std::to_string(seconds / 60) + ":" + two + what + progress_.text).substr(0, Width() - 1);
}

std::string LiveLine::Turn(bool& last) {
    const std::lock_guard lock(mutex_);
    const std::int64_t now = Progress::Now();
    last = ends_;
    if (progress_.counts && now - progress_.takenUs >= kStallUs) pending_ += std::exchange(stalled_, "");
    if (Interruption::Asked()) {
        pending_ += Staying(std::string("If the run ends now, ") + progress_.leaves + ".", true) +
                    Staying("Press Ctrl-C again within five seconds to end it all the same.");
    }
    std::string text = std::exchange(pending_, "");
    if (shown_ && (ends_ || !text.empty())) text.insert(0, kErase);
    shown_ = draws_ && !plain_ && !ends_;
    return shown_ ? text + Line(now) : text;
}

// Takes no signal: those that end the run, or are answered, are the other thread's.
void* LiveLine::Draw(void* line) {
    sigset_t all{};
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    for (bool last = false; !last;) {
        Put(static_cast<LiveLine*>(line)->Turn(last));
        if (!last) Clock::Get().SleepMicroseconds(kTurnUs);  // not a wait of the run's
    }
    return nullptr;
}

void LiveLine::Change(const std::function<void(Progress&)>& change) {
    const std::lock_guard lock(mutex_);
    change(progress_);
}

void LiveLine::Print(const std::string& text, bool strong) {
    const std::string line = Staying(text, strong);
    if (running_) {
        const std::lock_guard lock(mutex_);
        pending_ += line;
        return;
    }
    pollfd terminal{STDERR_FILENO, POLLOUT, 0};
    held_ = held_ || poll(&terminal, 1, kEndSeconds * 1000) != 1;
    if (!held_) Put(line);
}

void LiveLine::End() {
    if (!std::exchange(running_, false)) return;
    Change([this](Progress&) { ends_ = true; });
    timespec limit{};
    clock_gettime(CLOCK_MONOTONIC, &limit);
    limit.tv_sec += kEndSeconds;
    held_ = pthread_clockjoin_np(thread_, nullptr, CLOCK_MONOTONIC, &limit) != 0;
    if (!held_) return;
    pthread_cancel(thread_);  // out of its write
    pthread_join(thread_, nullptr);
}

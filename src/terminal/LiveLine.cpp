#include "terminal/LiveLine.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "support/Text.h"

namespace {

constexpr char kErase[] = "\r\033[K";
constexpr char kWaiting[] = "\033[33m";
constexpr char kStrong[] = "\033[1;31m";
constexpr char kUsual[] = "\033[0m";
constexpr std::size_t kUsualWidth = 80;

/// One write, so that nothing comes between. A terminal that went away takes nothing, and nobody minds.
void Put(const std::string& text) {
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) return;
}

/// What a file or a printer brought steers no terminal; each byte is one column.
std::string Shown(std::string text) {
    BlankControls(text.begin(), text.end());
    for (char& c : text) c = static_cast<unsigned char>(c) > 0x7E ? '?' : c;
    return text;
}

bool Set(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

}  // namespace

LiveLine::LiveLine(bool draws)
    : draws_(draws),
      plain_(!Set("TERM") || std::strcmp(std::getenv("TERM"), "dumb") == 0),
      colours_(!plain_ && !Set("NO_COLOR")) {}

// Asked each time: the window may have been made larger or smaller.
std::size_t LiveLine::Width() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    const long columns = Set("COLUMNS") ? std::strtol(std::getenv("COLUMNS"), nullptr, 10) : 0;
    return columns > 0 ? static_cast<std::size_t>(columns) : kUsualWidth;
}

void LiveLine::Draw(const std::vector<std::string>& pieces, bool waiting) {
    if (!Draws() || pieces.empty()) return;
    const std::size_t room = Width() - 1;  // a terminal may begin a new line behind the last column
    const std::size_t kept = waiting && pieces.size() > 1 ? pieces[1].size() + 2 : 0;
    std::string line = Shown(pieces[0]).substr(0, room - std::min(room, kept));
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        if (line.size() + 2 + pieces[i].size() <= room) line += ", " + Shown(pieces[i]);
    }
    Put(kErase + (colours_ && waiting ? kWaiting + line + kUsual : line));
    shown_ = true;
}

void LiveLine::Erase() {
    if (shown_) Put(kErase);
    shown_ = false;
}

void LiveLine::Print(const std::string& text, bool strong) {
    Erase();
    Put((colours_ && strong ? kStrong + Shown(text) + kUsual : Shown(text)) + "\n");
}

void LiveLine::Begin(const std::string& text) {
    if (!draws_ || !plain_ || text == begun_) return;
    begun_ = text;
    Print(text);
}

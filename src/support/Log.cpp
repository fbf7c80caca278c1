#include "support/Log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string_view>

#include "support/Clock.h"
#include "support/Listener.h"
#include "support/Text.h"

std::uint32_t Log::m_dwLogType = 0;
bool Log::m_bLogDataToo = false;
std::FILE* Log::m_TextFile = nullptr;
char Log::m_strFileName[200] = {};

namespace {

constexpr std::uint32_t kTerminal = 1;
constexpr std::uint32_t kFile = 2;
constexpr std::size_t kFormattedSize = 1024;
// Room for a formatted text of full length behind any stamp and tag, and for longer plain texts.
constexpr std::size_t kLineSize = 8192;
constexpr unsigned int kDumpRow = 16;

// A pipe that can be written to takes this much, and nothing waits.
constexpr std::size_t kMostAtOnce = PIPE_BUF;
constexpr std::int64_t kMostStalledMs = 5000;

/// Waits until standard output takes what is printed. False when its reader has stalled: lines are lost from
/// then until it reads again, since no printer may be kept waiting for ever amid its firmware.
bool IsOutputTaken() {
    static bool stalled = false;
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    const Deadline deadline(Wait{stalled ? 0 : kMostStalledMs});
    int ready = 0;
    do {
        const auto left = static_cast<unsigned int>(deadline.LeftMs());
        ready = poll(&output, 1, static_cast<int>(Clock::Get().BlockingTimeout(left)));
    } while (ready == -1 && errno == EINTR && !deadline.IsOver());
    stalled = ready == 0;
    return !stalled;
}

bool Enabled() {
    return Log::m_dwLogType != 0 && Log::m_bLogDataToo;
}

void Output(const char* line) {
    if (Log::m_dwLogType == kFile) Log::WriteToFile(line);
    if (Log::m_dwLogType == kTerminal) Log::WriteToVideo(line);
}

/// Stamps the line and puts it out.
void Emit(const char* tag, const char* text) {
    timeval now{};
    Clock::Get().Now(now);
    tm calendar{};
    localtime_r(&now.tv_sec, &calendar);
    std::array<char, kLineSize> line{};
    std::snprintf(line.data(), line.size(), "[%d/%02d/%02d %02d:%02d:%02d.%03ld][%s]%s",
                  calendar.tm_year + 1900, calendar.tm_mon + 1, calendar.tm_mday, calendar.tm_hour,
                  calendar.tm_min, calendar.tm_sec, now.tv_usec / 1000, tag, text);
    const std::size_t length = std::strlen(line.data());
    BlankControls(line.data(), line.data() + length - (line[length - 1] == '\n' ? 1 : 0));
    Output(line.data());
}

char DumpCharacter(unsigned char byte) {
    // kept: a percent sign is shown as a dot too
    const bool shown = byte >= 32 && byte <= 126 && byte != '%';
    return shown ? static_cast<char>(byte) : '.';
}

std::string DumpRow(const unsigned char* data, unsigned int offset, unsigned int length) {
    const unsigned int count = std::min(kDumpRow, length - offset);
    std::array<char, 16> cell{};
    std::string row(10, '\t');
    std::snprintf(cell.data(), cell.size(), "%04x:", offset);
    row += cell.data();
    for (unsigned int i = 0; i < count; ++i) {
        std::snprintf(cell.data(), cell.size(), " %02x", static_cast<unsigned int>(data[offset + i]));
        row += cell.data();
    }
    row.append(std::size_t{3} * (kDumpRow - count) + 3, ' ');
    std::transform(data + offset, data + offset + count, std::back_inserter(row), DumpCharacter);
    return row;
}

}  // namespace

void Log::SetLogEnable(unsigned int type, bool dataToo) {
    m_dwLogType = type;
    if (type != 0) m_bLogDataToo = dataToo;
    std::snprintf(m_strFileName, sizeof m_strFileName, "data.log");
}

void Log::WriteLog(const char* tag, const char* text) {
    if (Listener* const listener = Listener::Get()) listener->OnLine(tag, text, text);
    if (Enabled()) Emit(tag, text);
}

void Log::WriteLogP(const char* tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    WriteLogV(tag, format, arguments);
    va_end(arguments);
}

void Log::WriteLogV(const char* tag, const char* format, std::va_list arguments) {
    Listener* const listener = Listener::Get();
    if (!Enabled() && listener == nullptr) return;
    std::array<char, kFormattedSize> text{};
    const int size = std::vsnprintf(text.data(), text.size(), format, arguments);
    // A line feed at the end is the format's own or an argument's, which ends no line.
    const std::string_view own(format);
    if (own.empty() || own.back() != '\n' || size >= static_cast<int>(text.size())) {
        BlankControls(text.begin(), std::find(text.begin(), text.end(), '\0'));
    }
    if (listener != nullptr) listener->OnLine(tag, format, text.data());
    if (Enabled()) Emit(tag, text.data());
}

bool Log::Fail(const char* tag, const char* text) {
    WriteLog(tag, text);
    return false;
}

bool Log::FailP(const char* tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    WriteLogV(tag, format, arguments);
    va_end(arguments);
    return false;
}

void Log::Write(const char* tag, const std::string& text) {
    WriteLog(tag, text.c_str());
}

void Log::WriteLogData(const char* tag, const char* text, const unsigned char* data, unsigned int length) {
    if (!Enabled()) return;
    WriteLog(tag, text);
    for (std::uint64_t offset = 0; offset < length; offset += kDumpRow) {
        Output(DumpRow(data, static_cast<unsigned int>(offset), length).c_str());
    }
}

void Log::OpenLogFile() {
    CloseLogFile();
    m_TextFile = std::fopen(m_strFileName, "ae");
}

bool Log::CloseLogFile() {
    if (m_TextFile == nullptr) return false;
    const bool failed = std::fclose(m_TextFile) != 0;
    m_TextFile = nullptr;
    return failed;
}

void Log::WriteToVideo(const char* line) {
    const std::string text = std::string(line) + '\n';
    for (std::size_t at = 0; at < text.size(); at += kMostAtOnce) {
        if (!IsOutputTaken()) return;
        std::fwrite(text.data() + at, 1, std::min(kMostAtOnce, text.size() - at), stdout);
    }
}

void Log::WriteToFile(const char* line) {
    if (m_TextFile == nullptr) OpenLogFile();
    if (m_TextFile == nullptr) return;
    std::fputs(line, m_TextFile);
    CloseLogFile();
}

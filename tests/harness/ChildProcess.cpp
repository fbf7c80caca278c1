#include "harness/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <map>

namespace {

// A program that writes without end is as stuck as one that writes nothing.
constexpr std::size_t kMostOutput = std::size_t{64} << 20;

std::vector<std::string> MergedEnvironment(const ChildProcess::Environment& extra) {
    std::map<std::string, std::string> merged;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::size_t equals = text.find('=');
        if (equals != std::string::npos) merged[text.substr(0, equals)] = text.substr(equals + 1);
    }
    for (const auto& [name, value] : extra) merged[name] = value;
    std::vector<std::string> lines;
    lines.reserve(merged.size());
    for (const auto& [name, value] : merged) lines.push_back(std::string(name).append("=").append(value));
    return lines;
}

/// The null-terminated array that exec wants; it points into `texts`.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const Environment& extra) {
    int ends[2];
    if (argv.empty() || pipe2(ends, O_CLOEXEC) != 0) return;
    std::vector<std::string> arguments = argv;
    std::vector<std::string> environment = MergedEnvironment(extra);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    if (posix_spawnp(&pid_, arguments[0].c_str(), &actions, nullptr, Pointers(arguments).data(),
                     Pointers(environment).data()) != 0)
        pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    pipe_ = ends[0];
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        Signal(SIGKILL);
        Reap();
    }
    if (pipe_ >= 0) close(pipe_);
}

void ChildProcess::Signal(int number) {
    if (pid_ > 0) kill(pid_, number);
}

/// False at the end of the output and when nothing comes.
bool ChildProcess::ReadMore(int idleMs) {
    if (output_.size() > kMostOutput) return false;
    pollfd wanted{pipe_, POLLIN, 0};
    int ready = 0;
    do ready = poll(&wanted, 1, idleMs);
    while (ready < 0 && errno == EINTR);
    if (ready <= 0) return false;
    char chunk[4096];
    const ssize_t got = read(pipe_, chunk, sizeof chunk);
    if (got <= 0) return false;
    output_.append(chunk, static_cast<std::size_t>(got));
    return true;
}

bool ChildProcess::WaitForText(const std::string& text, int idleMs) {
    while (output_.find(text) == std::string::npos)
        if (!ReadMore(idleMs)) return false;
    return true;
}

int ChildProcess::WaitForEnd(int idleMs) {
    if (pid_ <= 0) return status_;
    while (ReadMore(idleMs)) {
    }
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    pollfd ended{handle, POLLIN, 0};
    // The pipe is at its end, or silent: a program that has closed its output has little left to do.
    const bool stuck = poll(&ended, 1, output_.size() > kMostOutput ? 0 : 2000) <= 0;
    close(handle);
    if (stuck) Signal(SIGKILL);
    const int status = Reap();
    if (stuck) status_ = kStuck;
    return stuck ? kStuck : status;
}

int ChildProcess::Reap() {
    int wait = 0;
    while (waitpid(pid_, &wait, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    status_ = WIFEXITED(wait) ? WEXITSTATUS(wait) : kSignalled + WTERMSIG(wait);
    return status_;
}

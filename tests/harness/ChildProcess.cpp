#include "harness/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

static constexpr int kIdleMs = 40000;

ChildProcess::ChildProcess(std::vector<std::string> argv, const Environment& extra) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    pipe_ = ends[0];
    std::vector<char*> words;
    for (std::string& word : argv) words.push_back(word.data());
    words.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        for (const auto& [name, value] : extra) setenv(name.c_str(), value.c_str(), 1);
        for (const int number : {SIGINT, SIGHUP}) std::signal(number, SIG_DFL);  // nohup has them ignored
        dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) dup2(ends[1], stream);
        execvp(words[0], words.data());
        _exit(127);
    }
    close(ends[1]);
}

ChildProcess::~ChildProcess() {
    Signal(SIGKILL);
    WaitForEnd();
    close(pipe_);
}

void ChildProcess::Signal(int number) {
    if (pid_ > 0) kill(pid_, number);
}

/// False at the end of the output and when nothing comes; the program is killed when that, or no end, comes.
bool ChildProcess::ReadMore() {
    pollfd wanted{pipe_, POLLIN, 0};
    if (poll(&wanted, 1, kIdleMs) != 1) Signal(SIGKILL);
    char chunk[4096];
    const ssize_t got = read(pipe_, chunk, sizeof chunk);
    if (got > 0) output_.append(chunk, static_cast<std::size_t>(got));
    return got > 0;
}

bool ChildProcess::WaitForText(const std::string& text) {
    while (output_.find(text) == std::string::npos)
        if (!ReadMore()) return false;
    return true;
}

int ChildProcess::WaitForEnd() {
    while (pid_ > 0 && ReadMore()) {
    }
    int status = 0;
    if (pid_ <= 0 || waitpid(pid_, &status, 0) != pid_) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

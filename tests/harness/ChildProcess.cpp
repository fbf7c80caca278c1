#include "harness/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

namespace {

/// The null-terminated array that exec wants; it points into `texts`.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const Environment& extra) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    pipe_.Reset(ends[0]);
    const OwnedDescriptor output(ends[1]);
    std::vector<std::string> arguments = argv;
    std::vector<std::string> environment;  // of two values of a name the first one counts
    for (const auto& [name, value] : extra)
        environment.push_back(std::string(name).append("=").append(value));
    for (char** entry = environ; *entry != nullptr; ++entry) environment.emplace_back(*entry);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.Get(), STDERR_FILENO);
    if (posix_spawnp(&pid_, arguments[0].c_str(), &actions, nullptr, Pointers(arguments).data(),
                     Pointers(environment).data()) != 0)
        pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
}

void ChildProcess::Signal(int number) {
    if (pid_ > 0) kill(pid_, number);
}

/// False at the end of the output and when nothing comes.
bool ChildProcess::ReadMore(int idleMs) {
    const std::string got = ReceiveSome(pipe_, 4096, idleMs);
    output_ += got;
    return !got.empty();
}

bool ChildProcess::WaitForText(const std::string& text, int idleMs) {
    while (output_.find(text) == std::string::npos)
        if (!ReadMore(idleMs)) return false;
    return true;
}

int ChildProcess::WaitForEnd(int idleMs) {
    while (ReadMore(idleMs)) {
    }
    // The output is at its end, or the program is stuck.
    pollfd ended{pipe_.Get(), POLLIN, 0};
    if (poll(&ended, 1, 0) != 1) Signal(SIGKILL);
    return End();
}

int ChildProcess::End() {
    int wait = 0;
    if (pid_ <= 0 || waitpid(std::exchange(pid_, -1), &wait, 0) < 0) return -1;
    return WIFEXITED(wait) ? WEXITSTATUS(wait) : kSignalled + WTERMSIG(wait);
}

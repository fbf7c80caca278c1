#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

/// A program run beside the test, with its standard output and standard error collected as one text. Ended
/// with SIGKILL, if it still runs, when the object goes.
class ChildProcess {
 public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    static constexpr int kSignalled = 1000;  ///< WaitForEnd: plus the number of the signal

    /// Starts `argv` (the program by path, or looked up in PATH) with this process's environment and `extra`
    /// on top of it. Standard input is empty.
    explicit ChildProcess(std::vector<std::string> argv, const Environment& extra = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits until `text` is in the output. False when the output ends without it or brings nothing for long.
    bool WaitForText(const std::string& text);
    /// Waits until the program has ended and gives its exit status, or kSignalled and more. A program that
    /// writes nothing for long is killed.
    int WaitForEnd();
    void Signal(int number);
    /// What the program has written so far, as far as the waits have read it.
    const std::string& Output() const { return output_; }

 private:
    bool ReadMore();

    pid_t pid_ = -1;
    int pipe_ = -1;
    std::string output_;
};

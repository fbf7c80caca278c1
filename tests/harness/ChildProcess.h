#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "harness/Descriptors.h"

/// A program run beside the test, with its standard output and standard error collected as one text. Ended
/// with SIGKILL, if it still runs, when the object goes.
class ChildProcess {
 public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    static constexpr int kSignalled = 1000;  ///< WaitForEnd: plus the number of the signal

    /// Starts `argv` (the program by path, or looked up in PATH) with `extra` before this process's own
    /// environment. Standard input is empty.
    explicit ChildProcess(const std::vector<std::string>& argv, const Environment& extra = {});
    ~ChildProcess() {
        Signal(SIGKILL);
        End();
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits until `text` is in the output. False when the output ends without it or brings nothing for
    /// `idleMs`.
    bool WaitForText(const std::string& text, int idleMs = 20000);

    /// Waits until the program has ended and gives its exit status, or the signal that ended it; -1 when it
    /// was not started. A program that writes nothing for `idleMs` is killed.
    int WaitForEnd(int idleMs = 60000);

    void Signal(int number);

    /// What the program has written so far, as far as the waits have read it.
    const std::string& Output() const { return output_; }

 private:
    bool ReadMore(int idleMs);
    int End();

    pid_t pid_ = -1;
    OwnedDescriptor pipe_;
    std::string output_;
};

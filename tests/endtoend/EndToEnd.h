#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "harness/ChildProcess.h"
#include "harness/LogCapture.h"
#include "simulator/LineTransport.h"
#include "simulator/PrinterModel.h"
#include "simulator/SampleFiles.h"
#include "simulator/ScaledClock.h"
#include "simulator/SynchronizedModel.h"
#include "simulator/usb/UsbTransport.h"

/// Runs of the built program against the simulated printer, both on clocks that run at the same rate.
namespace endtoend {

constexpr int kSuccess = 0;
constexpr int kFailure = 255;

/// How a program is started: the rate of its clock, the real milliseconds that its blocking calls last at
/// least (an answer that is this late is lost), and the command that it is handed to, if any.
struct Start {
    unsigned rate = 100;
    unsigned floorMs = 1500;
    Lines by = {};
};

/// How a run ended and what it printed, log lines without their stamps ("[tag]text").
struct RunResult {
    int status = -1;
    Lines lines;

    bool Has(const std::string& line) const;
};
/// For the message of a failed expectation.
std::ostream& operator<<(std::ostream& out, const RunResult& run);

/// The program, started with these words; `environment` comes on top of the test's own.
class Program {
 public:
    explicit Program(const Lines& words, const ChildProcess::Environment& environment = {},
                     const Start& start = {});
    RunResult End();
    ChildProcess& Process() { return process_; }

 private:
    ChildProcess process_;
};

/// A simulated printer on its line, running until the object goes. One at a time.
class Printer {
 public:
    /// A printer on USB, and one with a boot device, has a bus of its own; `look` is how it shows itself
    /// there.
    explicit Printer(const simulator::PrinterOptions& options, const simulator::UsbDescription& look = {},
                     const Start& start = {});

    /// Starts, or runs, the program with the words given and those that name the port, unless `-d` is among
    /// the words given.
    Program Begin(Lines words);
    RunResult Run(const Lines& words) { return Begin(words).End(); }

    /// Reads the model while no transport uses it.
    template <class Function>
    auto Inspect(Function&& function) {
        return shared_.Inspect([&] { return std::forward<Function>(function)(model_); });
    }

    /// Fails the test unless the printer has, or soon will have, this release; firmware and modules are
    /// those of the sample then, and the host did nothing that a printer would not have stood.
    void ExpectHas(const std::string& release, const simulator::PackageSample& sample);

    std::string device;                    ///< as `-d` takes it
    std::optional<simulator::UsbBus> bus;  ///< for what else is plugged in

 private:
    Start start_;
    simulator::ScaledClock clock_;
    simulator::PrinterModel model_;
    simulator::SynchronizedModel shared_{model_};
    std::string type_;
    std::optional<simulator::TcpTransport> tcp_;
    std::optional<simulator::PtyTransport> pty_;
    std::optional<simulator::UsbTransport> usb_;
};

/// One more printer on the bus of another.
struct Neighbour {
    Neighbour(Printer& printer, const simulator::UsbIdentity& identity, const std::string& port);
    template <class Function>
    auto Inspect(Function&& function) {
        return shared.Inspect([&] { return function(model); });
    }

    simulator::PrinterModel model;
    simulator::SynchronizedModel shared{model};
    simulator::UsbTransport transport;
};

/// A file in a folder of its own, removed with the object.
class TemporaryFile {
 public:
    TemporaryFile(const std::string& name, const std::vector<unsigned char>& content);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();
    const std::string& Path() const { return path_; }

 private:
    std::string folder_;
    std::string path_;
};

}  // namespace endtoend

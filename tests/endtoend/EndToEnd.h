#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "harness/ChildProcess.h"
#include "simulator/PrinterModel.h"
#include "simulator/PrinterOptions.h"
#include "simulator/ScaledClock.h"
#include "simulator/SynchronizedModel.h"
#include "simulator/usb/UsbBus.h"

/// Runs of the built program against the simulated printer, both on clocks that run at the same rate.
namespace endtoend {

constexpr unsigned kRate = 100;
/// What the program's blocking calls last at least: an answer that is this late is lost.
constexpr unsigned kFloorMs = 150;

/// How a run ended and what it printed, log lines without their stamps ("[tag]text").
struct RunResult {
    static constexpr int kSuccess = 0;
    static constexpr int kFailure = 255;

    int status = -1;
    std::vector<std::string> lines;

    bool Has(const std::string& line) const { return Count(line) != 0; }
    int Count(const std::string& line) const;
    /// All lines, for the message of a failed expectation.
    std::string Text() const;
};

/// Fails the test unless the run ended with this verdict, its exit status, and the lines given in their order
/// (others may stand between).
void ExpectRun(const RunResult& run, bool success, const std::vector<std::string>& linesInOrder = {});

/// Runs the program with these words; `environment` comes on top of the test's own.
RunResult RunProgram(const std::vector<std::string>& words,
                     const ChildProcess::Environment& environment = {});

/// Carries a printer model to the program: which words name it, and what the program needs around it.
class Carrier {
 public:
    Carrier() = default;
    Carrier(const Carrier&) = delete;
    Carrier& operator=(const Carrier&) = delete;
    virtual ~Carrier() = default;
    virtual std::vector<std::string> Words() const = 0;
    virtual ChildProcess::Environment Environment() const { return {}; }
};

/// A simulated printer on its line, running until the object goes. One at a time.
class Printer {
 public:
    /// `look` is that of a printer on USB, which has a bus of its own.
    explicit Printer(const simulator::PrinterOptions& options, const simulator::UsbDescription& look = {});

    /// Runs the program against the printer: the words given, and those that name the port.
    RunResult Run(std::vector<std::string> words);

    /// What a program needs around it to reach the printer under other words.
    ChildProcess::Environment Environment() const { return carrier_->Environment(); }

    /// The bus of a printer on USB, for what else is plugged in.
    simulator::UsbBus& Bus() { return bus_.value(); }

    /// Reads the model while no transport uses it.
    template <class Function>
    auto Inspect(Function&& function) {
        return shared_.Inspect([&] { return std::forward<Function>(function)(model_); });
    }

    /// Fails the test if the host did what a printer would not have stood.
    void ExpectNoViolations();

 private:
    simulator::ScaledClock clock_{kRate, 1};
    simulator::PrinterModel model_;
    simulator::SynchronizedModel shared_{model_};
    std::optional<simulator::UsbBus> bus_;
    std::unique_ptr<Carrier> carrier_;
};

/// A file in the test's own folder, removed with the object.
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

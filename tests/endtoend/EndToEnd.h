#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "harness/ChildProcess.h"
#include "simulator/PrinterModel.h"
#include "simulator/PrinterOptions.h"
#include "simulator/SampleFiles.h"
#include "simulator/ScaledClock.h"
#include "simulator/SynchronizedModel.h"
#include "simulator/usb/UsbBus.h"

/// Runs of the built program against the simulated printer, both on clocks that run at the same rate.
namespace endtoend {

constexpr unsigned kRate = 100;
/// What the program's blocking calls last at least: an answer that is this late is lost.
constexpr unsigned kFloorMs = 300;

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

/// How a program is started: the rate of its clock, the real milliseconds that its blocking calls last at
/// least, and the command that it is handed to, if any.
struct Start {
    unsigned rate = kRate;
    unsigned floorMs = kFloorMs;
    std::vector<std::string> by = {};
};

/// Runs the program with these words; `environment` comes on top of the test's own.
RunResult RunProgram(const std::vector<std::string>& words, const ChildProcess::Environment& environment = {},
                     const Start& start = {});

/// Carries a printer model to the program.
class Carrier {
 public:
    Carrier() = default;
    Carrier(const Carrier&) = delete;
    Carrier& operator=(const Carrier&) = delete;
    virtual ~Carrier() = default;
    /// The words that name the model's port.
    virtual std::vector<std::string> Words() const = 0;
};

/// A simulated printer on its line, running until the object goes. One at a time.
class Printer {
 public:
    /// A printer on USB, and one with a boot device, has a bus of its own; `look` is how it shows itself
    /// there.
    explicit Printer(const simulator::PrinterOptions& options, const simulator::UsbDescription& look = {},
                     const Start& start = {});

    /// Runs the program against the printer: the words given, and those that name the port unless `-d` is
    /// among the words given.
    RunResult Run(std::vector<std::string> words);

    /// The device as `-d` takes it.
    std::string Device() const { return carrier_->Words().back(); }

    /// The bus of a printer that has one, for what else is plugged in.
    simulator::UsbBus& Bus() { return bus_.value(); }

    /// Reads the model while no transport uses it.
    template <class Function>
    auto Inspect(Function&& function) {
        return shared_.Inspect([&] { return std::forward<Function>(function)(model_); });
    }

    /// Waits until `holds` is true of the model, for some real seconds at most. Whether it became true.
    bool WaitUntil(const std::function<bool(const simulator::PrinterModel&)>& holds);

    /// Fails the test if the host did what a printer would not have stood.
    void ExpectNoViolations();

 private:
    Start start_;
    simulator::ScaledClock clock_;
    simulator::PrinterModel model_;
    simulator::SynchronizedModel shared_{model_};
    std::optional<simulator::UsbBus> bus_;
    std::unique_ptr<Carrier> carrier_;
    std::unique_ptr<Carrier> bootCarrier_;  ///< of a boot device whose printer is not on USB
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

/// A package whose firmware the test knows, in the new form with a font and a disk before it and a logo
/// after.
simulator::PackageSample Package(bool newForm, unsigned char key = 0x37, const std::string& release = "106",
                                 unsigned banks = simulator::PrinterOptions::kBankCount,
                                 std::size_t bankSize = simulator::PrinterOptions::kBankSize);

/// Writes the package, or module file, and runs the program with it and `-v`.
RunResult Upgrade(Printer& printer, const simulator::PackageSample& sample,
                  std::vector<std::string> words = {});
RunResult Download(Printer& printer, const simulator::Bytes& module, std::vector<std::string> words = {});

}  // namespace endtoend

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "harness/ChildProcess.h"
#include "harness/LogCapture.h"
#include "harness/TemporaryFile.h"
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

    bool Has(const std::string& line) const {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    /// For the message of a failed expectation.
    friend std::ostream& operator<<(std::ostream& out, const RunResult& run) {
        return out << "exit status " << run.status << "\n" << Joined(run.lines, "\n");
    }
};

/// The program, started with these words; `environment` comes on top of the test's own.
class Program : public ChildProcess {
 public:
    explicit Program(const Lines& words, Environment environment = {}, Start start = {})
        : ChildProcess(
              [&] {
                  start.by.emplace_back(TICKETFLASH_SCALED);
                  start.by.insert(start.by.end(), words.begin(), words.end());
                  return start.by;
              }(),
              [&] {
                  std::string clock = std::to_string(start.rate) + "," + std::to_string(start.floorMs);
                  environment.emplace_back("TICKETFLASH_TEST_CLOCK", std::move(clock));
                  return environment;
              }()) {}

    RunResult End() {
        RunResult result{WaitForEnd(), {}};
        std::istringstream output(Output());
        for (std::string line; std::getline(output, line);)
            result.lines.push_back(LogCapture::WithoutStamp(line));
        return result;
    }
};

/// A simulated printer on its line, running until the object goes. One at a time but on the bus of another.
class Printer {
 public:
    /// A printer on USB, and one with a boot device, has a bus of its own unless it is plugged in on that of
    /// `beside`; `look` is how it shows itself there.
    explicit Printer(const simulator::PrinterOptions& options, const simulator::UsbDescription& look = {},
                     const Start& start = {}, Printer* beside = nullptr)
        : start_(start), model_(options) {
        if (beside == nullptr) clock_.emplace(start.rate, 1);
        if (options.line == simulator::Line::Serial) {
            pty_.emplace(shared_).Start();
            device = {"-t", "ser", "-d", pty_->Path() + ":115200:HW"};
        } else if (options.line == simulator::Line::Ethernet) {
            tcp_.emplace(shared_, std::uint16_t{0}).Start();
            device = {"-t", "eth", "-d", "127.0.0.1:" + std::to_string(tcp_->Port())};
        }
        if (options.line != simulator::Line::Usb && !options.bootDevice) return;
        usb_.emplace(beside != nullptr ? *beside->bus_ : bus_.emplace(), shared_, look).Start();
    }

    /// Starts, or runs, the program with the words given and those that name the port, unless `-d` is among
    /// the words given.
    Program Begin(Lines words) {
        if (std::find(words.begin(), words.end(), "-d") == words.end())
            words.insert(words.end(), device.begin(), device.end());
        return Program(words, bus_ ? bus_->ChildEnvironment() : ChildProcess::Environment{}, start_);
    }
    RunResult Run(const Lines& words) { return Begin(words).End(); }

    /// Reads the model while no transport uses it.
    template <class Function>
    auto Inspect(Function function) {
        return shared_.Inspect([&] { return function(model_); });
    }

    /// Fails the test unless the printer has, or soon will have, this release; firmware and modules are
    /// those of the sample then, and the host did nothing that a printer would not have stood.
    void ExpectHas(const std::string& release, const simulator::PackageSample& sample) {
        const auto reports = [&](const auto& model) { return model.Release() == release; };
        for (int turn = 0; turn < 1000 && !Inspect(reports); ++turn)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        std::vector<simulator::Bytes> modules;
        for (const auto& module : sample.modules) modules.push_back(module.image);
        Inspect([&](const simulator::PrinterModel& model) {
            EXPECT_EQ(model.Release(), release);
            EXPECT_TRUE(model.FlashImage() == sample.firmware) << model.FlashImage().size();
            EXPECT_TRUE(model.Modules() == modules) << model.Modules().size();
            EXPECT_EQ(model.Violations(), Lines());
        });
    }

    Lines device{"-t", "usb", "-d", "ANY"};  ///< the words that name the port

 private:
    Start start_;
    std::optional<simulator::ScaledClock> clock_;
    std::optional<simulator::UsbBus> bus_;
    simulator::PrinterModel model_;
    simulator::SynchronizedModel shared_{model_};
    std::optional<simulator::TcpTransport> tcp_;
    std::optional<simulator::PtyTransport> pty_;
    std::optional<simulator::UsbTransport> usb_;
};

using ::TemporaryFile;

}  // namespace endtoend

#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "endtoend/EndToEnd.h"

namespace endtoend {

/// One run of the program against one printer, and what is expected of both: a row of a table of tests.
/// Unless told otherwise a package in the old form is sent, everything goes well, and the printer has it all.
class Scenario {
 public:
    using Lines = std::vector<std::string>;

    /// `what` follows procedure and line in the name of the test.
    Scenario(const std::string& procedure, simulator::Line line, const std::string& what);

    // What is tried.
    Scenario& NewForm(bool newForm = true);
    Scenario& Release(const std::string& release, unsigned char key);
    Scenario& Banks(unsigned banks, std::size_t bankSize);
    /// A module file in the package's place.
    Scenario& Sends(const simulator::ModuleSample& sample);
    Scenario& Words(const Lines& words);
    Scenario& Faults(std::vector<simulator::Fault> faults);
    Scenario& Looks(void (*change)(simulator::UsbDescription&));
    Scenario& Starts(const Start& start);
    /// Sets a member of the printer's options.
    template <class Member, class Value>
    Scenario& With(Member simulator::PrinterOptions::*member, const Value& value) {
        options_.*member = value;
        return *this;
    }
    template <class Value>
    Scenario& Usb(Value simulator::UsbIdentity::*member, const Value& value) {
        options_.usb.*member = value;
        return *this;
    }

    // How it ends.
    Scenario& Logs(const Lines& lines);
    /// The upgrade fails, and leaves this many banks and modules in the printer.
    Scenario& Fails(const Lines& lines, unsigned banks = 0, std::size_t modules = 0);
    /// What the printer has at the end, after this many groups of banks.
    Scenario& Holds(unsigned banks, std::size_t modules, int groups);
    Scenario& Groups(int groups);
    Scenario& Times(const std::string& line, int times);
    Scenario& Asked(simulator::Exchange exchange, int times);
    /// The printer has restarted this often and reports the release of its firmware.
    Scenario& Restarts(int restarts);
    /// The printer was lost while it was sent something: it may have seen half of it.
    Scenario& IsLost();

    /// Nothing is said of what the printer has.
    Scenario& HoldsAnything();

    /// Runs the program, and fails the test unless everything is as expected: verdict and exit status, whole
    /// lines in their order, the flash byte for byte, the modules, and nothing wrong in what was sent.
    void Check() const;
    /// The same with a printer of these options that is there already.
    void CheckOn(Printer& printer) const;
    const simulator::PrinterOptions& Options() const { return options_; }

    const std::string& Name() const { return name_; }

 private:
    void CheckPrinter(Printer& printer) const;
    std::vector<simulator::Bytes> ExpectedModules() const;
    std::string ReleaseAfter() const;

    std::string name_;
    simulator::PrinterOptions options_;
    simulator::UsbDescription look_;
    simulator::PackageSample package_;
    simulator::Bytes module_;
    Start start_;
    Lines words_;
    bool success_ = true;
    Lines lines_;
    std::vector<std::pair<std::string, int>> times_;
    std::vector<std::pair<simulator::Exchange, int>> asked_;
    unsigned heldBanks_ = 0;
    std::size_t heldModules_ = 0;
    std::optional<int> restarts_;
    bool lost_ = false;
    bool anything_ = false;
};

void PrintTo(const Scenario& scenario, std::ostream* out);

/// For INSTANTIATE_TEST_SUITE_P.
std::string NameOf(const testing::TestParamInfo<Scenario>& info);

}  // namespace endtoend

#include "endtoend/Scenario.h"

#include <algorithm>
#include <ostream>

using simulator::Bytes;
using simulator::Exchange;

namespace endtoend {

Scenario::Scenario(const std::string& procedure, simulator::Line line, const std::string& what) {
    constexpr const char* kLines[] = {"Serial", "Ethernet", "Usb"};
    name_ = procedure + kLines[static_cast<int>(line)] + what;
    options_.mode = procedure;
    options_.line = line;
    package_ = Package(false);
    Banks(package_.banks, package_.bankSize);
}

Scenario& Scenario::NewForm(bool newForm) {
    package_.newForm = newForm;
    package_.modules.clear();
    if (newForm) package_.modules = simulator::SampleFiles::UsualModules();
    heldModules_ = package_.modules.size();
    return *this;
}

Scenario& Scenario::Release(const std::string& release, unsigned char key) {
    package_.release = release;
    package_.key = key;
    return Banks(package_.banks, package_.bankSize);
}

Scenario& Scenario::Banks(unsigned banks, std::size_t bankSize) {
    options_.bankCount = package_.banks = heldBanks_ = banks;
    options_.bankSize = package_.bankSize = bankSize;
    package_.firmware = simulator::SampleFiles::MakeFirmware(package_.release, bankSize * banks);
    return Groups(1);
}

Scenario& Scenario::Sends(const simulator::ModuleSample& sample) {
    module_ = simulator::SampleFiles::MakeModule(sample);
    return Holds(0, 1, 0);
}

Scenario& Scenario::Words(const Lines& words) {
    words_.insert(words_.end(), words.begin(), words.end());
    return *this;
}

Scenario& Scenario::Faults(std::vector<simulator::Fault> faults) {
    options_.faults = std::move(faults);
    return *this;
}

Scenario& Scenario::Looks(void (*change)(simulator::UsbDescription&)) {
    change(look_);
    return *this;
}

Scenario& Scenario::Starts(const Start& start) {
    start_ = start;
    return *this;
}

Scenario& Scenario::Logs(const Lines& lines) {
    lines_.insert(lines_.end(), lines.begin(), lines.end());
    return *this;
}

Scenario& Scenario::Fails(const Lines& lines, unsigned banks, std::size_t modules) {
    success_ = false;
    return Logs(lines).Holds(banks, modules, banks > 0 ? 1 : 0);
}

Scenario& Scenario::Holds(unsigned banks, std::size_t modules, int groups) {
    heldBanks_ = banks;
    heldModules_ = modules;
    return Groups(groups);
}

Scenario& Scenario::Groups(int groups) {
    return Asked(Exchange::BankGroup, groups);
}

Scenario& Scenario::Times(const std::string& line, int times) {
    times_.emplace_back(line, times);
    return *this;
}

Scenario& Scenario::Asked(Exchange exchange, int times) {
    const auto there = std::find_if(asked_.begin(), asked_.end(),
                                    [exchange](const auto& each) { return each.first == exchange; });
    if (there == asked_.end())
        asked_.emplace_back(exchange, times);
    else
        there->second = times;
    return *this;
}

Scenario& Scenario::Restarts(int restarts) {
    restarts_ = restarts;
    return *this;
}

Scenario& Scenario::IsLost() {
    lost_ = true;
    return *this;
}

Scenario& Scenario::HoldsAnything() {
    anything_ = true;
    return *this;
}

void Scenario::Check() const {
    Printer printer{options_, look_, start_};
    CheckOn(printer);
}

void Scenario::CheckOn(Printer& printer) const {
    const RunResult run =
        module_.empty() ? Upgrade(printer, package_, words_) : Download(printer, module_, words_);
    ExpectRun(run, success_, lines_);
    for (const auto& [line, times] : times_) EXPECT_EQ(run.Count(line), times) << line << "\n" << run.Text();
    if (!anything_) CheckPrinter(printer);
}

/// The program may have ended with its last bytes still on the line, and the printer before its restart.
void Scenario::CheckPrinter(Printer& printer) const {
    const Bytes flash(
        package_.firmware.begin(),
        package_.firmware.begin() + static_cast<Bytes::difference_type>(heldBanks_ * package_.bankSize));
    printer.WaitUntil([&](const auto& model) { return model.FlashImage().size() == flash.size(); });
    if (restarts_) {
        EXPECT_TRUE(printer.WaitUntil([&](const auto& model) {
            return model.Restarts() == *restarts_ && model.Release() == ReleaseAfter();
        }));
    }
    if (!lost_) printer.ExpectNoViolations();
    printer.Inspect([&](const auto& model) {
        EXPECT_EQ(model.FlashImage(), flash);
        EXPECT_EQ(model.Modules(), ExpectedModules());
        if (flash.empty()) {
            EXPECT_EQ(model.Release(), options_.release);
        }
        for (const auto& [exchange, times] : asked_)
            EXPECT_EQ(model.Count(exchange), times) << ExchangeName(exchange);
    });
}

/// A package's modules are sent as they lie in it, each still scrambled with its own key.
std::vector<Bytes> Scenario::ExpectedModules() const {
    std::vector<Bytes> modules;
    if (!module_.empty()) modules.push_back(simulator::SampleFiles::AsSent(module_));
    for (const auto& module : package_.modules) modules.push_back(module.image);
    modules.resize(heldModules_);
    return modules;
}

std::string Scenario::ReleaseAfter() const {
    if (heldBanks_ == 0) return options_.release;
    return options_.releaseAfter.value_or(simulator::SampleFiles::ReleaseOf(package_.firmware));
}

void PrintTo(const Scenario& scenario, std::ostream* out) {
    *out << scenario.Name();
}

std::string NameOf(const testing::TestParamInfo<Scenario>& info) {
    return info.param.Name();
}

}  // namespace endtoend

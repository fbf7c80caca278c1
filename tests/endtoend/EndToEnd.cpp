#include "endtoend/EndToEnd.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "harness/LogCapture.h"
#include "simulator/PtyTransport.h"
#include "simulator/TcpTransport.h"
#include "simulator/usb/UsbTransport.h"

namespace endtoend {

namespace {

class TcpCarrier final : public Carrier {
 public:
    explicit TcpCarrier(simulator::DeviceModel& model) : transport_(model, 0) { transport_.Start(); }
    std::vector<std::string> Words() const override {
        return {"-t", "eth", "-d", "127.0.0.1:" + std::to_string(transport_.Port())};
    }

 private:
    simulator::TcpTransport transport_;
};

class SerialCarrier final : public Carrier {
 public:
    explicit SerialCarrier(simulator::DeviceModel& model) : transport_(model) { transport_.Start(); }
    std::vector<std::string> Words() const override {
        return {"-t", "ser", "-d", transport_.Path() + ":115200:HW"};
    }

 private:
    simulator::PtyTransport transport_;
};

class UsbCarrier final : public Carrier {
 public:
    UsbCarrier(simulator::UsbBus& bus, simulator::DeviceModel& model, const simulator::UsbDescription& look)
        : transport_(bus, model, look) {
        transport_.Start();
    }
    std::vector<std::string> Words() const override { return {"-t", "usb", "-d", "ANY"}; }

 private:
    simulator::UsbTransport transport_;
};

}  // namespace

int RunResult::Count(const std::string& line) const {
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

std::string RunResult::Text() const {
    std::string text = "exit status " + std::to_string(status) + "\n";
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

void ExpectRun(const RunResult& run, bool success, const std::vector<std::string>& linesInOrder) {
    EXPECT_EQ(run.status, success ? RunResult::kSuccess : RunResult::kFailure) << run.Text();
    ASSERT_FALSE(run.lines.empty());
    EXPECT_EQ(run.lines.back(), success ? "UPGRADE SUCCESS" : "UPGRADE FAILURE") << run.Text();
    auto from = run.lines.begin();
    for (const std::string& line : linesInOrder) {
        from = std::find(from, run.lines.end(), line);
        ASSERT_NE(from, run.lines.end()) << "not there, or not in this place: " << line << "\n" << run.Text();
        ++from;
    }
}

RunResult RunProgram(const std::vector<std::string>& words, const ChildProcess::Environment& environment,
                     const Start& start) {
    std::vector<std::string> argv = start.by;
    argv.push_back(TICKETFLASH_SCALED);
    argv.insert(argv.end(), words.begin(), words.end());
    ChildProcess::Environment all = environment;
    all.emplace_back("TICKETFLASH_TEST_CLOCK",
                     std::to_string(start.rate) + "," + std::to_string(start.floorMs));
    ChildProcess program(argv, all);
    RunResult result;
    result.status = program.WaitForEnd();
    std::istringstream output(program.Output());
    for (std::string line; std::getline(output, line);)
        result.lines.push_back(LogCapture::WithoutStamp(line));
    return result;
}

Printer::Printer(const simulator::PrinterOptions& options, const simulator::UsbDescription& look,
                 const Start& start)
    : start_(start), clock_(start.rate, 1), model_(options) {
    switch (options.line) {
        case simulator::Line::Serial:
            carrier_ = std::make_unique<SerialCarrier>(shared_);
            break;
        case simulator::Line::Ethernet:
            carrier_ = std::make_unique<TcpCarrier>(shared_);
            break;
        case simulator::Line::Usb:
            carrier_ = std::make_unique<UsbCarrier>(bus_.emplace(), shared_, look);
            return;
    }
    if (options.bootDevice) bootCarrier_ = std::make_unique<UsbCarrier>(bus_.emplace(), shared_, look);
}

RunResult Printer::Run(std::vector<std::string> words) {
    if (std::find(words.begin(), words.end(), "-d") == words.end()) {
        const std::vector<std::string> port = carrier_->Words();
        words.insert(words.end(), port.begin(), port.end());
    }
    return RunProgram(words, bus_ ? bus_->ChildEnvironment() : ChildProcess::Environment{}, start_);
}

bool Printer::WaitUntil(const std::function<bool(const simulator::PrinterModel&)>& holds) {
    for (int turn = 0; turn < 1000; ++turn) {
        if (Inspect(holds)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

void Printer::ExpectNoViolations() {
    for (const std::string& violation : Inspect([](const auto& model) { return model.Violations(); }))
        ADD_FAILURE() << "the printer would not have stood: " << violation;
}

TemporaryFile::TemporaryFile(const std::string& name, const std::vector<unsigned char>& content) {
    std::string pattern = testing::TempDir() + "ticketflash-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) return;
    folder_ = pattern;
    path_ = folder_ + "/" + name;
    std::ofstream file(path_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

TemporaryFile::~TemporaryFile() {
    unlink(path_.c_str());
    rmdir(folder_.c_str());
}

simulator::PackageSample Package(bool newForm, unsigned char key, const std::string& release, unsigned banks,
                                 std::size_t bankSize) {
    simulator::PackageSample sample;
    sample.newForm = newForm;
    sample.key = key;
    sample.release = release;
    sample.banks = banks;
    sample.bankSize = bankSize;
    sample.firmware = simulator::SampleFiles::MakeFirmware(release, bankSize * banks);
    if (newForm) sample.modules = simulator::SampleFiles::UsualModules();
    return sample;
}

RunResult Upgrade(Printer& printer, const simulator::PackageSample& sample, std::vector<std::string> words) {
    const TemporaryFile file("sample.pfw", simulator::SampleFiles::MakePackage(sample));
    words.insert(words.begin(), {"-f", file.Path(), "-v"});
    return printer.Run(words);
}

RunResult Download(Printer& printer, const simulator::Bytes& module, std::vector<std::string> words) {
    const TemporaryFile file("font.mod", module);
    words.insert(words.begin(), {"-f", file.Path(), "-v"});
    return printer.Run(words);
}

}  // namespace endtoend

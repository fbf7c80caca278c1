#include "endtoend/EndToEnd.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace endtoend {

bool RunResult::Has(const std::string& line) const {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::ostream& operator<<(std::ostream& out, const RunResult& run) {
    return out << "exit status " << run.status << "\n" << Joined(run.lines, "\n");
}

Program::Program(const Lines& words, const ChildProcess::Environment& environment, const Start& start)
    : process_(
          [&] {
              Lines argv = start.by;
              argv.emplace_back(TICKETFLASH_SCALED);
              argv.insert(argv.end(), words.begin(), words.end());
              return argv;
          }(),
          [&] {
              ChildProcess::Environment all = environment;
              all.emplace_back("TICKETFLASH_TEST_CLOCK",
                               std::to_string(start.rate) + "," + std::to_string(start.floorMs));
              return all;
          }()) {}

RunResult Program::End() {
    RunResult result;
    result.status = process_.WaitForEnd();
    std::istringstream output(process_.Output());
    for (std::string line; std::getline(output, line);)
        result.lines.push_back(LogCapture::WithoutStamp(line));
    return result;
}

Printer::Printer(const simulator::PrinterOptions& options, const simulator::UsbDescription& look,
                 const Start& start)
    : device("ANY"), start_(start), clock_(start.rate, 1), model_(options), type_("usb") {
    if (options.line == simulator::Line::Serial) {
        pty_.emplace(shared_).Start();
        type_ = "ser";
        device = pty_->Path() + ":115200:HW";
    } else if (options.line == simulator::Line::Ethernet) {
        tcp_.emplace(shared_, std::uint16_t{0}).Start();
        type_ = "eth";
        device = "127.0.0.1:" + std::to_string(tcp_->Port());
    }
    if (type_ == "usb" || options.bootDevice) usb_.emplace(bus.emplace(), shared_, look).Start();
}

Program Printer::Begin(Lines words) {
    if (std::find(words.begin(), words.end(), "-d") == words.end())
        words.insert(words.end(), {"-t", type_, "-d", device});
    return Program(words, bus ? bus->ChildEnvironment() : ChildProcess::Environment{}, start_);
}

void Printer::ExpectHas(const std::string& release, const simulator::PackageSample& sample) {
    const auto reports = [&](const simulator::PrinterModel& model) { return model.Release() == release; };
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

Neighbour::Neighbour(Printer& printer, const simulator::UsbIdentity& identity, const std::string& port)
    : model([&] {
          simulator::PrinterOptions options;
          options.line = simulator::Line::Usb;
          options.usb = identity;
          return options;
      }()),
      transport(*printer.bus, shared, [&] {
          simulator::UsbDescription look;
          look.port = port;
          return look;
      }()) {
    transport.Start();
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
    std::filesystem::remove_all(folder_);
}

}  // namespace endtoend

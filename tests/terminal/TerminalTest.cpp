// What a person at a terminal sees besides what the program prints: a live line, reasons, an answer to
// Ctrl-C.
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <future>
#include <list>
#include <mutex>
#include <regex>

#include "endtoend/EndToEnd.h"
#include "harness/PtyPair.h"
#include "harness/Rig.h"
#include "harness/TcpPeer.h"
#include "terminal/Session.h"

using endtoend::TemporaryFile;
using simulator::UsbFaults;
using Words::Cause;

namespace SampleFiles = simulator::SampleFiles;

namespace {

/// Whether all are there, each behind the one before.
bool InOrder(const std::string& seen, const Lines& texts) {
    std::size_t at = 0;
    for (const std::string& text : texts)
        if ((at = seen.find(text, at)) == std::string::npos) return false;
    return true;
}

/// A terminal: what is written to it is kept.
class Screen {
 public:
    explicit Screen(unsigned short columns) : slave_(open(pty_.Path(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        Resize(columns);
        reader_ = std::thread([this] {
            for (std::string some; !(some = pty_.ReceiveSome()).empty();) {
                const std::lock_guard lock(mutex_);
                text_ += some;
            }
        });
    }
    ~Screen() { End(); }
    void Resize(unsigned short columns) {
        const winsize size{24, columns, 0, 0};
        ioctl(slave_.Get(), TIOCSWINSZ, &size);
    }
    /// The command that starts a program with its standard input and standard error here.
    Lines Command(const std::string& more = "", const std::string& streams = "") {
        return {"bash", "-c",
                "exec " + more + " \"$0\" \"$@\" <" + pty_.Path() + " 2>" + pty_.Path() + streams};
    }
    std::string Text() {
        const std::lock_guard lock(mutex_);
        return text_;
    }
    bool WaitFor(const Lines& texts) {
        for (int turn = 0; turn < 2000 && !InOrder(Text(), texts); ++turn) poll(nullptr, 0, 10);
        return InOrder(Text(), texts);
    }
    /// All that was written, when nobody writes any more.
    std::string End() {
        slave_.Reset();
        if (reader_.joinable()) reader_.join();
        return text_;
    }

 private:
    PtyPair pty_;
    OwnedDescriptor slave_;
    std::mutex mutex_;
    std::string text_;
    std::thread reader_;
};

PrinterOptions On(Line line, const char* mode = "U3") {
    PrinterOptions options;
    options.line = line;
    options.mode = mode;
    options.usb = {0xF0F0, 0x0205, "ABC1"};
    options.bankSize = 60000;
    return options;
}

/// `font`: the size of the first of three modules, whose name is no text for a terminal.
simulator::PackageSample Package(std::size_t font = 20000) {
    simulator::PackageSample sample;
    sample.bankSize = 60000;
    sample.firmware = SampleFiles::MakeFirmware(sample.release, sample.bankSize * sample.banks);
    sample.modules = SampleFiles::UsualModules();
    simulator::ModuleSample first;
    first.code = "FNT\033[2J\xC3\xA4";
    first.bodySize = font;
    sample.modules[0].image = SampleFiles::MakeModule(first);
    return sample;
}

const TemporaryFile& PackageFile() {
    static const TemporaryFile file("sample.pfw", SampleFiles::MakePackage(Package()));
    return file;
}

/// A run at a terminal, whose printer goes on only when the terminal has shown what it should.
struct Watched {
    const char* variables;
    Line line;
    unsigned short columns, resized;  // 0: the terminal does not tell, and 60 is set
    const char* option = "";
    const char* streams = "";
    bool lives = true;

    void Start(std::optional<endtoend::Printer>& first) {
        screen = std::make_unique<Screen>(columns);
        PrinterOptions options = On(line);
        options.onEvent = [this](std::uint64_t, const std::string& event) { Hold(event); };
        const endtoend::Start start{
            50, 1500, screen->Command(std::string("env TERM=xterm COLUMNS=60 ") + variables, streams)};
        endtoend::Printer* const beside = first ? &*first : nullptr;
        auto& slot = beside == nullptr ? first : printer;
        slot.emplace(options, simulator::UsbDescription(), start, beside);
        const bool slow = line == Line::Ethernet;  // which takes all that is sent at once
        file = std::make_unique<TemporaryFile>(std::to_string(columns) + "large.pfw",
                                               SampleFiles::MakePackage(Package(slow ? 3000000 : 20000)));
        Lines words{"-f", file->path};
        if (*option != '\0') words.emplace_back(option);
        program.reset(new endtoend::Program(slot->Begin(words)));
    }
    void Hold(const std::string& event) {
        if (!lives) return;
        const bool usb = line == Line::Usb;  // whose write ends when the printer has taken all
        const auto begins = [&](const char* text) { return event.rfind(text, 0) == 0; };
        if (begins("asked for") && ++asked == 1) {
            EXPECT_TRUE(screen->WaitFor({usb ? "connecting to ANY" : "asking the printer"}));
        } else if (begins("module programmed") && ++modules == 1) {
            const char* const left = usb ? "no byte taken for 3" : "at most 5";
            EXPECT_TRUE(screen->WaitFor({left, usb ? " s: module 1 of 3" : " s: waiting for the p", left}));
            before = screen->Text().rfind('\r');  // where a line is whole
            screen->Resize(resized);
        } else if (begins("upgrade started") && line == Line::Serial) {
            EXPECT_TRUE(screen->WaitFor({"kB/s", "no byte for 30 s", "no byte taken for ", " s: firm"}));
        }
    }

    std::unique_ptr<Screen> screen = nullptr;
    std::unique_ptr<TemporaryFile> file = nullptr;
    std::optional<endtoend::Printer> printer = std::nullopt;
    std::unique_ptr<endtoend::Program> program = nullptr;
    std::size_t before = 0;
    int asked = 0, modules = 0;
};

/// The longest live line, without what colours it.
std::size_t Longest(const std::string& seen) {
    std::size_t longest = 0;
    for (std::size_t at = seen.find("\r\033[K"), end = 0; at != std::string::npos; at = end) {
        end = seen.find("\r\033[K", at + 4);
        const std::string frame = seen.substr(at + 4, end - at - 4);
        if (frame.find('\n') == std::string::npos) longest = std::max(longest, frame.size());
    }
    return longest;
}

TEST(Terminal, ALineLivesAtEachWidthAndLeavesTheContractAlone) {
    Watched rows[] = {{"", Line::Usb, 0, 120},
                      {"NO_COLOR=1", Line::Ethernet, 40, 40, "-v"},
                      {"", Line::Serial, 120, 40},
                      {"", Line::Serial, 90, 1, "-v", " >&2", false},
                      {"TERM=dumb", Line::Serial, 80, 80, "", "", false},
                      {"", Line::Serial, 70, 70, "", " 2>&1", false}};
    std::optional<endtoend::Printer> first;
    for (Watched& row : rows) row.Start(first);
    for (Watched& row : rows) {
        SCOPED_TRACE(std::to_string(row.columns) + row.variables + row.streams);
        const endtoend::RunResult run = row.program->End();
        const std::string seen = row.screen->End();
        EXPECT_EQ(run.status, endtoend::kSuccess) << seen;
        const bool logs = row.option == std::string("-v");
        const bool alone = logs && !row.lives;  // on the terminal with its log
        const bool unseen = row.streams == std::string(" 2>&1");
        EXPECT_TRUE(logs || run.lines.size() == 2) << run;
        EXPECT_TRUE(alone || run.lines.back() == "UPGRADE SUCCESS") << run;
        EXPECT_TRUE(!unseen || seen.empty()) << seen;
        if (unseen) continue;
        const Lines success{"has not confirmed it", "It should now report release 1.06: ticket", "\r\n"};
        EXPECT_TRUE(InOrder(seen, success)) << seen;
        EXPECT_EQ(seen.find("\033") != std::string::npos, row.lives) << seen;
        EXPECT_EQ(seen.find("100 %"), std::string::npos);
        EXPECT_EQ(seen.find("Sending bank...8/8 (100%)") != std::string::npos, alone);
        if (row.lives) {
            EXPECT_TRUE(InOrder(seen, {"kB/s", "at most 1", " s: waiting for the p"})) << seen;
            EXPECT_LT(Longest(seen.substr(0, row.before)), row.columns == 0 ? 60U : row.columns);
            EXPECT_LT(Longest(seen.substr((row.before + seen.size()) / 2)), row.resized);
        } else if (!alone) {
            const Lines order{
                "checking the file",     "connecting to", "asking",   "module 1 of 3 \"FNT [2J??\"",
                "program module 1 of 3", "to settle",     "firmware", "module 3 of 3"};
            EXPECT_TRUE(InOrder(seen, order)) << seen;
        }
    }
}

/// A printer on USB, and what is wrong with it.
struct OnBus {
    std::uint16_t vendor = 0xF0F0;
    const char* serial = "ABC1";
    const char* mode = "U3";
    bool UsbFaults::*fault = nullptr;

    endtoend::Printer Plug(const endtoend::Start& start, endtoend::Printer* beside = nullptr) const {
        PrinterOptions options = On(Line::Usb, mode);
        options.usb = {vendor, 0x0205, serial};
        simulator::UsbDescription look;
        look.port = beside == nullptr ? "1-1" : "1-2";
        if (fault != nullptr) look.faults.*fault = true;
        return endtoend::Printer{options, look, start, beside};
    }
};

/// What the program says at a terminal when it is started with these words, "@" standing for a folder, by
/// somebody who may not do everything.
std::string Said(const std::string& words, const std::string& folder, const std::vector<OnBus>& printers) {
    Screen screen(120);
    Lines split;
    std::istringstream stream(std::regex_replace(words, std::regex("@"), folder + "/"));
    for (std::string word; stream >> word;) split.push_back(word);
    const bool user = geteuid() == 0 && printers.empty();
    const std::string by = user ? "setpriv --reuid=65534 --clear-groups env TERM=dumb" : "env TERM=dumb";
    const endtoend::Start start{100, printers.empty() ? 50U : 1500U, screen.Command(by)};
    if (printers.empty()) {
        std::optional<simulator::UsbBus> bus;  // not where it is not needed: it spoils the errno of devices
        if (words.find("usb") != std::string::npos) bus.emplace();
        endtoend::Program(split, bus ? bus->ChildEnvironment() : ChildProcess::Environment(), start).End();
    } else {
        endtoend::Printer first = printers[0].Plug(start);
        const std::unique_ptr<endtoend::Printer> second(
            printers.size() > 1 ? new endtoend::Printer(printers[1].Plug(start, &first)) : nullptr);
        first.Run(split);
    }
    const std::string seen = std::regex_replace("\r\n" + screen.End(), std::regex(folder + "/"), "@");
    return std::regex_replace(
        seen, std::regex("\r\n(The printer has taken no byte.*\r\n.*\r\n|profiling:.*\r\n)*"), " ");
}

TEST(Terminal, SaysWhyWhatIsNamedCannotBeUsed) {
    const std::string folder = testing::TempDir() + "reasons" + std::to_string(getpid());
    std::filesystem::create_directories(folder + "/folder.pfw");
    const auto write = [&](const std::string& name, const simulator::Bytes& bytes) {
        std::ofstream(folder + "/" + name) << std::string(bytes.begin(), bytes.end());
    };
    const simulator::Bytes whole = SampleFiles::MakePackage(Package());
    const simulator::Bytes half(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
    for (const char* name : {"cut.pfw", "cut.mod", "shut.pfw", "sample.zip"}) write(name, half);
    write("sample.pfw", whole);
    write("empty.pfw", {});
    chmod((folder + "/shut.pfw").c_str(), 0);
    simulator::PackageSample records;
    records.firmware = SampleFiles::MakeRecords("106", 20);
    records.banks = 1;
    records.bankSize = records.firmware.size();
    write("records.pfw", SampleFiles::MakePackage(records));
    PtyPair held;
    const OwnedDescriptor holder(open(held.Path(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(chmod(held.Path(), 0666), 0);
    ioctl(holder.Get(), TIOCEXCL);
    EXPECT_EQ(symlink(held.Path(), (folder + "/held").c_str()), 0);
    const TcpListener full(0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(full.Get(), reinterpret_cast<sockaddr*>(&address), &size);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::vector<OwnedDescriptor> waiting;
    for (int i = 0; i < 3; ++i) {
        waiting.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        static_cast<void>(connect(waiting.back().Get(), reinterpret_cast<sockaddr*>(&address), size));
    }
    const std::string port = std::to_string(full.Port()), ask = "--printerversion -t ";
    std::string said;
    const auto play = [&](const std::string& words, const std::vector<OnBus>& printers = {}) {
        said += words + " =>" + Said(words, folder, printers) + "\n";
    };
    for (const char* file :
         {"none.pfw nonsense -m x", "sample.zip", "folder.pfw -t eth -d h:1", "shut.pfw -t eth -d h:1",
          "empty.pfw -t eth -d h:1", "cut.pfw -t eth -d h:1", "cut.mod -t eth -d h:1", "sample.pfw -t lan",
          "sample.pfw -t eth -d host", "sample.pfw -t usb -d 127.0.0.1:9110"})
        play("-f @" + std::string(file));
    for (const char* const device :
         {"eth -d ..:1", "eth -d 127.0.0.1:1", "eth -d 255.255.255.255:1", "ser -d @none:9600:HW",
          "ser -d @shut.pfw:9600:HW", "ser -d @held:9600:HW", "ser -d /dev/null:9600:HW",
          "ser -d /dev/null:9601:HW"})
        play(ask + device);
    play(ask + "eth -d 127.0.0.1:" + port);
    play("--usbdevlist");
    const std::string named = ask + "usb -d F0F0|0205|ABC1";
    play(named, {{}, {0xF0F0, "XYZ1"}});
    play(named + "X", {{}});
    for (const auto fault : {&UsbFaults::cannotOpen, &UsbFaults::cannotClaim, &UsbFaults::unconfigured})
        play(named, {{0xF0F0, "ABC1", "U3", fault}});
    play("-f @records.pfw", {{0xF0F0, "ABC1", "U6"}, {0x10C4, "0001"}});
    ExpectRecorded(
        "reasons",
        std::regex_replace(said, std::regex("\r|The printer has taken no byte.*\\s.*\n|(127.0.0.1:)" + port),
                           "$1"));
    std::filesystem::remove_all(folder);
}

// In the recorded runs, of which each reason is a part.
TEST(Terminal, SaysEachReason) {
    std::stringstream said;
    for (const char* const file : {"runs", "reasons"})
        said << std::ifstream(CONVERSATIONS "/" + std::string(file) + ".txt").rdbuf();
    for (int cause = 1; cause < static_cast<int>(Cause::kCount); ++cause) {
        std::istringstream parts(std::regex_replace(Words::Of(static_cast<Cause>(cause)).happened,
                                                    std::regex("\\{[a-z]+\\}"), "\n"));
        std::string longest;
        for (std::string part; std::getline(parts, part);)
            if (part.size() > longest.size()) longest = part;
        const bool shown = static_cast<Cause>(cause) == Cause::kStalled;  // above
        EXPECT_TRUE(shown || said.str().find(longest) != std::string::npos) << longest;
    }
}

TEST(Terminal, EachLineThatTellsSomethingIsInTheCode) {
    std::string code;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SOURCES)) {
        if (!entry.is_regular_file() || entry.path().string().find("/terminal/") != std::string::npos)
            continue;
        std::ifstream file(entry.path());
        code.append(std::istreambuf_iterator<char>(file), {});
    }
    for (const std::string& key : Words::Keys())
        EXPECT_NE(code.find('"' + key.substr(key.find(']') + 1)), std::string::npos) << key;
}

// While the printer is only asked, and while it takes its firmware. It goes on when the signals are sent.
TEST(Terminal, InterruptionsEndARunOrDoNot) {
    struct Run {
        int signal, events = 0;
        bool twice, terminal, window;
        std::promise<void> reached, signalled;
        Screen screen{100};
        std::optional<endtoend::Printer> printer;
        std::unique_ptr<endtoend::Program> program;
    };
    static constexpr std::chrono::seconds kLimit(20);
    constexpr int kSignals[] = {SIGINT, SIGINT, SIGTERM, SIGHUP, SIGKILL};
    std::list<Run> runs;
    endtoend::Printer clock{On(Line::Ethernet), simulator::UsbDescription(), {50, 1500, {}}};
    for (std::size_t row = 0; row < 20; ++row) {
        Run& run = runs.emplace_back();
        run.signal = kSignals[row % 5];
        run.twice = row % 5 == 1;
        run.terminal = row / 5 % 2 == 0;
        run.window = row < 10;
        PrinterOptions options = On(Line::Serial, "U1");
        options.onEvent = [&run](std::uint64_t, const std::string& event) {
            if (event.rfind(run.window ? "upgrade started" : "asked for", 0) != 0 || ++run.events > 1) return;
            run.reached.set_value();
            run.signalled.get_future().wait_for(kLimit);
        };
        const endtoend::Start start{50, 1500, run.terminal ? run.screen.Command() : Lines{}};
        run.printer.emplace(options, simulator::UsbDescription(), start, &clock);
        run.program.reset(new endtoend::Program(run.printer->Begin({"-f", PackageFile().path, "-c", "1"})));
    }
    for (Run& run : runs) {
        EXPECT_EQ(run.reached.get_future().wait_for(kLimit), std::future_status::ready);
        run.program->Signal(run.signal);
        if (run.terminal && run.window && run.signal == SIGINT) {
            EXPECT_TRUE(run.screen.WaitFor({"If the run ends now, the printer is left without a work"}));
        }
        if (run.twice) run.program->Signal(run.signal);
        run.signalled.set_value();
    }
    for (Run& run : runs) {
        const bool lives = run.terminal && run.window && !run.twice && run.signal < SIGKILL;
        const int status = lives ? endtoend::kSuccess : ChildProcess::kSignalled + run.signal;
        EXPECT_EQ(run.program->End().status, status) << run.signal << run.terminal << run.window;
    }
}

}  // namespace

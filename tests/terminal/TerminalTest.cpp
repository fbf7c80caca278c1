// What a person at a terminal sees besides what the program prints: a live line, reasons, an answer to
// Ctrl-C.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "endtoend/EndToEnd.h"
#include "harness/Descriptors.h"
#include "harness/Rig.h"
#include "support/Listener.h"
#include "support/Log.h"
#include "terminal/Session.h"

using endtoend::TemporaryFile;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using Words::Cause;

namespace SampleFiles = simulator::SampleFiles;

namespace {

/// A terminal: what is written to it is kept.
class Screen {
 public:
    explicit Screen(unsigned short columns) : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        grantpt(master_.Get());
        unlockpt(master_.Get());
        ptsname_r(master_.Get(), path_, sizeof path_);
        slave_.Reset(open(path_, O_RDWR | O_NOCTTY | O_CLOEXEC));
        Resize(columns);
        reader_ = std::thread([this] {
            char bytes[4096];
            for (ssize_t got; (got = read(master_.Get(), bytes, sizeof bytes)) > 0;) {
                const std::lock_guard lock(mutex_);
                text_.append(bytes, static_cast<std::size_t>(got));
            }
        });
    }
    ~Screen() { End(); }
    void Resize(unsigned short columns) {
        const winsize size{24, columns, 0, 0};
        ioctl(slave_.Get(), TIOCSWINSZ, &size);
    }
    /// The command that starts a program with its standard input and standard error here.
    Lines Command(const std::string& more = "") const {
        return {"bash", "-c", "exec " + more + " \"$0\" \"$@\" <" + path_ + " 2>" + path_};
    }
    std::string Text() {
        const std::lock_guard lock(mutex_);
        return text_;
    }
    bool WaitFor(const std::string& text) {
        for (int turn = 0; turn < 2000 && Text().find(text) == std::string::npos; ++turn)
            poll(nullptr, 0, 10);
        return Text().find(text) != std::string::npos;
    }
    /// All that was written, when nobody writes any more.
    std::string End() {
        slave_.Reset();
        if (reader_.joinable()) reader_.join();
        return text_;
    }

 private:
    OwnedDescriptor master_, slave_;
    char path_[64] = {};
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

simulator::PackageSample Package() {
    simulator::PackageSample sample;
    sample.bankSize = 60000;
    sample.firmware = SampleFiles::MakeFirmware(sample.release, sample.bankSize * sample.banks);
    sample.modules = SampleFiles::UsualModules();
    simulator::ModuleSample font;
    font.bodySize = 300000;  // takes its time
    sample.modules[0].image = SampleFiles::MakeModule(font);
    return sample;
}

const TemporaryFile& PackageFile() {
    static const TemporaryFile file("sample.pfw", SampleFiles::MakePackage(Package()));
    return file;
}

TEST(Terminal, ALineLivesAtEachWidthAndLeavesTheContractAlone) {
    struct Row {
        Line line;
        unsigned short columns, resized;
        const char* term;
    };
    for (const Row& row : {Row{Line::Ethernet, 40, 40, "xterm"}, Row{Line::Serial, 120, 120, "xterm"},
                           Row{Line::Usb, 120, 40, "xterm"}, Row{Line::Serial, 80, 80, "dumb"}}) {
        SCOPED_TRACE(std::to_string(row.columns) + " columns, " + row.term);
        Screen screen(row.columns);
        endtoend::Printer printer{
            On(row.line), {}, {50, 1500, screen.Command(std::string("env TERM=") + row.term)}};
        endtoend::Program program = printer.Begin({"-f", PackageFile().path});
        const bool plain = std::strcmp(row.term, "dumb") == 0;
        EXPECT_TRUE(screen.WaitFor("module 1 of 3"));
        screen.Resize(row.resized);
        EXPECT_TRUE(screen.WaitFor("waiting for the printer to settle"));
        const std::size_t resized = screen.Text().size();
        const endtoend::RunResult run = program.End();
        EXPECT_EQ(run.lines.size(), 2U) << run;
        EXPECT_EQ(run.lines.back(), "UPGRADE SUCCESS");
        const std::string seen = screen.End();
        // Each in its turn, a wait with what is left of it, bytes with their rate.
        const Lines order{"connecting to",
                          "asking the printer",
                          "module 1 of 3 \"FNT-001\"",
                          "~kB/s",
                          "settle",
                          "~at most 19 s",
                          "~at most 3 s",
                          "waiting before the modules",
                          "module 3 of 3",
                          "It should now report release 1.06"};
        std::size_t at = 0;
        for (const std::string& text : order) {
            if (plain && text[0] == '~') continue;
            at = seen.find(text.substr(text[0] == '~' ? 1 : 0), at);
            ASSERT_NE(at, std::string::npos) << text << "\n" << seen;
        }
        EXPECT_EQ(seen.find("\033") == std::string::npos, plain);
        EXPECT_EQ(seen.find("100 %"), std::string::npos);
        if (plain) continue;
        const std::size_t last = seen.rfind("\r\033[K");
        EXPECT_EQ(seen.compare(last + 4, 15, "Everything was "), 0) << seen.substr(last);
        const std::regex colour("\033\\[[0-9;]*m");
        std::size_t longest = 0;
        for (std::size_t begin = 0, end = 0; (end = seen.find("\r\033[K", begin)) < last; begin = end + 4) {
            const std::string frame = std::regex_replace(seen.substr(begin, end - begin), colour, "");
            if (begin > resized) longest = std::max(longest, frame.size());
        }
        EXPECT_LT(longest, row.resized);
        EXPECT_GT(longest, 30U);
    }
}

/// Whether the sentence was said, by the longest part of it that is not filled in.
bool Says(const std::string& seen, Cause cause) {
    std::string longest;
    std::istringstream parts(std::regex_replace(Words::Of(cause).happened, std::regex("\\{[a-z]+\\}"), "\n"));
    for (std::string part; std::getline(parts, part);)
        longest = part.size() > longest.size() ? part : longest;
    return seen.find(longest) != std::string::npos;
}

/// The reasons that were seen in any test.
std::set<Cause>& Reached() {
    static std::set<Cause> reached;
    return reached;
}

void ExpectSays(const std::string& seen, const std::vector<Cause>& causes, const std::string& what) {
    for (const Cause cause : causes) {
        EXPECT_TRUE(Says(seen, cause)) << what << ": " << Words::Of(cause).happened << "\n" << seen;
        Reached().insert(cause);
    }
}

/// A printer on USB.
struct OnBus {
    PrinterOptions options;
    simulator::UsbDescription look = {};
};

OnBus Plugged(const simulator::UsbIdentity& identity, const char* port = "1-1") {
    OnBus on{On(Line::Usb)};
    on.options.usb = identity;
    on.look.port = port;
    return on;
}

OnBus With(bool simulator::UsbFaults::*fault) {
    OnBus on{On(Line::Usb)};
    on.look.faults.*fault = true;
    return on;
}

/// What the program says at a terminal when it is started with these words, "@" standing for a folder.
std::string Said(const std::string& words, const std::string& folder, const std::vector<OnBus>& printers) {
    Screen screen(120);
    Lines split;
    std::istringstream stream(std::regex_replace(words, std::regex("@"), folder + "/"));
    for (std::string word; stream >> word;) split.push_back(word);
    // Somebody who may not do everything.
    const bool shut = geteuid() == 0 && words.find("shut") != std::string::npos;
    const std::string user = shut ? "setpriv --reuid=65534 --clear-groups " : "";
    const endtoend::Start start{100, 1500, screen.Command(user + "env TERM=xterm")};
    if (printers.empty()) {
        simulator::UsbBus bus;
        endtoend::Program(split, bus.ChildEnvironment(), start).End();
        return screen.End();
    }
    endtoend::Printer first{printers[0].options, printers[0].look, start};
    std::optional<endtoend::Printer> second;
    if (printers.size() > 1) second.emplace(printers[1].options, printers[1].look, start, &first);
    first.Run(split);
    return screen.End();
}

/// The files that are named in the rows below.
struct Folder {
    Folder() {
        std::filesystem::create_directories(path + "/folder.pfw");
        const simulator::Bytes whole = SampleFiles::MakePackage(Package());
        const simulator::Bytes half(whole.begin(),
                                    whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
        for (const char* name : {"cut.pfw", "cut.mod", "shut.pfw", "sample.zip"}) Write(name, half);
        Write("sample.pfw", whole);
        Write("text.pfw", simulator::Bytes(5000, 'x'));
        Write("empty.pfw", {});
        chmod((path + "/shut.pfw").c_str(), 0);
        simulator::PackageSample records = Package();
        records.modules.clear();
        records.firmware = SampleFiles::MakeRecords("106", 20);
        records.banks = 1;
        records.bankSize = records.firmware.size();
        Write("records.pfw", SampleFiles::MakePackage(records));
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path); }
    void Write(const std::string& name, const simulator::Bytes& bytes) const {
        std::ofstream(path + "/" + name)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    const std::string path = testing::TempDir() + "reasons" + std::to_string(getpid());
};

void OfWhatIsNamed() {
    const Folder folder;
    const OnBus one = Plugged({0xF0F0, 0x0205, "ABC1"});
    const OnBus two = Plugged({0xF0F0, 0x0205, "XYZ1"}, "1-2");
    OnBus records = one;
    records.options.mode = "U6";
    const struct {
        std::string words;
        std::vector<Cause> causes;
        std::vector<OnBus> printers = {};
    } rows[] = {
        {"-f @none.pfw nonsense -m x", {Cause::kUnknownWord, Cause::kNoNumber, Cause::kFileAbsent}},
        {"-f @sample.zip", {Cause::kFileEnding}},
        {"-f @sample.pfw -t lan", {Cause::kTypeWord}},
        {"-f @sample.pfw -t eth -d host", {Cause::kDeviceText}},
        {"-f @folder.pfw -t eth -d h:1", {Cause::kFileDirectory}},
        {"-f @shut.pfw -t eth -d h:1", {Cause::kFileUnreadable}},
        {"-f @empty.pfw -t eth -d h:1", {Cause::kFileEmpty}},
        {"-f @cut.pfw -t eth -d h:1", {Cause::kFileCut}},
        {"-f @text.pfw -t eth -d h:1", {Cause::kFilePackage}},
        {"-f @cut.mod -t eth -d h:1", {Cause::kFileModule}},
        {"-f @sample.pfw -t eth -d ..:1", {Cause::kHostUnknown}},
        {"-f @sample.pfw -t eth -d 127.0.0.1:1", {Cause::kRefused}},
        {"--printerversion -t ser -d @none:9600:HW", {Cause::kSerialAbsent}},
        {"--printerversion -t ser -d @shut.pfw:9600:HW", {Cause::kSerialPermission}},
        {"--printerversion -t ser -d /dev/null:9600:HW", {Cause::kNotSerial}},
        {"--printerversion -t ser -d /dev/null:9601:HW", {Cause::kSerialSpeed}},
        {"--usbdevlist", {Cause::kUsbNone}},
        {"-f @sample.pfw -t usb -d 127.0.0.1:9110", {Cause::kOtherPort, Cause::kUsbNone}},
        {"--printerversion -t usb -d F0F0|0205|ABC1", {Cause::kUsbTaken}, {one, two}},
        {"--printerversion -t usb -d ANY", {Cause::kUsbTaken}, {one, two}},
        {"--printerversion -t usb -d F0F0|0205|ABCX", {Cause::kUsbNoName, Cause::kUsbWrongName}, {one}},
        {"--printerversion -t usb -d F0F0|0205|ABC1",
         {Cause::kUsbPermission},
         {With(&simulator::UsbFaults::cannotOpen)}},
        {"--printerversion -t usb -d F0F0|0205|ABC1",
         {Cause::kUsbBusy},
         {With(&simulator::UsbFaults::cannotClaim)}},
        {"--printerversion -t usb -d F0F0|0205|ABC1",
         {Cause::kUsbUnconfigured},
         {With(&simulator::UsbFaults::unconfigured)}},
        {"-f @records.pfw", {Cause::kForeignBoot}, {records, Plugged({0x10C4, 0xEA60, "0001"}, "1-2")}},
    };
    for (const auto& row : rows)
        ExpectSays(Said(row.words, folder.path, row.printers), row.causes, row.words);
}

/// A session in this process, without a terminal: what it says while `run` goes, which gives the last line.
std::string Heard(const RunOptions& options, const std::function<std::string(Session&)>& run) {
    CaptureStderr();
    {
        Session session(options);
        const std::string last = run(session);
        Listener::Tell(Listener::Event::LastLine, 0, last.c_str());
    }
    return GetCapturedStderr();
}

Given SaysTo(Exchange exchange, Bytes answer) {
    return PrinterFaults({Fault::Says(exchange, std::move(answer))});
}
const Given kAsItIs = [](Rig&) {};

void OfWhatThePrinterAndTheLineDo() {
    const Given module = [](Rig& rig) { rig.module.emplace(); };
    const auto offers = [](unsigned mask) { return Printer(&PrinterOptions::dataAvailable, mask); };
    const auto only = [](int components) { return [=](Rig& rig) { rig.components = components; }; };
    const auto silent = [](Exchange exchange) { return PrinterFaults({Fault::Silence(exchange)}); };
    const struct {
        Cause cause;
        const char* mode;
        Line line;
        Given given;
        bool newForm = false;
    } rows[] = {
        {Cause::kNoAnswer, "U3", Line::Serial, silent(Exchange::ProtocolVersion)},
        {Cause::kNotUnderstood, "U3", Line::Serial,
         SaysTo(Exchange::ProtocolVersion, {2, '<', 'C', '9', '>', 3})},
        {Cause::kErrorAnswer, "U3", Line::Serial, PrinterFaults({Fault::Refusal(Exchange::UpgradeInfo, 7)})},
        {Cause::kOtherPrinter, "U3", Line::Ethernet, Printer(&PrinterOptions::family, 5)},
        {Cause::kNotOffered, "U3", Line::Ethernet, offers(PrinterOptions::kOffersModules)},
        {Cause::kModulesNotOffered, "U3", Line::Ethernet,
         Both(module, offers(PrinterOptions::kOffersUpgrade))},
        {Cause::kUsbOnly, "U2", Line::Ethernet, kAsItIs},
        {Cause::kNoFirmware, "U6", Line::Usb, [](Rig& rig) { rig.package.firmware = Bytes(300, 'x'); }},
        {Cause::kLeftOut, "U3", Line::Usb, Both(module, only(1))},
        {Cause::kLeftOut, "U1", Line::Usb, only(2)},
        {Cause::kModuleRefused, "U3", Line::Serial, Both(module, SaysTo(Exchange::Module, {0x95}))},
        {Cause::kModuleSilent, "U3", Line::Serial, Both(module, silent(Exchange::Module))},
        {Cause::kBankRefused, "U1", Line::Serial, SaysTo(Exchange::BankGroup, {0x77})},
        {Cause::kBankRefused, "U5", Line::Serial, SaysTo(Exchange::DataBank, {0x99})},
        {Cause::kBankSilent, "U5", Line::Serial, silent(Exchange::DataBank)},
        {Cause::kBankSilent, "U1", Line::Serial, silent(Exchange::BankGroup)},
        {Cause::kConnectionLost, "U3", Line::Ethernet, PrinterFaults({Fault::Cut(Exchange::BankGroup, 600)})},
        {Cause::kNotBack, "U3", Line::Ethernet,
         PrinterFaults({Fault::Silence(Exchange::Status).Between(2, 99)}), true},
        {Cause::kReleaseDiffers, "U1", Line::Ethernet, [](Rig& rig) { rig.printer.releaseAfter = "1.07"; }},
        {Cause::kNeedsUsb, "U4", Line::Serial, kAsItIs},
        {Cause::kSwitchOffOn, "U4", Line::Usb, kAsItIs},
        {Cause::kBootNotEntered, "U4", Line::Usb, silent(Exchange::BootEntry)},
        {Cause::kBootAbsent, "U6", Line::Usb, Printer(&PrinterOptions::bootDelayMs, std::uint64_t{9000000})},
        {Cause::kBootRefused, "U2", Line::Usb,
         [](Rig& rig) {
             rig.renesas.faults = {
                 simulator::BootFault::Vanishes(simulator::RenesasBootDevice::kUnit).Between(2, 2)};
         }},
        {Cause::kBootEthernet, "U4", Line::Ethernet, kAsItIs},
        {Cause::kUnconfirmed, "U3", Line::Serial, kAsItIs},
        {Cause::kUnconfirmed, "U5", Line::Usb, kAsItIs},
    };
    for (const auto& row : rows) {
        Rig rig(row.mode, row.line, row.newForm);
        row.given(rig);
        const char* const types[] = {"ser", "eth", "usb"};
        RunOptions options;
        options.type = types[static_cast<int>(row.line)];
        const std::string seen = Heard(options, [&](Session& session) {
            Bytes bytes = SampleFiles::MakePackage(rig.package);
            PSWFile package;
            package.iFileLength = static_cast<int>(bytes.size());
            if (!rig.module && package.LoadPSWFromMemory(bytes.data(), package.iFileLength, true))
                session.Know(package);
            return rig.Run() ? "UPGRADE SUCCESS" : "UPGRADE FAILURE";
        });
        ExpectSays(seen, {row.cause}, row.mode);
    }
}

// What no run of a test can bring about: the network between, another user's serial line, a line that is held
// for half a minute, a printer of another age.
void OfTheRest() {
    const auto line = [](int number, const char* text) {
        return [=](Session&) {
            Listener::Tell(Listener::Event::SystemError, number);
            Log::WriteLog("test", text);
            return "UPGRADE FAILURE";
        };
    };
    const std::pair<Cause, std::function<std::string(Session&)>> rows[] = {
        {Cause::kNoRoute, line(EHOSTUNREACH, "Error in connection()")},
        {Cause::kNotInTime, line(0, "Timeout or error()")},
        {Cause::kSerialBusy, line(EBUSY, "Error to open Serial port")},
        {Cause::kNotForUpgrade, line(0, "This PSW isn't for this software")},
        {Cause::kProcedure, line(0, "Upgrade Mode %d Not Supported!")},
        {Cause::kUnknown, line(0, "nothing that is known")},
    };
    for (const auto& [cause, run] : rows) ExpectSays(Heard({}, run), {cause}, "fed");
    VirtualClock clock;
    RunOptions options;
    options.type = "ser";
    ExpectSays(Heard(options,
                     [&](Session& session) {
                         for (int turn = 0; turn < 4; ++turn, clock.Advance(16000)) session.OnBytes(0);
                         return "UPGRADE SUCCESS";
                     }),
               {Cause::kStalled}, "held");
}

TEST(Reasons, EachIsReached) {
    OfWhatIsNamed();
    OfWhatThePrinterAndTheLineDo();
    OfTheRest();
    for (int cause = 1; cause < static_cast<int>(Cause::kCount); ++cause)
        EXPECT_EQ(Reached().count(static_cast<Cause>(cause)), 1U)
            << Words::Of(static_cast<Cause>(cause)).happened;
}

TEST(Reasons, EachLineOfTheTableIsInTheCode) {
    std::string code;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SOURCES)) {
        const std::string path = entry.path();
        if (!entry.is_regular_file() || path.find("/terminal/") != std::string::npos) continue;
        std::ifstream file(path);
        code.append(std::istreambuf_iterator<char>(file), {});
    }
    std::size_t count = 0;
    const Words::LineRow* const lines = Words::Lines(count);
    for (std::size_t i = 0; i < count; ++i)
        EXPECT_NE(code.find(std::string("\"") + lines[i].key), std::string::npos) << lines[i].key;
}

TEST(Interruptions, EndARunOrDoNot) {
    struct Row {
        bool terminal, window;
        std::vector<int> signals;
        int status;
    };
    const auto killed = [](int number) { return ChildProcess::kSignalled + number; };
    const Row rows[] = {{true, true, {SIGINT}, 0},
                        {true, true, {SIGINT, SIGINT}, killed(SIGINT)},
                        {true, true, {SIGHUP}, 0},
                        {true, true, {SIGTERM}, killed(SIGTERM)},
                        {true, false, {SIGINT}, killed(SIGINT)},
                        {true, false, {SIGHUP}, killed(SIGHUP)},
                        {true, false, {SIGTERM}, killed(SIGTERM)},
                        {false, true, {SIGINT}, killed(SIGINT)},
                        {false, true, {SIGHUP}, killed(SIGHUP)},
                        {false, true, {SIGTERM}, killed(SIGTERM)}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.signals) + (row.terminal ? " terminal" : "") +
                     (row.window ? " window" : ""));
        Screen screen(100);
        PrinterOptions options = On(Line::Serial, "U1");
        const Exchange late = row.window ? Exchange::BankGroup : Exchange::UpgradeInfo;
        options.faults = {Fault::Late(late, row.window ? 50000 : 5500)};
        endtoend::Printer printer{options, {}, {50, 1500, row.terminal ? screen.Command() : Lines{}}};
        endtoend::Program program = printer.Begin({"-f", PackageFile().path, "-c", "1"});
        const auto count = [&](const auto& model) { return model.Count(late); };
        for (int turn = 0; turn < 1000 && printer.Inspect(count) == 0; ++turn) poll(nullptr, 0, 5);
        for (std::size_t i = 0; i < row.signals.size(); ++i) {
            program.Signal(row.signals[i]);
            if (row.terminal && row.window && row.signals[i] == SIGINT && i == 0) {
                EXPECT_TRUE(
                    screen.WaitFor("If the run ends now, the printer is left without a working firmware"));
            }
        }
        EXPECT_EQ(program.End().status, row.status) << screen.End();
        if (row.status == 0)
            printer.ExpectHas("1.06", [] {
                auto sample = Package();
                sample.modules.clear();
                return sample;
            }());
    }
}

}  // namespace

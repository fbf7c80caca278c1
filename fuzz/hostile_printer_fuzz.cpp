// A printer that does whatever the input says, on the tests' rig: one run of the program's own classes on
// virtual time. No answer may crash it, hold it longer than its procedure waits, bring control characters
// into the log, or make it call a success what is none.
#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>

#include "fuzz/HostilePort.h"
#include "fuzz/Judge.h"
#include "harness/Rig.h"

namespace {

constexpr const char* kProcedures[] = {"U1", "U2", "U3", "U4", "U5", "U6"};
constexpr int kKinds = 8;  // the procedures, a module file, the setup header
constexpr int kModuleFile = 6;
constexpr int kVariants = 8;
constexpr int kOddNumbers[] = {3, 1, 2, 0, -1, INT_MIN, INT_MAX, 7};
constexpr int kOddTimes[] = {1, 2, 0, -1, INT_MIN, INT_MAX, 3, 10};
constexpr int kMostCalls = 400000;

// What a run waits at most, in milliseconds: fixed, and for each unit of the multiplier (1 at least: USB
// reads wait no less).
struct Bound {
    std::int64_t fixed = 0;
    std::int64_t scaled = 0;

    constexpr Bound operator+(Bound other) const { return {fixed + other.fixed, scaled + other.scaled}; }
    constexpr Bound operator*(int times) const { return {fixed * times, scaled * times}; }
};
constexpr Bound kRead{0, 2000};                          // the longest read time-out, that of a serial line
constexpr Bound kAnswer = Bound{600000, 0} + kRead * 3;  // a framed answer, bytes in time or three silences
constexpr Bound kHandshake = Bound{15 * 3000, 0} + kRead * 17;  // 15 tries, the second status, the release
constexpr Bound kReopen{0, 9 * 5000};
constexpr Bound kReset{0, 6 * 5000};  // re-opened while the printer restarts
constexpr Bound kFound{50, 40000};    // the boot device appears
constexpr Bound kStart = kAnswer * 3;
constexpr Bound kReached = kReopen + kHandshake + kRead;
/// Two packets of 20 ms, the answer's ten minutes, 20 s (8 s of them behind the firmware) to settle.
constexpr Bound kOneModule = kReopen + kHandshake + Bound{600040 + 20000, 20000} + kRead;
constexpr Bound kModules = kOneModule * 3 + Bound{20000, 28000};
/// One try of U1: the answer's 110 s, or nine releases asked for behind a restart, or a restart waited for.
constexpr Bound kGroup =
    Bound{0, 110000 + 10000 + 9 * 1500 + 9 * 2000 + 3000} + kReset + (kHandshake + kRead) * 9;
/// 22 commands and their pauses, ten time-outs among them, of which the erasure has 30 s, the status 10 s and
/// 5 s; two tries of five units.
constexpr Bound kRenesas =
    kFound + Bound{0, 10000 + 22 * 100 + 2600} + Bound{30000 + 10000 + 8 * 5000, 0} + kRead * (22 + 10);
constexpr Bound kDataBank = kReset + Bound{0, 1000 + 60000 + 5000} + kRead;

struct Limit {
    const char* kind;
    Bound bound;
};
constexpr Limit kLimits[kKinds] = {
    {"U1", kStart + kReached + kGroup * 4 + kModules},
    {"U2", kStart + kReached + kRenesas + kModules},
    {"U3", kStart + kReached + kReset + Bound{0, 12000} + kModules},
    {"U4", kStart + kReached + kRenesas + kModules},
    {"U5", kStart + kReached + kReset + Bound{0, 30000 + 2000 + 1000 + 18000} + kDataBank * 2 + kModules},
    {"U6", kStart + kReached + kFound + Bound{1000, 1000} + kRead * 5 + kModules},
    {"module", kAnswer * 3 + kOneModule},
    {"setup", kHandshake + kAnswer * 2},
};

std::string logged;  // of the run, to be shown when it is complained of

[[noreturn]] void Complain(const std::string& what) {
    std::fprintf(stderr, "%shostile printer: %s\n", logged.c_str(), what.c_str());
    std::abort();
}

/// What is brought into the printer, read once for each form.
struct Load {
    Errand errand;
    Rig rig;
    PSWFile package;
    ModuleData module;

    Load(int kind, int variant)
        : rig(kind == kModuleFile ? "module" : kProcedures[kind % kModuleFile], Line::Serial,
              (variant & 1) != 0) {
        if ((variant & 2) != 0) rig.package.release = "105";
        ChooseModules((variant & 4) != 0 ? "dlo" : "fl", "EHINOE"[kind % kModuleFile]);
        errand.what = kind < kModuleFile    ? Errand::kUpgrade
                      : kind == kModuleFile ? Errand::kModule
                                            : Errand::kSetup;
        errand.newForm = (variant & 1) != 0;
        errand.release = rig.package.release.substr(0, 1) + "." + rig.package.release.substr(1);
        if (kind == kModuleFile) {
            rig.module->key = 0;
            Bytes image = simulator::SampleFiles::MakeModule(*rig.module);
            errand.modules = {{rig.Modules()[0], false}};
            if (!module.LoadModuleFromMemory(image.data(), static_cast<int>(image.size())))
                Complain("no module");
            return;
        }
        RenewFirmware(kind);
        errand.firmware = rig.Firmware();
        errand.bankSize = rig.package.bankSize;
        for (const simulator::EmbeddedModule& one : rig.package.modules)
            errand.modules.push_back({one.image, one.letter == 'l' || one.letter == 'o'});
        Bytes bytes = simulator::SampleFiles::MakePackage(rig.package);
        package.iFileLength = static_cast<int>(bytes.size());
        if (!package.LoadPSWFromMemory(bytes.data(), static_cast<int>(bytes.size()), false))
            Complain("no package");
    }

 private:
    /// Modules of all ways to be sent; not scrambled, since a printer's search for the key costs more than a
    /// run.
    void ChooseModules(const std::string& letters, char other) {
        simulator::ModuleSample sample;
        sample.bodySize = 200;
        sample.key = 0;
        rig.package.modules.clear();
        for (const char letter : letters) {
            sample.kind = letter == 'l' ? 'L' : letter == 'd' ? 'D' : letter == 'f' ? 'F' : other;
            ++sample.variant;
            rig.package.modules.push_back({letter, simulator::SampleFiles::MakeModule(sample)});
        }
    }
    /// The rig's records name the usual release.
    void RenewFirmware(int kind) {
        if (kind != 5) return;
        rig.package.firmware = simulator::SampleFiles::MakeRecords(rig.package.release, 5);
        rig.package.bankSize = rig.package.firmware.size();
    }
};

Load& LoadOf(int kind, int variant) {
    static std::array<std::array<std::unique_ptr<Load>, kVariants>, kKinds> loads;
    std::unique_ptr<Load>& load = loads[static_cast<std::size_t>(kind)][static_cast<std::size_t>(variant)];
    if (load == nullptr) load = std::make_unique<Load>(kind, variant);
    return *load;
}

/// One run, as the input's first bytes say.
class Play {
 public:
    explicit Play(Script& script)
        : kind_(script.Byte() % kKinds),
          form_(script.Byte()),
          load_(LoadOf(kind_, form_ & 7)),
          script_(script) {
        options_ = load_.rig.printer;
        options_.line = static_cast<Line>(script.Byte() % 3);
        components_ = kOddNumbers[script.Byte() % std::size(kOddNumbers)];
        times_ = kOddTimes[script.Byte() % std::size(kOddTimes)];
        const int ids = script.Byte();
        Shift(options_.family, ids);
        Shift(options_.model, ids >> 2);
        Shift(options_.customization, ids >> 4);
        if ((ids & 0xC0) == 0xC0) options_.dataAvailable = PrinterOptions::kOffersSetup;
        if ((form_ & 0x08) != 0) options_.configuration = "0;";
        if ((form_ & 0x10) != 0) options_.extendedStatus = 0x1234;
        renesas_ = load_.rig.renesas;
        renesas_.newDialect = (form_ & 0x20) != 0;
        if ((form_ & 0x40) != 0) renesas_.bootRelease = renesas_.bootRelease == "0.99" ? "1.10" : "0.99";
        if (!load_.errand.firmware.empty()) silicon_.firmwareSize = load_.errand.firmware.size();
        options_.bootDevice = [this]() -> std::unique_ptr<simulator::BootDevice> {
            if (kind_ != 5) return std::make_unique<simulator::RenesasBootDevice>(renesas_);
            return std::make_unique<simulator::SiliconLabsBootDevice>(silicon_);
        };
    }

    void Run();

 private:
    static void Shift(int& id, int by) {
        if ((by & 3) != 0) id = (by & 3) == 1 ? 0 : id + (by & 3);
    }
    bool Call(PrinterPort& port);
    void Look(const HostileLine& line, bool success, std::uint64_t tookMs) const;

    const int kind_;
    const int form_;
    Load& load_;
    Script& script_;
    PrinterOptions options_;
    simulator::RenesasBootOptions renesas_;
    simulator::SiliconLabsBootOptions silicon_;
    int components_ = 3;
    int times_ = 1;
};

bool Play::Call(PrinterPort& port) {
    PrinterComm comm(components_, times_);
    CommPortSettings settings = Rig::SettingsOf(options_.line);
    PSWComponents components = load_.package.pswComponents;
    switch (load_.errand.what) {
        case Errand::kModule:
            return comm.PrnCom_WriteModule(&port, &load_.module, &settings, nullptr);
        case Errand::kSetup:
            return comm.PrnCom_ReadSetupData(&port, &settings);
        default:
            return comm.PrnCom_UpgradePrinter(&port, &load_.package, &settings, &components);
    }
}

void Play::Run() {
    VirtualClock clock;
    clock.readable = (form_ & 0x80) == 0;
    simulator::PrinterModel model(options_);
    HostileLine line{clock, model, script_, {}, {}, 0, 0, 0, 0, false};
    HostilePort port(line, Rig::SettingsOf(options_.line).type, times_);
    const HostileUsb usb(line, port);
    clock.onWait = [&] { port.Pass(); };
    const std::uint64_t began = clock.NowMs();
    const bool success = Call(port);
    const std::uint64_t tookMs = clock.NowMs() - began;
    if (load_.errand.what == Errand::kUpgrade && port.IsOpen()) Complain("the port was left open");
    Look(line, success, tookMs);
}

void Play::Look(const HostileLine& line, bool success, std::uint64_t tookMs) const {
    const Bound& bound = kLimits[kind_].bound;
    const std::int64_t most = bound.fixed + bound.scaled * std::max(times_, 1);
    // Reads that linger overshoot what they wait for by a 64th.
    if (tookMs > static_cast<std::uint64_t>(most) / 60 * 61 + line.slowMs)
        Complain(std::string(kLimits[kind_].kind) + " took " + std::to_string(tookMs) + " ms");
    if (line.calls > kMostCalls) Complain("a wait that spins");
    if (!success) return;
    Errand errand = load_.errand;
    errand.line = options_.line;
    errand.components = components_;
    errand.timem = times_;
    errand.printer = options_;
    const std::string why = WhyNoSuccess(errand, line.conversation);
    if (!why.empty()) Complain(std::string(kLimits[kind_].kind) + " success, but " + why);
}

}  // namespace

// Log lines are all that the program writes to standard output with `fwrite`, a long one in pieces. The call
// is redirected when the target is linked.
extern "C" std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count,
                                     std::FILE* stream);
extern "C" std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count,
                                     std::FILE* stream) {
    if (stream != stdout) return __real_fwrite(data, size, count, stream);
    const std::string text(static_cast<const char*>(data), size * count);
    logged += text;
    for (const char c : text.substr(0, text.find_last_not_of('\n') + 1)) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (byte < 0x20 || (byte >= 0x7F && byte <= 0x9F)) Complain("a control character in the log");
    }
    return count;
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    Log::SetLogEnable(1, true);
    // What `--printerversion` prints is the printer's own text and is not looked at.
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" __attribute__((weak)) std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size,
                                                              std::size_t most);

/// Every other mutation has one thing go wrong in a run that is well so far, or one more in another: a chance
/// hit of the one answer that a lie is about would be rare.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned int seed) {
    constexpr std::size_t kHead = 6;
    constexpr std::size_t kEntry = 4;
    constexpr std::uint8_t kCodes[] = {0xAA, 0x99, 0x95, 0x88, 0x06, 0x15, 0xD0, 0x40};
    constexpr Script::How kAnswerLies[] = {Script::kBent, Script::kBent, Script::kCode, Script::kCut};
    std::minstd_rand random(seed);
    const auto below = [&random](unsigned int end) { return static_cast<std::uint8_t>(random() / 7 % end); };
    if (below(2) == 0 || most < kHead + kEntry) return LLVMFuzzerMutate(data, size, most);
    if (size < kHead) std::fill(data + size, data + kHead, std::uint8_t{0});
    std::size_t at = below(3) == 0 ? std::clamp(size, kHead, most - kEntry) : kHead;
    if (below(2) == 0) data[0] = below(kKinds);
    const bool often = below(4) == 0;
    const Script::How how =
        below(2) == 0 ? kAnswerLies[below(std::size(kAnswerLies))] : static_cast<Script::How>(below(16));
    data[at++] = below(128);
    data[at++] = static_cast<std::uint8_t>(how | (often ? below(16) << 4 : 0));
    data[at++] = below(2) == 0 ? kCodes[below(std::size(kCodes))] : below(16);
    data[at++] = below(255);
    return at;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    logged.clear();
    Script script(data, size);
    Play(script).Run();
    return 0;
}

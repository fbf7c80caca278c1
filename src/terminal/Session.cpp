#include "terminal/Session.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "package/PSWFile.h"
#include "port/PrinterVendorId.h"
#include "support/Clock.h"
#include "support/Listener.h"
#include "terminal/LiveLine.h"
#include "terminal/Words.h"
#include "upgrade/BootUsb.h"
#include "upgrade/UpgradeEngine.h"

using Words::Cause;
using Words::Facts;

namespace {

constexpr std::size_t kModuleHeader = 4102;
constexpr std::int64_t kLeastLimitUs = 1000000;  // of a wait that a person would notice
constexpr int kUsbWriteMinutes = 15;             // × the time multiplier

/// Whether standard output is the terminal that standard error is.
bool SameTerminal() {
    struct stat out {
    }, error{};
    return fstat(STDOUT_FILENO, &out) == 0 && fstat(STDERR_FILENO, &error) == 0 &&
           out.st_rdev == error.st_rdev;
}

Facts FactsOf(const RunOptions& run) {
    const std::string quote = run.device.find('|') != std::string::npos ? "\"" : "";
    const std::string ask =
        "ticketflash --printerversion -t " + run.type + " -d " + quote + run.device + quote;
    const int minutes = run.type == "usb" ? kUsbWriteMinutes * std::max(run.timem, 1) : 5;
    const bool serial = run.type == "ser";
    return {{"device", run.device},
            {"file", run.file},
            {"type", run.type},
            {"components", std::to_string(run.components)},
            {"command", ask},
            {"vendor", PRINTER_VENDOR_ID},
            {"modules", "1"},
            {"line", "it has none of its parts"},
            {"held", serial ? ": it holds the line (RTS/CTS)" : ""},
            {"giveup", serial ? "the run waits without end, end it after five minutes"
                              : "the run gives up after " + std::to_string(minutes) + " minutes"}};
}

/// The listener of a run.
class Watcher final : public Listener {
 public:
    explicit Watcher(const RunOptions& run)
        : run_(run),
          facts_(FactsOf(run)),
          line_(!run.log || !SameTerminal(), Words::Fill(Words::Of(Cause::kStalled).happened, facts_),
                Words::Fill(Words::Of(Cause::kStalled).advice, facts_)) {
        Foresee(run_, [this](Cause cause, const Facts& more) {
            for (const auto& [name, value] : more) facts_[name] = value;
            Say(cause, false);
        });
        Install(this);
    }

    ~Watcher() override {
        EndWatching();
        const bool success = lastLine_ == "UPGRADE SUCCESS";
        const Cause reason = success ? Settled() : lastLine_.empty() ? Cause::kNone : Reason();
        if (reason != Cause::kNone) Say(reason);  // a module's verdict tells nothing of what became of it
        if (success && leftOut_) Say(Cause::kLeftOut);
        if (success && firmwareSent_ && !confirmed_) Say(Cause::kUnconfirmed, false);
    }

    void Know(PSWFile& package) {
        const FirmwareImage image = FirmwareImage::Of(package);
        const bool banks = image.HoldsItsBanks();
        const std::uint64_t size =
            banks ? image.bankSize * static_cast<std::uint64_t>(image.banks) : image.length;
        firmware_ = static_cast<std::int64_t>(size);
        modules_ = package.GetHeadersCount(HTYPE_MODULE) - (package.GetHeaderModuleSoftware() ? 1 : 0);
        facts_["modules"] = std::to_string(modules_);
        const PSWHeaderPrinter* const printer = package.GetHeaderPrinter();
        if (printer == nullptr) return;
        facts_["model"] = printer->strPrinterModel;
        facts_["release"] = printer->strReleasePSW;
        if (!facts_["release"].empty()) facts_["release"].insert(1, ".");  // as the printer reports it
    }

    void OnLine(const char* tag, const char* key, const char* text) override {
        const Words::Phase* const phase = Words::FindPhase(tag, key);
        if (phase != nullptr) Enter(*phase, text);
        const Cause cause = Words::FindCause(tag, key);
        if (cause != Cause::kNone) Note(cause, text);
    }

    void OnEvent(Event event, std::int64_t number, const char* text) override {
        switch (event) {
            case Event::kLimit:
                if (!phase_.Has(Words::kWaits) || phase_.limitSeconds != 0 || number < kLeastLimitUs) return;
                return line_.Change(
                    [number](Progress& progress) { progress.limitUs = progress.Now() + number; });
            case Event::kWritten:
                return number > 0 ? NoteBytes(number) : void();
            case Event::kModule:
                return NoteModule(number, text);
            case Event::kSystemError:
                return static_cast<void>(systemError_ = number);
            case Event::kProcedure:
                return NoteProcedure(number);
            case Event::kOutput:
                lastLine_ = text;
                cause_ = std::max(cause_, Words::FindCause("", text));
                return EndWatching();
        }
    }

 private:
    void EndWatching() {
        Install(nullptr);
        Interruption::Close();
        line_.End();
    }

    void Say(Cause cause, bool failure = true) {
        line_.Print(Words::Fill(Words::Of(cause).happened, facts_), failure);
        line_.Print(Words::Fill(Words::Of(cause).advice, facts_));
    }

    /// The two numbers in lines like "Sending bank...12/64" and "Family Compare Error (5,6)"; 0 for none.
    static std::pair<int, int> NumbersIn(const std::string& text) {
        std::pair<int, int> numbers;
        const std::size_t digit = std::min(text.find_first_of("0123456789"), text.size());
        static_cast<void>(std::sscanf(text.c_str() + digit, "%d%*[/,]%d", &numbers.first, &numbers.second));
        return numbers;
    }

    void Enter(const Words::Phase& next, const std::string& line) {
        if (next.Has(Words::kCloses)) Interruption::Close();
        if (next.Has(Words::kConfirms)) {
            confirmed_ = true;
            cause_ = Cause::kNone;  // of a try before
        }
        const auto [bank, banks] = NumbersIn(line);
        if (next.Has(Words::kNumbers))
            facts_["bank"] =
                ", bank " + std::to_string(bank) + (banks > 0 ? " of " + std::to_string(banks) : "");
        if (next.text == nullptr || (next.Has(Words::kWhenLast) && bank != banks)) return;
        const bool anew = phase_.text != next.text || next.Has(Words::kBegins);
        const bool firmware = next.text == Words::kFirmware;
        phase_ = next;
        firmwareSent_ = firmwareSent_ || firmware;
        opened_ = opened_ || next.Has(Words::kOpens);
        const std::string text = Words::Fill(next.text, facts_);
        line_.Change([&, before = bank - 1, all = banks](Progress& progress) {
            progress.text = text;
            progress.counts = next.Has(Words::kCounts);
            if (next.leaves != nullptr) progress.leaves = BootProcedure() ? Words::kNoSystem : next.leaves;
            if (firmware) progress.total = firmware_;
            if (anew) progress.sent = 0;
            if (next.Has(Words::kNumbers) && all > 0) progress.sent = firmware_ / all * before;
            if (!anew) return;
            const std::int64_t limitMs = Wait{std::int64_t{1000} * next.limitSeconds, run_.timem}.Ms();
            progress.fromUs = progress.takenUs = progress.Now();
            progress.limitUs = limitMs > 0 ? progress.fromUs + 1000 * limitMs : 0;
            progress.gone = 0;
        });
        if (opened_ && next.leaves != nullptr) Interruption::Open();
        if (anew && line_.OfPlainLines()) line_.Print(text);
    }

    void Note(Cause cause, const std::string& text) {
        if (cause == Cause::kSwitchOffOn) return Say(cause, false);
        if (cause == Cause::kLeftOut) return NoteLeftOut(text);
        if (cause == Cause::kBankRefused) facts_["tries"] = std::to_string(++refusals_);
        if (cause == Cause::kBankSilent && phase_.Has(Words::kCounts)) cause = Cause::kConnectionLost;
        const bool away = systemError_ == EHOSTUNREACH || systemError_ == ENETUNREACH;
        if (cause == Cause::kRefused && away) cause = Cause::kNoRoute;
        if (cause == Cause::kRefused && systemError_ == ETIMEDOUT) cause = Cause::kNotInTime;
        if (cause == Cause::kSerialAbsent && systemError_ == EBUSY) cause = Cause::kSerialBusy;
        if (cause == Cause::kSerialAbsent && systemError_ == EACCES) cause = Cause::kSerialPermission;
        if (cause < cause_) return;
        cause_ = cause;
        const auto [first, second] = NumbersIn(text);
        facts_["line"] = text;
        facts_["what"] = text.substr(0, text.find(' '));
        facts_["a"] = std::to_string(first);
        facts_["b"] = std::to_string(second);
        facts_["reported"] = text.substr(text.find(':') + 1);
    }

    void NoteLeftOut(const std::string& text) {
        const bool firmware = text.find("FW") != std::string::npos;
        const bool module = text.find("After") == std::string::npos;  // a module file
        if (firmware ? firmware_ == 0 : !module && modules_ == 0) return;
        facts_["left"] = firmware ? "the firmware" : module ? "the module" : "the modules";
        leftOut_ = true;
    }

    void NoteBytes(std::int64_t count) {
        if (cause_ < Cause::kNoAnswer) cause_ = Cause::kNone;  // the printer was reached after all
        line_.Change([count](Progress& progress) {
            progress.takenUs = progress.Now();
            progress.gone += count;
            if (progress.counts) progress.sent = std::min(progress.sent + count, progress.total);
        });
    }

    void NoteModule(std::int64_t size, const char* data) {
        const std::string header(
            data, std::min(static_cast<std::size_t>(std::max<std::int64_t>(size, 0)), kModuleHeader));
        const std::size_t code = header.find("CODE:");
        const std::size_t end = header.find_first_of("\r\n", code);
        facts_["name"] = code != std::string::npos ? header.substr(code + 5, end - code - 5) : "";
        facts_["number"] = std::to_string(++module_);
        line_.Change([size](Progress& progress) { progress.total = size; });
    }

    void NoteProcedure(std::int64_t procedure) {
        procedure_ = procedure;
        if (!BootProcedure() || firmware_ == 0 || (run_.components & 1) == 0) return;
        std::string list;
        BootUsb::Get().ListDevices(procedure == 6 ? "10C4" : "045B", list);
        facts_["list"] = list.substr(0, list.find('\n'));
        const bool never = procedure == 4 && run_.type == "eth";
        if (run_.type != "usb") Say(never ? Cause::kNeverBoot : Cause::kNeedsUsb, false);
        if (!facts_["list"].empty()) Say(Cause::kForeignBoot, false);
    }

    bool BootProcedure() const { return procedure_ == 2 || procedure_ == 4 || procedure_ == 6; }

    /// Why the run ended without success.
    Cause Reason() {
        const Cause cause = Settled();
        const Cause file = LookAtFile(run_.file);
        if (cause == Cause::kFileEnding) return file == Cause::kFileAbsent ? file : cause;
        if (cause == Cause::kFileDamaged && file != Cause::kNone) return file;
        const bool connecting = phase_.text == Words::kConnecting && run_.type == "usb";
        const bool any = cause == Cause::kDeviceText && run_.device == "ANY";
        if (any || cause == Cause::kUsbNone || cause == Cause::kUsbPermission ||
            (connecting && cause == Cause::kNone))
            return ReasonOnUsb();
        if (cause != Cause::kNone) return cause;
        return leftOut_ ? Cause::kLeftOut : Cause::kUnknown;
    }

    /// What it has come to depends on what was sent, and how.
    Cause Settled() const {
        const bool boot = cause_ == Cause::kBootRefused || cause_ == Cause::kBootAbsent;
        if (boot && procedure_ == 4 && run_.type == "eth") return Cause::kBootEthernet;
        if (cause_ != Cause::kNotBack) return cause_;
        if (!opened_) return Cause::kNoAnswer;
        return BootProcedure() ? Cause::kBootRefused : cause_;
    }

    /// Why no printer was found on USB.
    Cause ReasonOnUsb() {
        const UsbLook look;
        facts_["list"] = Listed(look.printers);
        facts_["node"] = look.forbidden.empty() ? "" : " (" + look.forbidden + ")";
        facts_["others"] = look.loaders.empty() ? "" : "; a boot loader's vendor is: " + Listed(look.loaders);
        if (look.printers.empty()) return Cause::kUsbNone;
        if (!look.forbidden.empty() || cause_ == Cause::kUsbPermission) return Cause::kUsbPermission;
        const bool named = run_.device != "ANY" && !run_.device.empty();
        const bool there = std::count(look.printers.begin(), look.printers.end(), run_.device) != 0;
        return named && !there ? Cause::kUsbWrongName : Cause::kUnknown;
    }

    const RunOptions run_;
    Facts facts_;
    LiveLine line_;
    Words::Phase phase_{"", 0};
    std::int64_t firmware_ = 0;  // bytes
    int modules_ = 0;            // that will be sent
    int module_ = 0;
    int refusals_ = 0;
    std::int64_t procedure_ = 0;
    std::int64_t systemError_ = 0;
    bool opened_ = false;  // something was written that an interruption would have spoilt
    bool firmwareSent_ = false;
    bool confirmed_ = false;
    bool leftOut_ = false;  // something that the package brings, by `-c`
    Cause cause_ = Cause::kNone;
    std::string lastLine_;
};

/// The watcher of this run. Made after the clock, so that it goes before it.
std::unique_ptr<Watcher>& Current() {
    Clock::Get();
    static std::unique_ptr<Watcher> current;
    return current;
}

}  // namespace

void Session::Begin(const RunOptions& run) {
    Current() = std::make_unique<Watcher>(run);
}

void Session::Know(PSWFile& package) {
    if (Current() != nullptr) Current()->Know(package);
}

void Session::End() {
    Current().reset();
}

#include "terminal/Session.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "package/PSWFile.h"
#include "port/PrinterVendorId.h"
#include "terminal/Interruption.h"
#include "upgrade/UpgradeEngine.h"

using Words::Cause;
using Words::Phase;

namespace {

constexpr std::uint64_t kUsPerSecond = 1000000;
constexpr std::uint64_t kDrawUs = 100000;  // the least time between two drawings
constexpr std::uint64_t kTurnUs = 200000;  // a wait is cut into turns of this length
constexpr std::uint64_t kStallUs = 30 * kUsPerSecond;
constexpr std::uint64_t kRateUs = kUsPerSecond / 2;  // before it, a rate says nothing
constexpr std::size_t kModuleHeader = 4102;

std::unique_ptr<Session> current;

bool SameTerminal() {
    struct stat out {};
    struct stat error {};
    return isatty(STDOUT_FILENO) != 0 && fstat(STDOUT_FILENO, &out) == 0 &&
           fstat(STDERR_FILENO, &error) == 0 && out.st_rdev == error.st_rdev;
}

std::string CommandOf(const RunOptions& run) {
    const bool bars = run.device.find('|') != std::string::npos;
    return "ticketflash --printerversion -t " + run.type + " -d " +
           (bars ? "\"" + run.device + "\"" : run.device);
}

std::string Kilobytes(std::uint64_t bytes) {
    return std::to_string((bytes + 1023) / 1024);
}

std::uint64_t Seconds(std::uint64_t us) {
    return (us + kUsPerSecond - 1) / kUsPerSecond;
}

}  // namespace

/// The clock that was in force, with its waits cut into turns.
class Session::WatchedClock final : public Clock {
 public:
    WatchedClock(Clock& inner, Session& session) : inner_(inner), session_(session) { Install(this); }
    ~WatchedClock() override { Install(&inner_); }

    bool Now(timeval& now) override { return inner_.Now(now); }
    std::uint64_t MonotonicUs() override { return inner_.MonotonicUs(); }
    unsigned int BlockingTimeout(unsigned int ms) override { return inner_.BlockingTimeout(ms); }
    void SleepMicroseconds(std::uint64_t us) override {
        if (us >= kUsPerSecond) session_.OnLimit(us);
        for (; us > kTurnUs; us -= kTurnUs) {
            inner_.SleepMicroseconds(kTurnUs);
            session_.OnTurn();
        }
        inner_.SleepMicroseconds(us);
        session_.OnTurn();
    }

 private:
    Clock& inner_;
    Session& session_;
};

void Session::Begin(RunOptions run) {
    if (isatty(STDERR_FILENO) != 0) current = std::make_unique<Session>(std::move(run));
}

Session* Session::Current() {
    return current.get();
}

void Session::Know(PSWFile& package) {
    const FirmwareImage image = FirmwareImage::Of(package);
    firmware_ =
        image.HoldsItsBanks() ? image.bankSize * static_cast<std::uint64_t>(image.banks) : image.length;
    modules_ = package.GetHeadersCount(HTYPE_MODULE) - (package.GetHeaderModuleSoftware() != nullptr ? 1 : 0);
    facts_["modules"] = std::to_string(modules_);
    const PSWHeaderPrinter* const printer = package.GetHeaderPrinter();
    if (printer == nullptr) return;
    facts_["model"] = printer->strPrinterModel;
    facts_["release"] = printer->strReleasePSW;
    if (!facts_["release"].empty()) facts_["release"].insert(1, ".");  // as the printer reports it
}

Session::Session(RunOptions run)
    : run_(std::move(run)),
      clock_(Clock::Get()),
      watched_(std::make_unique<WatchedClock>(clock_, *this)),
      line_(!run_.log || !SameTerminal()),
      startUs_(clock_.MonotonicUs()) {
    facts_ = {{"device", run_.device},
              {"file", run_.file},
              {"type", run_.type},
              {"components", std::to_string(run_.components)},
              {"command", CommandOf(run_)},
              {"vendor", PRINTER_VENDOR_ID},
              {"modules", "1"},
              {"line", "it has none of its parts"}};
    for (const Said& each : Foresee(run_)) {
        for (const auto& [name, value] : each.facts) facts_[name] = value;
        Say(each.cause, false);
    }
    Install(this);
}

Session::~Session() {
    Install(nullptr);
    watched_.reset();
    Interruption::Close();
    line_.Erase();
    Conclude();
}

std::uint64_t Session::NowUs() const {
    return clock_.MonotonicUs();
}

void Session::Enter(Phase phase, unsigned effects) {
    const Words::PhaseRow& row = Words::Of(phase);
    const bool anew = phase != phase_ || (effects & Words::kBegins) != 0;
    if ((effects & Words::kBegins) != 0) sent_ = 0;
    if (phase == Phase::kFirmware) {
        total_ = firmware_;
        firmwareSent_ = true;
    }
    if (anew) {
        phase_ = phase;
        limitUs_ = row.limitSeconds != 0 && run_.timem > 0
                       ? NowUs() + kUsPerSecond * static_cast<std::uint64_t>(row.limitSeconds) *
                                       static_cast<std::uint64_t>(run_.timem)
                       : 0;
        rateFromUs_ = NowUs();
        rateBase_ = sent_;
        stalledUs_ = 0;
    }
    if ((effects & Words::kOpens) != 0) opened_ = true;
    const char* leaves =
        BootProcedure() && opened_ ? Words::Of(Phase::kErasing).interrupted : row.interrupted;
    if (opened_ && leaves != nullptr && lastLine_.empty()) Interruption::Open(leaves, line_.Plain());
    line_.Begin(Words::Fill(row.text, facts_));
}

void Session::OnLine(const char* tag, const char* key, const char* text) {
    const Words::LineRow* const row = Words::Find(tag, key);
    if (row == nullptr) return;
    if (ended_) return;
    Note(*row, text);
    const bool last = (row->effects & Words::kWhenLast) == 0 || bank_ == banks_;
    if (row->phase != Phase::kNone && last) Enter(row->phase, row->effects);
    if ((row->effects & Words::kCloses) != 0) Interruption::Close();
    OnTurn();
}

void Session::Note(const Words::LineRow& row, const std::string& text) {
    if ((row.effects & Words::kNumbers) != 0) NoteNumbers(text);
    if ((row.effects & Words::kConfirms) != 0) confirmed_ = true;
    if (row.cause == Cause::kReleaseDiffers) facts_["reported"] = text.substr(text.find(':') + 1);
    if (row.cause == Cause::kNone) return;
    if (row.cause == Cause::kLeftOut) return NoteLeftOut(row.key);
    if (row.cause == Cause::kSwitchOffOn) return Say(row.cause, false);
    if (row.cause == Cause::kOtherPrinter) NoteIdentity(text.c_str());
    if (row.cause == Cause::kBankRefused) facts_["tries"] = std::to_string(++refusals_);
    Cause cause = BySystemError(row.cause);
    if (cause == Cause::kBankSilent && (row.effects & Words::kHint) != 0 && bank_ < banks_)
        cause = Cause::kConnectionLost;
    if (cause == Cause::kBootRefused && procedure_ == 4 && run_.type == "eth" && !opened_)
        cause = Cause::kBootEthernet;
    ((row.effects & Words::kHint) != 0 ? hint_ : cause_) = cause;
    facts_["line"] = text;
}

/// "12/64" or "12" in a line that is not told otherwise.
void Session::NoteNumbers(const std::string& text) {
    const std::size_t at = text.find_first_of("0123456789");
    if (at == std::string::npos) return;
    bank_ = banks_ = 0;
    static_cast<void>(std::sscanf(text.c_str() + at, "%d/%d", &bank_, &banks_));
    facts_["bank"] = ", bank " + std::to_string(bank_) + (banks_ > 0 ? " of " + std::to_string(banks_) : "");
    if (banks_ > 0)
        sent_ = firmware_ / static_cast<std::uint64_t>(banks_) * static_cast<std::uint64_t>(bank_ - 1);
}

/// "Family Compare Error (printer's,package's)".
void Session::NoteIdentity(const char* text) {
    char what[32] = {};
    int printer = 0;
    int package = 0;
    static_cast<void>(std::sscanf(text, "%31s Compare Error (%d,%d)", what, &printer, &package));
    facts_["what"] = what;
    facts_["a"] = std::to_string(printer);
    facts_["b"] = std::to_string(package);
}

void Session::NoteLeftOut(const std::string& key) {
    const bool firmware = key.find("FW") != std::string::npos;
    const bool module = key.find("After") == std::string::npos;  // a module file
    if (firmware ? firmware_ == 0 : !module && modules_ == 0) return;
    facts_["left"] = firmware ? "the firmware" : module ? "the module" : "the modules";
    leftOut_ = true;
}

Cause Session::BySystemError(Cause cause) const {
    if (cause == Cause::kRefused) {
        if (systemError_ == EHOSTUNREACH || systemError_ == ENETUNREACH) return Cause::kNoRoute;
        return systemError_ == ETIMEDOUT ? Cause::kNotInTime : cause;
    }
    if (cause != Cause::kSerialAbsent) return cause;
    if (systemError_ == EACCES || systemError_ == EPERM) return Cause::kSerialPermission;
    return systemError_ == EBUSY ? Cause::kSerialBusy : cause;
}

void Session::OnLimit(std::uint64_t us) {
    const Words::PhaseRow& row = Words::Of(phase_);
    if (row.waits && row.limitSeconds == 0) limitUs_ = NowUs() + us;
}

void Session::OnTurn() {
    if (ended_ || NowUs() - drawnUs_ < kDrawUs) return;
    Draw();
}

void Session::OnBytes(unsigned int count) {
    if (count != 0) {
        stalledUs_ = 0;
        stallSaid_ = false;
        if (hint_ < Cause::kNoAnswer) hint_ = Cause::kNone;  // the printer was reached after all
        if (Words::Of(phase_).counts) sent_ = std::min<std::uint64_t>(sent_ + count, total_);
    } else if (stalledUs_ == 0) {
        stalledUs_ = NowUs();
    } else if (!stallSaid_ && NowUs() - stalledUs_ >= kStallUs) {
        stallSaid_ = true;
        const bool serial = run_.type == "ser";
        facts_["seconds"] = std::to_string((NowUs() - stalledUs_) / kUsPerSecond);
        facts_["held"] = serial ? ": it holds the line (RTS/CTS)" : "";
        facts_["giveup"] = serial ? "the run waits without end, end it after five minutes"
                                  : "the run gives up by itself after 300 s";
        Say(Cause::kStalled, false);
    }
    OnTurn();
}

void Session::OnModule(const unsigned char* data, int size) {
    const auto length = static_cast<std::size_t>(std::max(size, 0));
    const std::string header(data, data + std::min(length, kModuleHeader));
    const std::size_t code = header.find("CODE:");
    facts_["name"] = code == std::string::npos
                         ? ""
                         : header.substr(code + 5, header.find_first_of("\r\n", code) - code - 5);
    facts_["number"] = std::to_string(++module_);
    total_ = length;
}

void Session::OnEvent(Event event, long number, const char* text) {
    switch (event) {
        case Event::SystemError:
            systemError_ = number;
            break;
        case Event::Procedure:
            NoteProcedure(number);
            break;
        case Event::LastLine:
            lastLine_ = text;
            ended_ = true;
            Interruption::Close();
            line_.Erase();
            break;
        case Event::Output:
            line_.Erase();
            break;
    }
}

void Session::NoteProcedure(long procedure) {
    procedure_ = procedure;
    if (!BootProcedure() || firmware_ == 0 || (run_.components & 1) == 0) return;
    facts_["vendor"] = procedure == 6 ? "10C4" : "045B";
    facts_["list"] = UsbLook().Loaders(facts_["vendor"]);
    if (run_.type != "usb") Say(Cause::kNeedsUsb, false);
    if (!facts_["list"].empty()) Say(Cause::kForeignBoot, false);
}

void Session::Draw() {
    drawnUs_ = NowUs();
    std::vector<std::string> pieces = Progress();
    const std::uint64_t shown = (drawnUs_ - startUs_) / kUsPerSecond;
    char time[32];
    std::snprintf(time, sizeof time, "%d:%02d ", static_cast<int>(shown / 60), static_cast<int>(shown % 60));
    pieces[0].insert(0, time);
    line_.Draw(pieces, Words::Of(phase_).waits);
}

std::vector<std::string> Session::Progress() const {
    const Words::PhaseRow& row = Words::Of(phase_);
    const std::uint64_t now = NowUs();
    if (stallSaid_) return {"no byte taken for " + std::to_string((now - stalledUs_) / kUsPerSecond) + " s"};
    std::vector<std::string> pieces{Words::Fill(row.text, facts_)};
    if (limitUs_ > now) pieces.push_back("at most " + std::to_string(Seconds(limitUs_ - now)) + " s");
    if (!row.counts || total_ == 0) return pieces;
    const std::uint64_t took = now - rateFromUs_;
    const std::uint64_t rate =
        took >= kRateUs && sent_ > rateBase_ ? (sent_ - rateBase_) * kUsPerSecond / took : 0;
    if (rate > 0) pieces.push_back(Kilobytes(rate) + " kB/s");
    // The whole is reached when the procedure ends, not when its bytes are gone.
    pieces.push_back(std::to_string(std::min<std::uint64_t>(sent_ * 100 / total_, 99)) + " %");
    pieces.push_back(Kilobytes(sent_) + " of " + Kilobytes(total_) + " kB");
    if (rate > 0) pieces.push_back(std::to_string((total_ - sent_) / rate) + " s left");
    return pieces;
}

void Session::Say(Cause cause, bool failure) {
    const Words::CauseRow& row = Words::Of(cause);
    line_.Print(Words::Fill(row.happened, facts_), failure);
    line_.Print(Words::Fill(row.advice, facts_) + (*row.state != '\0' ? " " : "") + row.state);
}

void Session::Conclude() {
    if (lastLine_ != "UPGRADE SUCCESS") {
        const Cause reason = Reason();
        if (reason != Cause::kNone) Say(reason);
        return;
    }
    if (cause_ != Cause::kNone) Say(Settled(cause_));  // of a module file: its verdict tells nothing of it
    if (leftOut_) Say(Cause::kLeftOut);
    if (firmwareSent_ && !confirmed_) Say(Cause::kUnconfirmed, false);
}

/// Why the run ended with that last line.
Cause Session::Reason() {
    const bool package = lastLine_ == "LoadPSWFromFile FAILURE";
    if (lastLine_.empty()) return Cause::kNone;
    if (lastLine_ == "Error getting usb config descriptor") return Cause::kUsbUnconfigured;
    if (lastLine_ == "type argument not valid") return Cause::kTypeWord;
    if (lastLine_ == "LIST USB DEVICES") return ReasonOnUsb();
    if (lastLine_ == "device argument not valid")
        return run_.device == "ANY" ? ReasonOnUsb() : Cause::kDeviceText;
    if (lastLine_ == "filename argument not valid")
        return LookAtFile(run_.file) == Cause::kFileAbsent ? Cause::kFileAbsent : Cause::kFileEnding;
    if (package || lastLine_ == "LoadModuleFromFile FAILURE") {
        const Cause look = LookAtFile(run_.file);
        if (look != Cause::kNone) return look;
        return cause_ != Cause::kNone ? cause_ : package ? Cause::kFilePackage : Cause::kFileModule;
    }
    const Cause cause = Settled(cause_ != Cause::kNone ? cause_ : hint_);
    if (phase_ == Phase::kConnecting && run_.type == "usb" &&
        (cause == Cause::kNone || cause == Cause::kUsbPermission)) {
        const Cause found = ReasonOnUsb();
        if (found != Cause::kNone) return found;
    }
    if (cause != Cause::kNone) return cause;
    return leftOut_ ? Cause::kLeftOut : Cause::kUnknown;
}

/// What a printer that is silent has come to depends on what was sent.
Cause Session::Settled(Cause cause) const {
    if (cause != Cause::kNotBack) return cause;
    if (BootProcedure() && opened_) return Cause::kBootRefused;
    return opened_ ? cause : Cause::kNoAnswer;
}

/// Why no printer was found on USB; none when one is there under this name.
Cause Session::ReasonOnUsb() {
    const UsbLook look;
    facts_["vendor"] = PRINTER_VENDOR_ID;
    facts_["list"] = Listed(look.printers);
    facts_["node"] = look.forbidden.empty() ? "" : " (" + look.forbidden + ")";
    facts_["others"] = look.loaders.empty() ? "" : "; a boot loader's vendor is: " + look.Loaders();
    if (look.printers.empty()) return Cause::kUsbNone;
    if (!look.forbidden.empty() || hint_ == Cause::kUsbPermission) return Cause::kUsbPermission;
    const bool there =
        std::find(look.printers.begin(), look.printers.end(), run_.device) != look.printers.end();
    return there || run_.device == "ANY" || run_.device.empty() ? Cause::kNone : Cause::kUsbWrongName;
}

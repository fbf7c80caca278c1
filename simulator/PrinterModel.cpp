#include "simulator/PrinterModel.h"

#include <algorithm>
#include <utility>

#include "simulator/SampleFiles.h"

namespace simulator {

namespace {

constexpr std::uint64_t kQuietMs = 1000;
constexpr std::uint64_t kStallMs = 100000;
constexpr std::uint64_t kGraceMs = 5000;
constexpr std::uint64_t kBootLeaveMs = 500;
constexpr unsigned char kProgrammed = 0xAA;
constexpr unsigned char kBankSumsWrong = 0x99;
constexpr unsigned char kModuleSumsWrong = 0x95;
constexpr unsigned char kModuleWrong = 0x44;
const std::string kBootEntered = "BOOT_RST";

/// Whether the bytes so far are those that a request begins with, or begin with them.
template <class Start>
bool Agree(const Bytes& bytes, const Start& start) {
    return std::equal(bytes.begin(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), start.size())),
                      start.begin());
}

bool Programs(const Fault* fault) {
    if (fault == nullptr || fault->ownAnswer || fault->cutAfter) return true;
    return std::any_of(fault->answers.begin(), fault->answers.end(), [](const Bytes& answer) {
        return std::find(answer.begin(), answer.end(), kProgrammed) != answer.end();
    });
}

}  // namespace

PrinterModel::PrinterModel(PrinterOptions options)
    : options_(std::move(options)), firmware_(options_), serial_(options_.usb.serial) {}

// Time and presence

void PrinterModel::Advance(std::uint64_t now) {
    if (presence_ == Presence::Here && now >= leaveAt_ && !HasLastWords(now)) Leave(now);
    if (presence_ == Presence::Away && now >= backAt_) Return(now);
    if (presence_ == Presence::Away && now >= bootAt_) {
        bootAt_ = kNever;
        if (options_.bootDevice) boot_ = options_.bootDevice();
        if (boot_) {
            presence_ = Presence::Boot;
            Event(now, "in the boot loader");
        }
    }
    if (presence_ == Presence::Boot && boot_->Finished()) LeaveBootLoader(now);
    if (presence_ == Presence::Here) GiveUpStalled(now);
}

// An answer that fell due before the restart is still fetched when the transport was slow, but not for ever.
bool PrinterModel::HasLastWords(std::uint64_t now) const {
    return answers_.NextDue() <= leaveAt_ && now < leaveAt_ + kGraceMs;
}

void PrinterModel::Leave(std::uint64_t now) {
    // Whoever was late to ask still finds the printer away as long as it takes.
    if (now > leaveAt_) Postpone(now);
    presence_ = Presence::Away;
    leaveAt_ = kNever;
    ForgetInput();
    answers_.Clear();
    selected_ = false;
    last_.reset();
    Event(now, entersBoot_ ? "leaving for the boot loader" : "restarting");
}

void PrinterModel::Return(std::uint64_t now) {
    presence_ = Presence::Here;
    backAt_ = kNever;
    bootAt_ = kNever;
    entersBoot_ = false;
    ++restarts_;
    serial_ = newSerial_.empty() ? serial_ : newSerial_;
    newSerial_.clear();
    if (newFirmware_) {
        newFirmware_ = false;
        options_.release = newRelease_;
    }
    Event(now, "here with release " + options_.release);
}

void PrinterModel::LeaveBootLoader(std::uint64_t now) {
    for (const std::string& violation : boot_->Violations()) violations_.push_back(violation);
    firmware_.SetFlash(boot_->FlashImage());
    newRelease_ = options_.releaseAfter.value_or(boot_->NewRelease());
    newSerial_ = options_.serialAfterUpgrade.value_or("");
    newFirmware_ = true;
    boot_.reset();
    presence_ = Presence::Away;
    backAt_ = now + options_.restartMs;
    Event(now, "programmed " + std::to_string(firmware_.Flash().size()) + " bytes, restarting");
}

void PrinterModel::PowerCycle(std::uint64_t now) {
    Advance(now);
    if (presence_ == Presence::Boot && !boot_->NewRelease().empty()) {
        LeaveBootLoader(now);
    } else if (presence_ == Presence::Boot) {
        for (const std::string& violation : boot_->Violations()) violations_.push_back(violation);
        boot_.reset();
        presence_ = Presence::Away;
        bootAt_ = now + options_.bootDelayMs;
    } else {
        Restart(now, now + options_.restartMs);
        Advance(now);
    }
}

void PrinterModel::GiveUpStalled(std::uint64_t now) {
    const std::uint64_t quiet = now > lastByteAt_ ? now - lastByteAt_ : 0;
    if (input_ == Input::Deaf && quiet >= kQuietMs) ForgetInput();
    if (quiet < kStallMs) return;
    if (input_ == Input::Banks) {
        Violation(now, "banks broken off after " + std::to_string(firmware_.Taken()) + " of " +
                           std::to_string(firmware_.Whole()) + " bytes");
    } else if (input_ == Input::Module) {
        Violation(now, "module broken off after " + std::to_string(module_.Taken()) + " bytes");
    } else if (!request_.empty()) {
        Violation(now, "request broken off");
    }
    ForgetInput();
}

void PrinterModel::ForgetInput() {
    input_ = Input::Requests;
    request_.clear();
    transferFault_ = nullptr;
}

std::uint64_t PrinterModel::NextEvent(std::uint64_t now) const {
    switch (presence_) {
        case Presence::Here:
            return std::min(answers_.NextDue(), leaveAt_);
        case Presence::Away:
            return std::min(backAt_, bootAt_);
        case Presence::Boot:
            return boot_->Finished() ? now : boot_->NextEvent(now);
    }
    return kNever;
}

bool PrinterModel::OnLine(std::uint64_t now) {
    Advance(now);
    return presence_ == Presence::Here && options_.line != Line::Usb;
}

std::optional<UsbIdentity> PrinterModel::OnUsb(std::uint64_t now) {
    Advance(now);
    if (presence_ == Presence::Boot) return boot_->OnUsb(now);
    if (presence_ == Presence::Away || options_.line != Line::Usb) return std::nullopt;
    UsbIdentity identity = options_.usb;
    identity.serial = serial_;
    return identity;
}

void PrinterModel::ConnectionChanged(bool connected, std::uint64_t now) {
    Advance(now);
    if (presence_ == Presence::Boot) boot_->ConnectionChanged(connected, now);
    if (presence_ != Presence::Here) return;
    if (!connected && (input_ == Input::Banks || input_ == Input::Module))
        Violation(now,
                  "connection ended inside " + std::string(input_ == Input::Banks ? "banks" : "a module"));
    ForgetInput();
    answers_.DropInquiries();
}

void PrinterModel::Restart(std::uint64_t leaveAt, std::uint64_t backAt) {
    leaveAt_ = leaveAt;
    backAt_ = backAt;
}

void PrinterModel::Postpone(std::uint64_t leaveAt) {
    const std::uint64_t by = leaveAt - leaveAt_;
    leaveAt_ = leaveAt;
    if (backAt_ != kNever) backAt_ += by;
    if (bootAt_ != kNever) bootAt_ += by;
}

bool PrinterModel::TakeCut() {
    return std::exchange(cut_, false);
}

void PrinterModel::Cut(std::uint64_t now) {
    cut_ = true;
    answers_.Clear();
    ForgetInput();
    input_ = Input::Deaf;
    Event(now, "connection cut");
    if (options_.line != Line::Usb) return;
    Restart(now, now + options_.restartMs);
    Advance(now);
}

// Bytes in and out

void PrinterModel::Receive(const unsigned char* data, std::size_t size, std::uint64_t now) {
    Advance(now);
    if (presence_ == Presence::Boot) {
        boot_->Receive(data, size, now);
        return;
    }
    lastByteAt_ = now;
    while (size > 0 && presence_ == Presence::Here) {
        const std::size_t taken = Consume(data, size, now);
        data += taken;
        size -= taken;
        Advance(now);  // a printer that restarts at once does not hear the rest
    }
}

std::vector<Bytes> PrinterModel::Transmit(std::uint64_t now) {
    Advance(now);
    if (presence_ == Presence::Boot) return boot_->Transmit(now);
    if (presence_ != Presence::Here) return {};
    std::vector<Bytes> taken = answers_.Take(now);
    const std::uint64_t pause = entersBoot_ ? kBootLeaveMs : options_.leaveMs;
    if (!taken.empty() && leaveAt_ != kNever && leaveAt_ < now + pause) Postpone(now + pause);
    return taken;
}

bool PrinterModel::Control(const ControlRequest& request, std::uint64_t now) {
    Advance(now);
    return presence_ == Presence::Boot && boot_->Control(request, now);
}

std::size_t PrinterModel::Consume(const unsigned char* data, std::size_t size, std::uint64_t now) {
    std::size_t taken = size;
    switch (input_) {
        case Input::Deaf:
            break;
        case Input::Requests:
            taken = 1;
            ConsumeRequestByte(*data, now);
            break;
        case Input::Banks:
            taken = Feed(firmware_, data, size, now);
            if (input_ == Input::Banks && firmware_.Done()) OnBanksEnd(now);
            break;
        case Input::Module:
            taken = Feed(module_, data, size, now);
            if (input_ == Input::Module && module_.Done()) OnModuleEnd(now);
            break;
    }
    return taken;
}

template <class Receiver>
std::size_t PrinterModel::Feed(Receiver& receiver, const unsigned char* data, std::size_t size,
                               std::uint64_t now) {
    if (transferFault_ == nullptr || !transferFault_->cutAfter) return receiver.Take(data, size);
    const std::size_t limit = *transferFault_->cutAfter;
    const std::size_t left = limit > receiver.Taken() ? limit - receiver.Taken() : 0;
    const std::size_t taken = receiver.Take(data, std::min(size, left));
    if (receiver.Taken() < limit) return taken;
    Cut(now);
    return size;
}

/// A request that is no inquiry: the bytes that it begins with, how long it is, and what the printer does.
struct PrinterModel::Command {
    Bytes start;
    std::size_t length;
    void (*obey)(PrinterModel& printer, std::uint64_t now);
};

const std::vector<PrinterModel::Command>& PrinterModel::Commands() {
    using Printer = PrinterModel&;
    static const std::vector<Command> commands{
        {{0x18}, 1, [](Printer printer, std::uint64_t) { printer.answers_.DropInquiries(); }},
        {{0x1C, '<', 'E', 'P', 'O', 'S', '>'},
         7,
         [](Printer printer, std::uint64_t) { printer.selected_ = true; }},
        {{0x1C, 0xFD}, 4, [](Printer printer, std::uint64_t now) { printer.OnStartBanks(now); }},
        // Its place is behind the banks only.
        {{0x1C, 0xFF},
         8,
         [](Printer printer, std::uint64_t now) { printer.Violation(now, "program command without banks"); }},
        {{0x1C, 0x4C, 0x49}, 3, [](Printer printer, std::uint64_t now) { printer.OnBootEntry(true, now); }},
        {{0x1C, 0xEE}, 2, [](Printer printer, std::uint64_t now) { printer.OnBootEntry(false, now); }},
    };
    return commands;
}

void PrinterModel::ConsumeRequestByte(unsigned char byte, std::uint64_t now) {
    request_.push_back(byte);
    for (const ExchangeRow& row : kExchanges) {
        if (row.content == nullptr || !Agree(request_, row.inquiry)) continue;
        if (request_.size() < row.inquiry.size()) return;
        OnInquiry(row, now);
        request_.clear();
        return;
    }
    for (const Command& command : Commands()) {
        if (!Agree(request_, command.start)) continue;
        if (request_.size() < command.length) return;
        command.obey(*this, now);
        request_.clear();
        return;
    }
    Unrecognised(now);
    request_.clear();
}

void PrinterModel::Unrecognised(std::uint64_t now) {
    if (last_ != Exchange::Release) {
        Violation(now, "bytes that belong to no request");
        input_ = Input::Deaf;
        return;
    }
    input_ = Input::Module;
    last_ = Exchange::Module;
    transferFault_ = NextFault(Exchange::Module);
    module_.Start();
    module_.Take(request_.data(), request_.size());
}

/// Counts the exchange. The fault that this occurrence meets, or null.
const Fault* PrinterModel::NextFault(Exchange exchange) {
    const int occurrence = ++counts_[exchange];
    const auto hit = std::find_if(options_.faults.begin(), options_.faults.end(), [&](const Fault& fault) {
        return fault.exchange == exchange && fault.first <= occurrence && occurrence <= fault.last;
    });
    return hit == options_.faults.end() ? nullptr : &*hit;
}

std::uint64_t PrinterModel::Say(const Fault* fault, const Bytes& own, std::uint64_t due, bool result) {
    const bool ownAnswer = fault == nullptr || fault->ownAnswer || fault->cutAfter;
    if (fault != nullptr) due += fault->delayMs;
    if (ownAnswer) {
        if (!own.empty()) answers_.Add(own, due, result);
    } else if (fault->endless) {
        answers_.AddEndless(fault->answers, due, fault->gapMs, result);
    } else {
        for (const Bytes& answer : fault->answers) {
            answers_.Add(answer, due, result);
            due += fault->gapMs;
        }
    }
    return due;
}

void PrinterModel::Violation(std::uint64_t now, const std::string& text) {
    violations_.push_back(text);
    Event(now, "refused: " + text);
}

void PrinterModel::Event(std::uint64_t now, const std::string& text) {
    if (options_.onEvent) options_.onEvent(now, text);
}

std::vector<std::string> PrinterModel::Violations() const {
    std::vector<std::string> all = violations_;
    if (boot_) {
        for (const std::string& violation : boot_->Violations()) all.push_back(violation);
    }
    return all;
}

// Requests

void PrinterModel::OnInquiry(const ExchangeRow& row, std::uint64_t now) {
    const std::string name = row.name;
    if (row.IsFramed() && !selected_) {
        Violation(now, name + " asked before the command set was selected");
        return;
    }
    Event(now, "asked for " + name);
    last_ = row.exchange;
    Say(NextFault(row.exchange), row.Answer(options_), now + options_.answerMs, false);
}

// Modules

void PrinterModel::OnModuleEnd(std::uint64_t now) {
    const Fault* fault = std::exchange(transferFault_, nullptr);
    input_ = module_.Broken() ? Input::Deaf : Input::Requests;
    const std::string complaint = module_.Complaint();
    if (!complaint.empty()) {
        Violation(now, complaint);
        Say(nullptr, {module_.Broken() ? kModuleWrong : kModuleSumsWrong}, now + options_.answerMs, true);
        return;
    }
    Say(fault, {kProgrammed}, now + options_.moduleMs, true);
    if (Programs(fault)) modules_.push_back(module_.Image());
    Event(now, std::string(Programs(fault) ? "module programmed: " : "module not programmed: ") +
                   module_.Header("CODE:") + ", " + std::to_string(module_.Taken()) + " bytes");
}

// Firmware

bool PrinterModel::OffersUpgrade() const {
    return (options_.dataAvailable & PrinterOptions::kOffersUpgrade) != 0;
}

void PrinterModel::OnStartBanks(std::uint64_t now) {
    const std::string complaint = OffersUpgrade() ? firmware_.Start(request_[2], request_[3], last_)
                                                  : "banks for a printer that offers no upgrade";
    if (!complaint.empty()) {
        Violation(now, complaint);
        input_ = Input::Deaf;
        return;
    }
    last_ = firmware_.Kind();
    transferFault_ = NextFault(firmware_.Kind());
    input_ = Input::Banks;
    if (firmware_.Kind() == Exchange::BankGroup) Event(now, "upgrade started, " + firmware_.Name());
}

void PrinterModel::OnBanksEnd(std::uint64_t now) {
    const Fault* fault = std::exchange(transferFault_, nullptr);
    input_ = Input::Requests;
    const std::string complaint = firmware_.Complaint();
    if (!complaint.empty()) {
        Violation(now, complaint);
        if (firmware_.IsAnswered()) Say(nullptr, {kBankSumsWrong}, now + options_.answerMs, true);
        return;
    }
    const bool quick = firmware_.Kind() == Exchange::DataBank && !firmware_.Completes();
    const Bytes own = firmware_.IsAnswered() ? Bytes{kProgrammed} : Bytes{};
    const bool speaks = !own.empty() || (fault != nullptr && !fault->answers.empty());
    const std::uint64_t due = speaks ? now + (quick ? options_.bankMs : options_.programMs) : now;
    const std::uint64_t said = Say(fault, own, due, true);
    Event(now, firmware_.Name() + (Programs(fault) ? " programmed" : " not programmed"));
    if (Programs(fault)) ProgramBanks(said, speaks);
}

void PrinterModel::ProgramBanks(std::uint64_t said, bool answered) {
    const bool complete = firmware_.Completes();
    firmware_.Program();
    if (!complete && firmware_.Kind() == Exchange::DataBank) return;
    if (complete) {
        const std::string named = SampleFiles::ReleaseOf(firmware_.Flash());
        newFirmware_ = true;
        newRelease_ = options_.releaseAfter.value_or(named.empty() ? options_.release : named);
        newSerial_ = options_.serialAfterUpgrade.value_or(options_.usb.serial);
    } else {
        newSerial_ = options_.serialInCodePhase.value_or("");
    }
    const std::uint64_t leaveAt = answered ? said + options_.leaveMs : said;
    Restart(leaveAt, leaveAt + options_.restartMs + (answered ? 0 : options_.programMs));
}

std::string PrinterModel::BootEntryComplaint(bool renesas) const {
    const bool mine = renesas ? options_.mode == "U2" || options_.mode == "U4" : options_.mode == "U6";
    if (!OffersUpgrade()) return "boot entry of a printer that offers no upgrade";
    if (!mine) return "boot entry of another procedure than " + options_.mode;
    return last_ == Exchange::Release ? "" : "boot entry without the release inquiry before it";
}

void PrinterModel::OnBootEntry(bool renesas, std::uint64_t now) {
    const std::string complaint = BootEntryComplaint(renesas);
    if (!complaint.empty()) {
        Violation(now, complaint);
        return;
    }
    last_ = Exchange::BootEntry;
    const Bytes own = renesas ? Bytes(kBootEntered.begin(), kBootEntered.end()) : Bytes{};
    const std::uint64_t said = Say(NextFault(Exchange::BootEntry), own, now + options_.answerMs, false);
    Event(now, "told to enter the boot loader");
    entersBoot_ = true;
    leaveAt_ = said + kBootLeaveMs;
    bootAt_ = options_.bootDelayMs == kNever ? kNever : leaveAt_ + options_.bootDelayMs;
    backAt_ = kNever;
}

}  // namespace simulator

#include "fuzz/Judge.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>

using simulator::Bytes;
using simulator::Line;

namespace {

constexpr std::size_t kModulePacket = 4096;
constexpr std::size_t kReport = 64;
constexpr std::uint64_t kBankAnswerMs = 60000;
constexpr std::uint64_t kBankPauseMs = 1000;
constexpr int kGroupTries = 4;
constexpr int kUnitTries = 2;

const Bytes kRelease{0x1D, 0x49, 0x03};

Bytes Inquiry(unsigned char of) {
    return {0x1F, 0xFF, of};
}

/// What is asked of a running printer; everything else that is written brings something into it.
bool IsQuestion(const Said& said) {
    const Bytes& bytes = said.bytes;
    if (said.kind != Said::kWrote) return false;
    if (bytes.size() == 1) return bytes[0] == 0x18;
    if (bytes.size() < 2) return false;
    const bool select = bytes[0] == 0x1C && bytes[1] == '<';
    return select || (bytes[0] == 0x1D && bytes[1] == 'I') || (bytes[0] == 0x1F && bytes[1] == 0xFF);
}

/// The first of `wanted` in an answer; none: -1.
int FirstOf(const Bytes& answer, const Bytes& wanted) {
    const auto found = std::find_first_of(answer.begin(), answer.end(), wanted.begin(), wanted.end());
    return found == answer.end() ? -1 : *found;
}

bool Begins(const Bytes& bytes, const Bytes& with) {
    return bytes.size() >= with.size() && std::equal(with.begin(), with.end(), bytes.begin());
}

bool SameText(const Bytes& answer, const std::string& text) {
    return std::string(answer.begin(), std::find(answer.begin(), answer.end(), 0)) == text;
}

Bytes Part(const Bytes& bytes, std::size_t at, std::size_t size) {
    at = std::min(at, bytes.size());
    const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return {from, from + static_cast<std::ptrdiff_t>(std::min(size, bytes.size() - at))};
}

/// One exchange with a Renesas boot loader: the answer's size, read at once or collected, and bytes in it.
struct BootStep {
    Bytes command;
    std::size_t size;
    bool atOnce;
    std::vector<std::pair<std::size_t, unsigned char>> holds;
};

class Judge {
 public:
    Judge(const Errand& errand, const Conversation& conversation) : errand_(errand), said_(conversation) {}

    std::string Setup();
    std::string Module();
    std::string Upgrade();

 private:
    std::string Identity();
    std::string Procedure();
    std::string SendModule(const Bytes& image);
    std::string SendU1();
    bool Reached();
    std::string SendU3();
    std::string SendU5();
    std::string SendRenesas();
    std::string SendUnits(std::size_t unitSize);
    std::string SendU6();
    bool SendGroup(std::size_t first, std::size_t count, std::string& why);
    bool GroupTaken(bool same);
    std::string Exchange(const BootStep& step, Bytes& answer);

    const Said* Next();
    const Said* Peek() const;
    bool Drained() const;
    Bytes Answer() const { return AnswerOf(at_); }
    Bytes AnswerOf(std::size_t question) const;
    bool ReleaseTold(std::size_t from, std::size_t to, Bytes& answer) const;
    bool HonestlySaid(simulator::Exchange exchange) const;
    Bytes Program(std::size_t first, std::size_t count) const;
    std::size_t Banks() const { return errand_.firmware.size() / errand_.bankSize; }

    static constexpr std::size_t kNowhere = SIZE_MAX;
    const Errand& errand_;
    const Conversation& said_;
    std::size_t next_ = 0;       ///< where the next payload is looked for
    std::size_t at_ = kNowhere;  ///< the payload that was looked at last
    char mode_ = '0';
};

/// The next write that is no question; null at the end.
const Said* Judge::Next() {
    for (std::size_t i = next_; i < said_.size(); ++i) {
        const bool payload = said_[i].kind == Said::kReport || said_[i].kind == Said::kWrote;
        if (!payload || IsQuestion(said_[i])) continue;
        at_ = i;
        next_ = i + 1;
        return &said_[i];
    }
    next_ = said_.size();
    return nullptr;
}

const Said* Judge::Peek() const {
    Judge ahead(*this);
    return ahead.Next();
}

bool Judge::Drained() const {
    if (errand_.line == Line::Usb) return true;
    for (std::size_t i = at_ + 1; i < said_.size() && said_[i].kind != Said::kWrote; ++i) {
        if (said_[i].kind == Said::kDrained) return true;
    }
    return false;
}

/// All that was read between the write at `question` and the next one.
Bytes Judge::AnswerOf(std::size_t question) const {
    Bytes all;
    for (std::size_t i = question + 1; i < said_.size(); ++i) {
        if (said_[i].kind == Said::kWrote || said_[i].kind == Said::kReport) break;
        if (said_[i].kind == Said::kRead) all.insert(all.end(), said_[i].bytes.begin(), said_[i].bytes.end());
    }
    return all;
}

/// The last release that was told between two places in the conversation; false when the question that was
/// asked last was not answered.
bool Judge::ReleaseTold(std::size_t from, std::size_t to, Bytes& answer) const {
    bool told = false;
    for (std::size_t i = from; i < to && i < said_.size(); ++i) {
        if (said_[i].kind != Said::kWrote || said_[i].bytes != kRelease) continue;
        answer = AnswerOf(i);
        told = !answer.empty();
    }
    return told;
}

/// Whether the printer told its release when it was last asked before the next payload, as every handshake
/// and release inquiry wants it.
bool Judge::Reached() {
    Bytes release;
    const Said* const payload = Peek();
    const auto end = payload == nullptr ? said_.size() : static_cast<std::size_t>(payload - said_.data());
    return payload != nullptr && ReleaseTold(next_, end, release);
}

/// Whether the printer said of itself, unbent, what it is.
bool Judge::HonestlySaid(simulator::Exchange exchange) const {
    const simulator::ExchangeRow& row = simulator::kExchanges[static_cast<std::size_t>(exchange)];
    const Bytes question(row.inquiry.begin(), row.inquiry.end());
    for (std::size_t i = 0; i < said_.size(); ++i) {
        if (said_[i].kind == Said::kWrote && said_[i].bytes == question)
            return AnswerOf(i) == row.Answer(errand_.printer);
    }
    return false;
}

std::string Judge::Setup() {
    Bytes release;
    if (!ReleaseTold(0, said_.size(), release)) return "no status handshake";
    for (const unsigned char inquiry : Bytes{0x01, 0x02}) {
        bool answered = false;
        for (std::size_t i = 0; i < said_.size(); ++i) {
            if (said_[i].bytes == Inquiry(inquiry) && said_[i].kind == Said::kWrote)
                answered = FirstOf(AnswerOf(i), {0x03}) >= 0;
        }
        if (!answered) return "a question without a whole answer";
    }
    return {};
}

/// The questions before anything is sent: each answered, and what an honest printer answers.
std::string Judge::Identity() {
    using simulator::Exchange;
    using simulator::PrinterOptions;
    const bool upgrade = errand_.what == Errand::kUpgrade;
    const Bytes questions[] = {Inquiry(0x01), Inquiry(0x28), Inquiry(upgrade ? 0x70 : 0x40)};
    std::size_t at = 0;
    for (const Bytes& question : questions) {
        while (at < said_.size() && (said_[at].kind != Said::kWrote || said_[at].bytes != question)) ++at;
        if (at == said_.size()) return "a question was not asked";
        const Bytes answer = AnswerOf(at);
        if (FirstOf(answer, {0x03}) < 0) return "a question without a whole answer";
        const std::string text(answer.begin(), answer.end());
        const std::size_t named = text.find("<U", std::min(text.find("<C112>"), text.size()));
        if (named != std::string::npos && named + 2 < text.size()) mode_ = text[named + 2];
    }
    const unsigned offered = upgrade ? PrinterOptions::kOffersUpgrade : PrinterOptions::kOffersModules;
    if (HonestlySaid(Exchange::DataAvailable) && (errand_.printer.dataAvailable & offered) == 0)
        return "a printer that does not take it";
    const PrinterOptions package;
    const auto differs = [](int printer, int of) { return printer != 0 && printer != of; };
    if (upgrade && HonestlySaid(Exchange::UpgradeInfo) &&
        (differs(errand_.printer.family, package.family) || differs(errand_.printer.model, package.model) ||
         differs(errand_.printer.customization, package.customization))) {
        return "a package for another printer";
    }
    next_ = at + 1;
    return {};
}

/// A module file's success says that it was tried.
std::string Judge::Module() {
    if (const std::string why = Identity(); !why.empty()) return why;
    const std::size_t asked = next_;
    Bytes sent;
    Bytes release;
    while (const Said* said = Next()) sent.insert(sent.end(), said->bytes.begin(), said->bytes.end());
    if ((errand_.components & 2) == 0) return sent.empty() ? "" : "a module that was not wanted";
    if (!Begins(errand_.modules[0].image, sent)) return "other bytes than the module's";
    return !sent.empty() || !ReleaseTold(asked, said_.size(), release) ? "" : "the module was not sent";
}

std::string Judge::Upgrade() {
    if (std::string why = Identity(); !why.empty()) return why;
    const bool firmware = (errand_.components & 1) != 0;
    if (!errand_.newForm && !firmware) return "nothing to send";
    const bool modules = errand_.newForm && (errand_.components & 2) != 0;
    const bool allAfter = mode_ == '2' || mode_ == '4' || mode_ == '5' || mode_ == '6';
    std::string why;
    for (const Errand::Module& module : errand_.modules) {
        if (modules && why.empty() && !module.after && !allAfter) why = SendModule(module.image);
    }
    if (firmware && why.empty()) why = Procedure();
    for (const Errand::Module& module : errand_.modules) {
        if (modules && why.empty() && (module.after || allAfter)) why = SendModule(module.image);
    }
    if (!why.empty()) return why;
    return Next() == nullptr ? "" : "more was sent than there is";
}

std::string Judge::Procedure() {
    switch (mode_) {
        case '1':
            return SendU1();
        case '2':
        case '4':
            return SendRenesas();
        case '3':
            return SendU3();
        case '5':
            return SendU5();
        case '6':
            return SendU6();
        default:
            return "no procedure was named";
    }
}

/// A short write is no failure here: the printer's answer decides.
std::string Judge::SendModule(const Bytes& image) {
    if (!Reached()) return "a module without a handshake";
    for (std::size_t sent = 0; sent < image.size();) {
        const Said* said = Next();
        if (said == nullptr) return "a module is missing";
        const Bytes packet = Part(image, sent, kModulePacket);
        if (packet != said->bytes) return "a module with other bytes";
        if (!said->whole) break;
        sent += packet.size();
    }
    const int answer = FirstOf(Answer(), {0xAA, 0x33, 0x44, 0x66, 0x77, 0x88, 0x95});
    return answer == 0xAA ? "" : "a module that the printer did not say it programmed";
}

/// The command behind the banks, with their sums. The second one counts each byte XOR its place: in U1 in the
/// whole group, elsewhere in its bank.
Bytes Judge::Program(std::size_t first, std::size_t count) const {
    std::uint64_t sum = 0, mixed = 0;
    for (std::size_t i = 0; i < count * errand_.bankSize; ++i) {
        const std::uint64_t byte = errand_.firmware[first * errand_.bankSize + i];
        sum += byte;
        mixed += byte ^ (mode_ == '1' ? i : i % errand_.bankSize);
    }
    const auto low = [](std::uint64_t value) { return static_cast<unsigned char>(value & 0xFF); };
    return {0x1C,          0xFF,     low(first),      low(first + count - 1),
            low(sum >> 8), low(sum), low(mixed >> 8), low(mixed)};
}

/// Start command, banks and program command of one group, each write whole, and all of it arrived. False
/// without a reason: a write failed.
bool Judge::SendGroup(std::size_t first, std::size_t count, std::string& why) {
    const auto low = [](std::size_t value) { return static_cast<unsigned char>(value & 0xFF); };
    std::vector<Bytes> writes{{0x1C, 0xFD, low(first), low(first + count - 1)}};
    for (std::size_t i = 0; i < count; ++i)
        writes.push_back(Part(errand_.firmware, (first + i) * errand_.bankSize, errand_.bankSize));
    writes.push_back(Program(first, count));
    for (const Bytes& bytes : writes) {
        const Said* said = Next();
        if (said == nullptr) why = "banks are missing";
        if (said != nullptr && said->bytes != bytes) why = "other banks, or in another order";
        if (!why.empty() || !said->whole) return false;
    }
    return Drained();
}

/// Whether the printer answered a group of U1 as its line wants; `same`: it had the package's release before.
bool Judge::GroupTaken(bool same) {
    const bool honest = HonestlySaid(simulator::Exchange::UpgradeInfo);
    const bool silent = errand_.printer.configuration.substr(0, 1) == "0";
    if (errand_.line == Line::Usb && honest && silent) return true;
    // A printer whose settings were bent may have said that it answers nothing.
    const Said* const following = Peek();
    const bool again = following != nullptr && Begins(following->bytes, {0x1C, 0xFD});
    if (errand_.line == Line::Usb && !honest && !again) return true;
    if (errand_.line != Line::Ethernet) {
        const auto isRead = [](const Said& said) { return said.kind == Said::kRead; };
        const auto first =
            std::find_if(said_.begin() + static_cast<std::ptrdiff_t>(at_), said_.end(), isRead);
        return first != said_.end() && first->bytes == Bytes{0xAA} && Begins(Answer(), {0xAA});
    }
    if (same) return true;
    // The status handshake asks for the release, too: each second answer is the inquiry's.
    int told = 0;
    for (std::size_t i = at_ + 1; i < said_.size() && &said_[i] != following; ++i) {
        if (said_[i].kind != Said::kWrote || said_[i].bytes != kRelease) continue;
        if (++told % 2 != 0) continue;
        const Bytes answer = AnswerOf(i);
        if (answer.size() == 4) return SameText(answer, errand_.release);
    }
    return false;
}

std::string Judge::SendU1() {
    if (!Reached()) return "a group without the release inquiry";
    Bytes release;
    ReleaseTold(next_, static_cast<std::size_t>(Peek() - said_.data()), release);
    for (int tries = 0; tries < kGroupTries; ++tries) {
        const Said* const again = Peek();
        if (again == nullptr || !Begins(again->bytes, {0x1C, 0xFD})) break;
        std::string why;
        if (SendGroup(0, Banks(), why) && GroupTaken(SameText(release, errand_.release))) return {};
        if (!why.empty()) return why;
    }
    return "no group that the printer took";
}

std::string Judge::SendU3() {
    if (!Reached()) return "banks without the release inquiry";
    std::string why;
    return SendGroup(0, Banks(), why) || !why.empty() ? why : "banks that did not arrive";
}

std::string Judge::SendU5() {
    constexpr std::size_t kCode = 3;
    if (!Reached()) return "banks without the release inquiry";
    std::string why;
    for (std::size_t first = 0; first < Banks(); first = std::max(kCode, first + 1)) {
        if (!SendGroup(first, first == 0 ? kCode : 1, why)) return why.empty() ? "banks did not arrive" : why;
        if (first == 0 || first == Banks() - 1) continue;
        // An answer that comes when the time is up does not count; a multiplier below 1 leaves none.
        const auto times = static_cast<std::uint64_t>(std::max(errand_.timem, 0));
        std::uint64_t limit = 0;
        Bytes answer;
        for (std::size_t i = at_ + 1; i < said_.size() && said_[i].kind != Said::kWrote; ++i) {
            if (said_[i].kind == Said::kDrained) limit = said_[i].at + times * (kBankPauseMs + kBankAnswerMs);
            if (said_[i].kind == Said::kRead && said_[i].at < limit)
                answer.insert(answer.end(), said_[i].bytes.begin(), said_[i].bytes.end());
        }
        if (FirstOf(answer, {0xAA, 0x33, 0x44, 0x66, 0x77, 0x88, 0x99}) != 0xAA)
            return "a bank without its AA";
    }
    return {};
}

std::string Judge::Exchange(const BootStep& step, Bytes& answer) {
    const Said* said = Next();
    if (said == nullptr || said->bytes != step.command) return "boot commands out of order";
    if (!said->whole) return "half a boot command";
    answer = Answer();
    if (step.atOnce ? answer.size() != step.size : answer.size() < step.size) return "no boot answer";
    for (const auto& [at, value] : step.holds) {
        if (answer[at] != value) return "a refusal of the boot loader taken for success";
    }
    return {};
}

std::string Judge::SendRenesas() {
    if (!Reached()) return "boot entry without a handshake";
    const Said* entry = Next();
    Bytes answer;
    if (entry == nullptr || entry->bytes != Bytes{0x1C, 0x4C, 0x49}) return "no boot entry";
    if (Answer().size() != 8) return "boot entry without its answer";
    bool newDialect = false;
    std::string why = Exchange({{0x55}, 1, true, {{0, 0xE6}}}, answer);
    if (mode_ == '2' && why.empty()) {
        why = Exchange({{0x32}, 4, false, {}}, answer);
        answer.resize(std::min<std::size_t>(answer.size(), 4));
        const std::string release(answer.begin(), std::find(answer.begin(), answer.end(), 0));
        if (why.empty() && release >= "1.00") {
            why = Exchange({{0x33}, 1, true, {}}, answer);
            newDialect = why.empty() && answer[0] == 0x15;
            if (why.empty() && !newDialect && answer[0] != 0x06) why = "security refused";
            if (newDialect) why = Exchange({{0x34}, 1, true, {{0, 0x06}}}, answer);
        }
    }
    if (why.empty()) why = Exchange({{0x27}, 5, false, {{0, 0x37}}}, answer);
    const std::size_t unitSize = why.empty() ? answer[2] * std::size_t{256} + answer[3] : 0;
    const unsigned char mark = newDialect ? 0x52 : 0x00;
    const std::vector<std::pair<std::size_t, unsigned char>> acknowledged{{0, 0x06}};
    const BootStep steps[] = {
        {{0x10, 0x04, '7', '6', '0', '8', 0x17}, 1, true, acknowledged},
        {{0x11, 0x01, 0x00, 0xEE}, 1, true, acknowledged},
        {{0x25}, 12, false, {{0, 0x35}}},
        {{0x3F, 0x07, 0x00, 0x00, 0x04, 0xB0, 0x02, 0x08, 0x04, 0xF8}, 1, true, acknowledged},
        {{0x06}, 1, true, acknowledged},
        {{0x40}, 1, false, acknowledged},
        {{0x4F}, 5, false, {{0, 0x5F}, {2, 0x3F}, {3, 0x00}}},
        {{0x4D}, 1, false, acknowledged},
        newDialect ? BootStep{{0x62}, 2, false, {{1, 0x52}}} : BootStep{{0x62}, 1, false, acknowledged},
        {{0x4F}, 5, false, {{0, 0x5F}, {2, 0x3F}, {3, mark}}},
        {{0x43}, 1, true, acknowledged},
    };
    for (const BootStep& step : steps) {
        if (why.empty()) why = Exchange(step, answer);
    }
    if (why.empty()) why = SendUnits(unitSize);
    if (why.empty()) why = Exchange({{0x50, 0xFF, 0xFF, 0xFF, 0xFF, 0xB4}, 1, true, acknowledged}, answer);
    if (why.empty()) why = Exchange({{0x7A}, 1, true, acknowledged}, answer);
    if (mode_ != '2' || !why.empty()) return why;
    const Said* reset = Next();  // its answer is not looked at
    return reset != nullptr && reset->bytes == Bytes{0x31} ? "" : "no reset behind the programming";
}

/// The firmware in units that end at the top of the address space, each acknowledged, at most twice.
std::string Judge::SendUnits(std::size_t unitSize) {
    const Bytes& firmware = errand_.firmware;
    if (unitSize == 0 || firmware.size() % unitSize != 0) return "units that do not fit the firmware";
    for (std::size_t at = 0; at < firmware.size(); at += unitSize) {
        const std::uint64_t address = (std::uint64_t{1} << 32) - firmware.size() + at;
        Bytes frame{0x50};
        for (const int shift : {24, 16, 8, 0})
            frame.push_back(static_cast<unsigned char>((address >> shift) & 0xFF));
        const Bytes data = Part(firmware, at, unitSize);
        frame.insert(frame.end(), data.begin(), data.end());
        unsigned char sum = 0;
        for (const unsigned char byte : frame) sum = static_cast<unsigned char>(sum - byte);
        frame.push_back(sum);
        bool taken = false;
        for (int tries = 0; tries < kUnitTries && !taken; ++tries) {
            const Said* said = Next();
            if (said == nullptr || said->bytes != frame || !said->whole)
                return "units are missing or out of order";
            const Bytes answer = Answer();
            if (answer.empty()) return "a unit without an answer";
            taken = answer[0] == 0x06;
        }
        if (!taken) return "a unit that was refused twice";
    }
    return {};
}

/// What the reports' transfers and the boot entry's write say is not looked at: the acknowledgements tell.
std::string Judge::SendU6() {
    if (!Reached()) return "boot entry without a handshake";
    const Said* said = Next();
    if (said == nullptr || said->bytes != Bytes{0x1C, 0xEE}) return "no boot entry";
    const Bytes& firmware = errand_.firmware;
    for (std::size_t at = 0; at < firmware.size();) {
        const Bytes record = Part(firmware, at, firmware[at + 1] + std::size_t{2});
        for (std::size_t piece = 0; piece < record.size(); piece += kReport) {
            Bytes report = Part(record, piece, kReport);
            report.resize(kReport);
            said = Next();
            if (said == nullptr || said->kind != Said::kReport || said->bytes != report)
                return "records are missing or out of order";
        }
        Bytes answer = Answer();
        if (answer.empty()) return "a record without an answer";
        answer.resize(std::max<std::size_t>(answer.size(), 4));
        if (!Begins(answer, {0x40, 0, 0, 0})) return "a record that was refused";
        at += record.size();
    }
    return {};
}

}  // namespace

std::string WhyNoSuccess(const Errand& errand, const Conversation& conversation) {
    Judge judge(errand, conversation);
    if (errand.what == Errand::kSetup) return judge.Setup();
    return errand.what == Errand::kModule ? judge.Module() : judge.Upgrade();
}

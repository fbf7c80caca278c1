// The N-th call of the port fails, in each way that it can, N over the whole run, for every procedure, port
// and form of package.
#include <map>

#include "harness/Rig.h"

namespace {

struct Kind {
    const char* mode;  ///< "module": a module file
    Line line;
};

bool Applies(LineFault::How how, const std::string& call, Line line) {
    if (how == LineFault::kShort) return call == "Write";
    if (how == LineFault::kSilence) return call == "Read";
    if (how == LineFault::kWrongByte) return call == "Write" || call == "Read";
    return how != LineFault::kConnectionGone || line == Line::Ethernet;
}

/// What a second look at the printer says of the verdict. A module file's verdict says only that it was
/// tried.
void Judge(const Kind& kind, Rig& rig, bool success, LineFault::How how, const std::string& call) {
    const std::string mode = kind.mode;
    const bool unconfirmed = mode == "U3" || mode == "U5";  // nothing answers all of the banks
    const bool turnedOver = how == LineFault::kWrongByte && call == "Write";
    EXPECT_TRUE(!success || mode == "module" || rig.HasAll() || (unconfirmed && turnedOver));
    EXPECT_LT(rig.tookMs, 3600000U);
    EXPECT_LT(rig.line.calls.size(), 40000U) << "a wait that spins";
    EXPECT_TRUE(rig.bClosed);
    const bool putBack = mode == "U1" || mode == "U6" || mode == "module" || (unconfirmed && success);
    EXPECT_TRUE(!putBack || rig.bSettingsBack);
}

class LineFaults : public testing::TestWithParam<Kind> {};

/// Gives what came of all of them, in words.
std::string PlayFaults(const Kind& kind, bool newForm) {
    const LineFault::How hows[] = {LineFault::kError,     LineFault::kShort,          LineFault::kSilence,
                                   LineFault::kWrongByte, LineFault::kConnectionGone, LineFault::kDeviceGone};
    Rig whole(kind.mode, kind.line, newForm);
    EXPECT_TRUE(whole.Run() && whole.HasAll());
    std::map<int, int> codes;  ///< how often the run ended with each error code
    std::uint64_t tookMs = 0;
    for (std::size_t n = 0; n < whole.line.calls.size(); ++n) {
        const std::string& call = whole.line.calls[n];
        for (const LineFault::How how : hows) {
            if (!Applies(how, call, kind.line)) continue;
            SCOPED_TRACE((newForm ? "new form, " : "old form, ") + call + ", call " + std::to_string(n + 1) +
                         ", fault " + std::to_string(how));
            Rig rig(kind.mode, kind.line, newForm);
            rig.bSilent = true;
            rig.line.faults = {{"", how, static_cast<int>(n) + 1}};
            const bool success = rig.Run();
            Judge(kind, rig, success, how, call);
            codes[success ? 0 : rig.errorCode]++;
            tookMs += rig.tookMs;
        }
    }
    std::string text = std::to_string(tookMs) + " ms, error codes";
    for (const auto& [code, times] : codes)
        text += " " + std::to_string(code) + " (" + std::to_string(times) + "x)";
    return text;
}

TEST_P(LineFaults, NoneMakesASuccessThatIsNone) {
    const auto& [mode, line] = GetParam();
    const bool forms = std::string(mode) != "module";
    ExpectRecordedRun(NameOf(mode, line, false) +
                      ", each call fails in each way: " + PlayFaults(GetParam(), false) +
                      (forms ? "; new form: " : "") + (forms ? PlayFaults(GetParam(), true) : ""));
}

/// How the printer was left, and what brought it home: the same command, or that after off and on.
std::string EndAt(int call, const Kind& kind, bool newForm) {
    Rig rig(kind.mode, kind.line, newForm);
    rig.bSilent = true;
    rig.line.faults = {{"", LineFault::kEnds, call}};
    EXPECT_FALSE(rig.Run());
    const auto usb = rig.model->OnUsb(rig.nowMs);
    const bool touched = !rig.model->FlashImage().empty() || !rig.model->Modules().empty();
    const std::string left = rig.HasAll()                   ? "written"
                             : usb && usb->vendor != 0xF0F0 ? "in its boot loader"
                             : touched                      ? "half written"
                                                            : "untouched";
    for (const char* const home : {", again", ", off and on, again"}) {
        rig.line = {};
        if (rig.Run() && rig.HasAll()) return left + home;
        rig.model->PowerCycle(rig.nowMs);
        rig.nowMs += 60000;
    }
    return left + ", lost";
}

TEST_P(LineFaults, AnEndedRunLeavesAPrinterThatTheSameCommandBringsHome) {
    const auto& [mode, line] = GetParam();
    for (const bool newForm : {false, true}) {
        if (newForm && std::string(mode) == "module") break;
        Rig whole(mode, line, newForm);
        ASSERT_TRUE(whole.Run());
        std::map<std::string, int> ends;
        for (std::size_t n = 1; n <= whole.line.calls.size(); ++n)
            ends[EndAt(static_cast<int>(n), GetParam(), newForm)]++;
        std::string text = NameOf(mode, line, newForm) + ", ended at each call:";
        for (const auto& [end, times] : ends) text += " " + end + " (" + std::to_string(times) + "x)";
        ExpectRecordedRun(text);
    }
}

constexpr Kind kKinds[] = {{"U1", Line::Serial},     {"U1", Line::Ethernet},     {"U1", Line::Usb},
                           {"U2", Line::Usb},        {"U3", Line::Serial},       {"U3", Line::Ethernet},
                           {"U3", Line::Usb},        {"U4", Line::Serial},       {"U4", Line::Usb},
                           {"U5", Line::Serial},     {"U5", Line::Ethernet},     {"U5", Line::Usb},
                           {"U6", Line::Serial},     {"U6", Line::Ethernet},     {"U6", Line::Usb},
                           {"module", Line::Serial}, {"module", Line::Ethernet}, {"module", Line::Usb}};

INSTANTIATE_TEST_SUITE_P(Each, LineFaults, testing::ValuesIn(kKinds));

}  // namespace

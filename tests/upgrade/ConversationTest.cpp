// One whole run a procedure and form of package, held as a text that a person can read: the log, the bytes in
// both directions and the waits of a second or more, in their order. tools/record-conversations writes the
// texts anew; the change is then read in review.

#include "harness/Rig.h"

namespace {

const char* const kLastAnswer[] = {"[PrnCom_UpgradePrinter]GetUpgradeInfo OK",
                                   "[PrnCom_WriteModule]ModuleItemPrnModuleList OK"};

struct Conversation {
    const char* mode;  ///< "module": a module file
    Line line;
    bool newForm;
    bool whole;  ///< from the file's first record on; else from the answer to the last question on
};

/// What the port does between two lines of the log goes on one line.
Lines Compact(const Lines& log) {
    Lines compact;
    for (const std::string& line : log) {
        if (compact.empty() || line[0] == '[' || compact.back()[0] == '[')
            compact.push_back(line);
        else
            compact.back() += "  " + line;
    }
    return compact;
}

Lines Play(const Conversation& each) {
    const bool module = std::string(each.mode) == "module";
    Rig rig(each.mode, each.line, each.newForm);
    rig.line.bRecord = true;
    EXPECT_TRUE(rig.Run());
    EXPECT_TRUE(rig.HasAll());
    EXPECT_EQ(rig.model->Violations(), std::vector<std::string>());
    const auto start = std::find(rig.log.begin(), rig.log.end(), kLastAnswer[module ? 1 : 0]);
    if (!each.whole) rig.log.erase(rig.log.begin(), start);
    rig.log.push_back("took " + std::to_string(rig.tookMs) + " ms, " + std::to_string(rig.namedMs) +
                      " ms of them in waits of a second or more");
    return Compact(rig.log);
}

TEST(Conversation, IsAsRecorded) {
    const Conversation all[] = {
        {"U1", Line::Serial, true, false},    {"U1", Line::Ethernet, false, false},
        {"U1", Line::Usb, false, true},       {"U2", Line::Usb, true, false},
        {"U2", Line::Usb, false, false},      {"U3", Line::Ethernet, true, true},
        {"U3", Line::Usb, false, false},      {"U4", Line::Serial, true, false},
        {"U4", Line::Usb, false, false},      {"U5", Line::Usb, true, false},
        {"U5", Line::Ethernet, false, false}, {"U6", Line::Ethernet, true, false},
        {"U6", Line::Usb, false, false},      {"module", Line::Serial, false, false},
    };
    for (const Conversation& each : all)
        ExpectRecorded(NameOf(each.mode, each.line, each.newForm), Joined(Play(each), "\n") + "\n");
}

}  // namespace

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "harness/PrinterPort.h"
#include "printer/PrinterComm.h"
#include "simulator/PrinterModel.h"
#include "simulator/SampleFiles.h"
#include "simulator/boot/RenesasBootDevice.h"
#include "simulator/boot/SiliconLabsBootDevice.h"

using simulator::Bytes;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PrinterOptions;

/// One run of the program in this process, on virtual time: its own classes, from the bytes of a package or a
/// module file, against the simulator's model of the printer (and of its boot device) through one
/// PrinterPort. Set what is tried, Run it, look at what came of it.
class Rig {
 public:
    /// A printer of procedure `mode` ("U1" to "U6") with a small firmware, and the package for it: 1.06 on a
    /// printer with 1.05, in the new form with a font before the firmware and a logo after it; or, for
    /// "module", a module file on a printer of U3.
    Rig(const std::string& mode, Line line, bool newForm);

    // ---- what is tried ----
    simulator::PackageSample package;
    std::optional<simulator::ModuleSample> module;  ///< a module file in the package's place
    PrinterOptions printer;                     ///< its line decides the port; its faults are the printer's
    simulator::RenesasBootOptions renesas;      ///< the boot device of U2 and U4
    simulator::SiliconLabsBootOptions silicon;  ///< and of U6
    LinePlan line;                              ///< what goes wrong on the line
    int timem = 1;                              ///< -m
    int components = 3;                         ///< -c
    bool bSilent = false;                       ///< keeps no log, to be quick

    // ---- what came of it ----
    /// The verdict. Run again, the printer is as the run before left it, a minute later.
    bool Run();
    Lines log;         ///< "[tag]text", and the port's side of the conversation with `line.bRecord`
    std::string said;  ///< what a person at a terminal is told; not with `bSilent`
    int errorCode = 0;
    std::uint64_t tookMs = 0;
    std::uint64_t namedMs = 0;         ///< of it in waits of a second or more
    std::vector<std::uint64_t> waits;  ///< all of them, in microseconds
    bool bSettingsBack = false;        ///< the port's time-outs and packet size are as they were before
    bool bClosed = false;              ///< so is the port
    std::unique_ptr<simulator::PrinterModel> model;
    std::uint64_t nowMs = 1700000000000;  ///< of the printer's time
    /// Firmware and modules as the printer must have them after a whole upgrade.
    Bytes Firmware() const;
    std::vector<Bytes> Modules() const;
    /// Whether the printer has both, whole.
    bool HasAll() const;
    /// How a printer on such a line is named.
    static CommPortSettings SettingsOf(Line line);

 private:
    bool Play(CComPort& port);
};

/// As the recorded runs are named.
std::string NameOf(const std::string& mode, Line line, bool newForm);
/// A line of tests/conversations/runs.txt: what came of a run that is not recorded whole.
void ExpectRecordedRun(const std::string& line);

/// What is otherwise than usual in a row: of the printer, of the line, or anything.
using Given = std::function<void(Rig&)>;
Given PrinterFaults(std::vector<Fault> faults);
Given LineFaults(std::vector<LineFault> faults);
Given Both(Given first, Given second);
inline Given Times(int timem) {
    return [=](Rig& rig) { rig.timem = timem; };
}
template <class Member, class Value>
Given Printer(Member simulator::PrinterOptions::*member, const Value& value) {
    return [=](Rig& rig) { rig.printer.*member = value; };
}

/// How a row ends: the verdict and what the printer has afterwards.
constexpr int kAll = -1;
struct RigEnd {
    bool verdict;
    int banks;    ///< of the firmware, from its start
    int modules;  ///< of the package (new form) or the module file
};
constexpr RigEnd kWhole{true, kAll, kAll}, kNothing{false, 0, 0};

/// One row of a procedure's table: what is tried in which forms of package, and how it ends.
enum Forms { kBoth, kOld, kNew };
struct RigRow {
    const char* what;
    Line line;
    Forms forms;
    Given given;
    RigEnd end;
    Lines lines;  ///< of the log, with or without tag, in this order; "!text" must not be in it
    std::function<void(const Rig&)> then;  ///< looks at what else there is
};

inline RigRow Row(const char* what, Line line, Forms forms, Given given, RigEnd end, Lines lines = {},
                  std::function<void(const Rig&)> then = {}) {
    return {what, line, forms, std::move(given), end, std::move(lines), std::move(then)};
}

/// Plays the rows in the forms of each; what every run shares (nothing that a printer would not have stood in
/// a run that succeeds, an end within the hour) is looked at too.
void PlayRows(const std::string& mode, const std::vector<RigRow>& rows);

#include "upgrade/RenesasConnection.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "protocol/Commands.h"
#include "support/Log.h"
#include "upgrade/RenesasExchange.h"

namespace {

using Exchange = RenesasExchange;

constexpr unsigned char kNak = 0x15;

constexpr Exchange kSaveSecurity = [] {
    Exchange exchange("Sending Save Security command", Commands::Cmd_SaveSecurity);
    exchange.alternative = {0, kNak};
    return exchange;
}();

}  // namespace

/// One step: the exchange, when it is made, what is taken from its answer, and the reason when it cannot be
/// sent.
struct RenesasConnection::Step {
    Exchange exchange;
    bool (RenesasConnection::*applies)() const = &RenesasConnection::Always;
    void (RenesasConnection::*take)(const Answer&) = &RenesasConnection::TakeNothing;
    BTPRGERROR unsent = BTPRG_FAILED;
};

bool RenesasConnection::Make(CComPort& port, int timem, BTPRGERROR& err) {
    using C = RenesasConnection;
    // clang-format off
    static const Step kSteps[] = {
        {{"Sending Automatic Adjustment of Bit Rate command", Commands::Cmd_AutomaticAdjustmentBitRate,
          {1, 0}, {{{0, 0xE6}}}}},
        {{"Sending Get Bootloader Release command", Commands::Cmd_GetRelease, {4, 5000}, {}},
         &C::AsksRelease, &C::TakeRelease, BTPRG_RELEASE_UNAVAILABLE},
        {kSaveSecurity, &C::IsSecured, &C::TakeDialect},
        {{"Sending Save Security NEW command", Commands::Cmd_SaveSecurityNew}, &C::IsNew},
        {{"Sending Programming Size Inquiry command", Commands::Cmd_ProgrammingSizeInquiry,
          {5, 5000}, {{{0, 0x37}}}}, &C::Always, &C::TakeProgrammingSize},
        {{"Sending Device Selection command", Commands::Cmd_DeviceSelection}},
        {{"Sending Clock Mode Selection command", Commands::Cmd_ClockModeSelection}},
        {{"Sending User Area Information Inquiry command", Commands::Cmd_UserAreaInformationInquiry,
          {12, 5000}, {{{0, 0x35}}}}, &C::Always, &C::TakeUserArea},
        {{"Sending Bit Rate Selection command", Commands::Cmd_BitRateSelecion}},
        {{"Sending Confirmation command", Commands::Cmd_Confirmation}},
        {{"Sending Programming/Erasure State Transition command",
          Commands::Cmd_ProgrammingErasureStateTransition, {1, 30000}}},
        {{"Sending Boot Program Status Inquiry command", Commands::Cmd_BootProgramStatusInquiry,
          {5, 10000}, {{{0, 0x5F}, {2, 0x3F}, {3, 0x00}}}}},
        {{"Sending User Area Blank Check command", Commands::Cmd_UserAreaBlankCheck, {1, 5000}}},
        {{"Sending Data Area Blank Check command(OLD BOOTLOADER)", Commands::Cmd_DataAreaBlankCheck,
          {1, 5000}}, &C::IsOld},
        {{"Sending Data Area Blank Check command(New Bootloader)", Commands::Cmd_DataAreaBlankCheck,
          {2, 5000}, {{{1, 0x52}}}}, &C::IsNew},
    };
    // clang-format on
    RenesasLink link(port, tag_, timem);
    for (const Step& step : kSteps) {
        if (!(this->*step.applies)()) continue;
        const RenesasOutcome outcome = link.Run(step.exchange);
        if (outcome == RenesasOutcome::NotSent) err = step.unsent;
        if (outcome != RenesasOutcome::Accepted && outcome != RenesasOutcome::Alternative) return false;
        (this->*step.take)(link.LastAnswer());
    }
    return true;
}

void RenesasConnection::TakeNothing(const Answer& answer) {
    static_cast<void>(answer);
}

void RenesasConnection::TakeRelease(const Answer& answer) {
    const std::string release(answer.begin(), answer.end());
    Log::WriteLogP(tag_, "Release Found: %s", release.c_str());
    supportsSecurity_ = std::strcmp(release.c_str(), "1.00") >= 0;
    if (supportsSecurity_) Log::WriteLog(tag_, "Bootloader release support security!");
}

void RenesasConnection::TakeDialect(const Answer& answer) {
    if (answer[0] != kNak) return;
    newBootloader_ = true;
    Log::WriteLog(tag_, "New Bootloader...");
}

void RenesasConnection::TakeProgrammingSize(const Answer& answer) {
    programmingSize_ = answer[2] * 256 + answer[3];
    Log::WriteLogP(tag_, "Programming Size: %d", programmingSize_);
}

void RenesasConnection::TakeUserArea(const Answer& answer) {
    std::uint32_t start = 0;
    for (std::size_t at = 3; at <= 6; ++at) start = start << 8 | answer[at];
    Log::WriteLogP(tag_, "Micro FLASH size: %d", static_cast<int>(~start + 1));
}

#pragma once

#include <deque>
#include <string>
#include <vector>

#include "harness/VirtualClock.h"
#include "port/ComPort.h"

/// Keeps the order and the time of what the flow does with a port: "ReOpen@36" is a re-open 36 seconds after
/// the start. Re-opens succeed unless results were laid down for them.
class RecordingPort final : public CComPort {
 public:
    RecordingPort(const VirtualClock& clock, COMMPORTTYPE type) : clock_(clock), startMs_(clock.NowMs()) {
        iPortType = type;
    }

    bool ReOpen() override {
        Note("ReOpen");
        if (reopenResults.empty()) return true;
        const bool result = reopenResults.front();
        reopenResults.pop_front();
        return result;
    }
    bool BackupPortInfo() override {
        Note("Backup" + stateAtBackup());
        return false;  // nobody is to look at it
    }
    bool RestoreportInfo() override {
        Note("Restore");
        return false;
    }

    void Note(const std::string& event) {
        events.push_back(event + "@" + std::to_string((clock_.NowMs() - startMs_) / 1000));
    }

    std::vector<std::string> events;
    std::deque<bool> reopenResults;
    std::string (*stateAtBackup)() = [] { return std::string(); };

 private:
    const VirtualClock& clock_;
    const std::uint64_t startMs_;
};

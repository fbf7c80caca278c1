#pragma once

class CComPort;

/// How a port is opened again while the printer restarts or re-enumerates. Nine failed attempts end a loop.
struct ReopenLoop {
    int pauseSeconds = 5;         ///< after an attempt, × the time multiplier
    bool numberedRetries = true;  ///< the retry line carries the attempt's number; also chooses the last line
    bool pauseAfterSuccess = true;  ///< the pause follows a success too

    /// Runs the loop, logging under `tag`. True when the port is open at the end. Callers of the numbered
    /// loops go on in either case: the exchange that follows fails by itself.
    bool Run(CComPort& port, int timem, const char* tag) const;

    static constexpr int kMostFailures = 9;
};

/// Before firmware is sent.
inline constexpr ReopenLoop kReopenBeforeFirmware{5, true, true};
/// After banks were taken and the printer restarts.
inline constexpr ReopenLoop kReopenAfterBanks{2, true, true};
/// Before modules, and before engine U1's firmware: an exhausted loop is a failure there.
inline constexpr ReopenLoop kReopenOrFail{5, false, false};

#include "upgrade/ReopenLoop.h"

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"

bool ReopenLoop::Run(CComPort& port, int timem, const char* tag) const {
    for (int failures = 0;;) {
        const bool open = port.ReOpen();
        if (!open) {
            ++failures;
            if (numberedRetries) {
                Log::WriteLogP(tag, "ReOpen Error. Retry %d", failures);
            } else {
                Log::WriteLog(tag, "ReOpen Error. Retry");
            }
        }
        if (failures >= kMostFailures) {
            // Kept: nothing is thrown, and the two loops spell the line differently.
            Log::WriteLog(tag, numberedRetries ? "ReOpen Error. Num max Retry found. Throw Error"
                                               : "ReOpen Error. Num Max Retry found. Throw Error");
            return false;
        }
        if (!open || pauseAfterSuccess) SleepSeconds(pauseSeconds, timem);
        if (open) return true;
    }
}

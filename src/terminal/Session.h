#pragma once

#include "terminal/Foresight.h"

class PSWFile;

/// What a person at a terminal sees of a run besides what it prints: warnings, a live line, and reasons at
/// its end. Everything goes to standard error. Process-wide, one a run.
namespace Session {

/// Begins it; called only when somebody watches.
void Begin(const RunOptions& run);
/// Takes from the package what it will send. Does nothing without a session, as does End.
void Know(PSWFile& package);
/// Says what the last line leaves open; also done when the process exits.
void End();

}  // namespace Session

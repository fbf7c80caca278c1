#pragma once

/// While a printer is written to: the first interrupt from the terminal is only told, a second one within
/// five seconds ends the run, and a hang-up does not. Only where standard input and standard error are a
/// terminal; otherwise, and outside of the window, signals do what they always do. Process-wide.
namespace Interruption {

void Open();
void Close();
/// Whether a first interrupt came since this was last asked. Any thread may ask.
bool Asked();

}  // namespace Interruption

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "terminal/Words.h"

class PSWFile;

/// What is named on the command line.
struct RunOptions {
    std::vector<std::string> words;
    std::string file;
    std::string type;
    std::string device;
    int timem = 1;
    int components = 3;
    bool log = false;  ///< on standard output
};

/// The printers and boot loaders on USB.
struct UsbLook {
    std::vector<std::string> printers;  ///< as `--usbdevlist` names them; "?" for what cannot be read
    std::vector<std::string> loaders;   ///< "vendor|product"
    std::string forbidden;              ///< the node of a printer that this user may not open

    UsbLook();
};

/// Says what is dangerous and can be seen before anything is sent.
void Foresee(const RunOptions& run, const std::function<void(Words::Cause, const Words::Facts&)>& say);

/// Why the file cannot be used, as far as a look at it shows; none: it is there and holds something.
Words::Cause LookAtFile(const std::string& name);

/// The texts, with commas between.
std::string Listed(const std::vector<std::string>& texts);

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

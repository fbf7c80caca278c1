#pragma once

#include <functional>
#include <string>
#include <vector>

#include "terminal/Words.h"

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

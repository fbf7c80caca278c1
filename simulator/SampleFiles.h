#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/DeviceModel.h"
#include "simulator/PrinterOptions.h"

namespace simulator {

/// A module file to be written.
struct ModuleSample {
    char kind = 'F';           ///< letter of MOD_ID
    int encodingMode = 1;      ///< ENMODE; -1: without that line, body as it is
    unsigned char key = 0x5A;  ///< 0: body not scrambled
    std::string release = "1.00";
    std::string code = "FNT-001";
    std::size_t bodySize = 6000;  ///< of what is scrambled; fonts have their "FNT:" records in it
    std::uint32_t variant = 1;    ///< the rest of the body follows from it
};

/// A module inside a package.
struct EmbeddedModule {
    char letter = 'f';  ///< of the module header: f, C, d, u, b, l or any other
    Bytes image;        ///< a module file
};

/// A package to be written.
struct PackageSample {
    bool newForm = true;
    unsigned char key = 0x37;  ///< of the payload; 0: not scrambled
    std::string release = "106";
    int family = 12;
    int model = 3;
    int customization = 1;
    std::size_t bankSize = PrinterOptions::kBankSize;
    unsigned banks = PrinterOptions::kBankCount;
    Bytes firmware;                       ///< empty: made by MakeFirmware from release, bankSize and banks
    std::vector<EmbeddedModule> modules;  ///< before and after the firmware by their letters
    bool identified = true;               ///< carries the upgrade identifiers
};

/// Writers of package and module files in their published layout, for tests, demonstration and benchmarks.
/// The same input gives the same bytes.
namespace SampleFiles {

/// Firmware of `size` bytes that names its release ("106" as "1.06") at its start, and nothing in it repeats.
Bytes MakeFirmware(const std::string& release, std::size_t size);

/// Firmware for the Silicon Labs boot loader: `records` records ("$", n, n bytes) of which the first names
/// the release; lengths that fill a report exactly, need two, and are empty come first.
Bytes MakeRecords(const std::string& release, unsigned records);

/// The firmware of the sample package for that boot loader.
Bytes SampleRecords();

/// The release that firmware of one of the two kinds names ("1.06"); empty for other bytes.
std::string ReleaseOf(const Bytes& firmware);

Bytes MakeModule(const ModuleSample& sample);

/// A font and a disk module as embedded modules before the firmware and a logo module after it.
std::vector<EmbeddedModule> UsualModules();

Bytes MakePackage(const PackageSample& sample);

/// What the host sends of a module file: body descrambled, key byte cleared.
Bytes AsSent(const Bytes& module);

/// Writes every kind of sample into `directory` (made when missing) and returns the paths.
/// Throws std::runtime_error when a file cannot be written.
std::vector<std::string> WriteAll(const std::string& directory);

}  // namespace SampleFiles

}  // namespace simulator

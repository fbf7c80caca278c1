#pragma once

#include <string>

class CComPort;
class PSWFile;

/// The firmware release, as the printer reports it and as a package names it.
namespace PrinterRelease {

/// Asks the printer for its release with one read of at most `most` bytes (8191 or fewer). The bytes as they
/// came; empty when none did.
std::string Inquire(CComPort& port, unsigned int most);

/// The same before an upgrade, with at most 511 bytes, cut at a zero byte. Without an answer it logs that,
/// closes the port and returns false.
bool Ask(CComPort& port, std::string& release, const char* tag);

/// The package's release in the form in which the printer reports it: a point after the first character.
std::string OfPackage(PSWFile& package);

}  // namespace PrinterRelease

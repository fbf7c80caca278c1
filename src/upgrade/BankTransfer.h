#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "upgrade/FirmwareImage.h"
#include "upgrade/ReopenLoop.h"

class CComPort;
class PSWFile;

/// What the engines share that send banks in the printer's own protocol.
namespace BankTransfer {

/// How an engine reaches the printer before it sends banks.
struct Opening {
    ReopenLoop loop;
    bool mustReopen;            ///< an exhausted loop is a failure
    const char* handshakeLine;  ///< logged when the status handshake fails
    int fewestBanks;
};

/// Takes the package's firmware into `image`, opens the port again and makes the status handshake. A firmware
/// that is missing, smaller than its banks or of fewer than the fewest banks is refused, with the port
/// closed, before the printer is touched.
bool ReachPrinter(CComPort& port, PSWFile& package, const Opening& opening, int timem, FirmwareImage& image,
                  const char* tag);

/// Asks the printer for its release; `same` tells whether it is the package's, `text` is the package's.
/// False, with the port closed, when it does not answer.
bool CompareRelease(CComPort& port, PSWFile& package, std::string& text, bool& same, const char* tag);

using StartCommand = std::array<unsigned char, 4>;
using ProgramCommand = std::array<unsigned char, 8>;

/// The commands before and after the banks `first` to `last`, of which the low 8 bits are sent.
StartCommand MakeStart(int first, int last);
ProgramCommand MakeProgram(int first, int last, unsigned long sum, unsigned long xorSum);

/// One write. False unless every byte was taken: what follows a short write would be read as its rest.
bool WriteWhole(CComPort& port, unsigned char* bytes, std::size_t size);

/// Banks that go together: the number of the first, and how many there are in all for the progress lines.
struct Group {
    const std::vector<unsigned char*>& banks;
    int bankSize;
    int first;
    int total;
    unsigned long sum;
    unsigned long xorSum;
};

/// Sends a group between its start and program command in large packets and waits until it has arrived. False
/// when a write fails or what was written does not arrive; the port's packet size and write time-out are put
/// back only on success (kept: the next phase opens the port again).
bool SendGroup(CComPort& port, const Group& group, const char* tag);

/// Opens the port again while the printer resets, up to seven times, 5 s × multiplier apart, and logs the
/// wait and, when it came back, `backLine`.
bool WaitForReset(CComPort& port, int timem, const char* backLine, const char* tag);

}  // namespace BankTransfer

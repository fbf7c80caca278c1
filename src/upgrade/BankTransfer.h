#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "port/ComPort.h"
#include "support/Clock.h"
#include "upgrade/UpgradeEngine.h"

/// What the engines share that send banks in the printer's own protocol.
namespace BankTransfer {

/// Takes the package's firmware into `image`. One that is missing, smaller than its banks or of fewer than
/// `fewestBanks` is refused, with the port closed, before the printer is touched.
bool TakeFirmware(CComPort& port, PSWFile& package, int fewestBanks, FirmwareImage& image, const char* tag);

/// Asks the printer for its release with one read of at most `most` bytes (8191 or fewer). The bytes as they
/// came; empty when none did.
std::string InquireRelease(CComPort& port, unsigned int most);

/// Asks the printer for its release; `same` tells whether it is the package's, `text` is the package's in the
/// form in which the printer reports it: a point after the first character. False, with the port closed, when
/// it does not answer.
bool CompareRelease(CComPort& port, PSWFile& package, std::string& text, bool& same, const char* tag);

/// One write. False unless every byte was taken: what follows a short write would be read as its rest.
bool WriteWhole(CComPort& port, const unsigned char* bytes, std::size_t size);

/// The commands before and after the banks `first` to `last`, of which the low 8 bits are sent. The port's
/// Drain tells after the second whether everything arrives.
bool SendStart(CComPort& port, int first, int last);
bool SendProgram(CComPort& port, int first, int last, unsigned long sum, unsigned long xorSum);

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

/// Opens the port again while the printer resets, up to seven times with a pause of 5 s × multiplier between,
/// and logs the wait and, when it came back, `backLine`.
void WaitForReset(CComPort& port, int timem, const char* backLine, const char* tag);

}  // namespace BankTransfer

/// Packets of 57344 bytes for a while, with a write time-out for as many of the port's own packets as one
/// such packet replaces. Without `Restore` they stay.
class LargePackets {
 public:
    explicit LargePackets(CComPort& port);
    void Restore() { guard_.Restore(); }

    static constexpr unsigned int kPacket = 57344;  ///< bytes

 private:
    PortSettingsGuard guard_;
};

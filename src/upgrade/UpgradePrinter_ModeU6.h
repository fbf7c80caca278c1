#pragma once

#include <vector>

#include "support/Owned.h"
#include "upgrade/UpgradeEngine.h"

class BootPort;

/// Engine U6: a Silicon Labs boot loader on USB that takes the firmware, a run of its own records, in HID
/// output reports and acknowledges each record. The printer itself may be on any port.
class UpgradePrinter_ModeU6 final : public UpgradeEngine {
 public:
    UpgradePrinter_ModeU6(int upgComponents, int timem) : UpgradeEngine(6, upgComponents, timem) {}

    bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                void* ctx1, void* ctx2) override;

    /// Cuts the firmware into its records ('$', n, n bytes), each a new buffer that the caller releases with
    /// `free`. None when the data is not a gap-free run of records that ends where the data ends.
    std::vector<unsigned char*> SplitBuffer(const unsigned char* data, int length);

    /// Tells the printer to enter its boot loader. Always true: the wait for the boot device decides.
    bool EnterUSBBootDirectModeOnUSB(CComPort& port);

 private:
    bool SendRecords(const std::vector<OwnedBytes>& records, const char* tag);
    bool SendRecord(BootPort& boot, const unsigned char* record, const char* tag);
};

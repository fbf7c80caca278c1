#pragma once

#include "upgrade/UpgradeEngine.h"

class RenesasLink;
class RenesasUnits;

/// Why a Renesas boot connection failed.
enum BTPRGERROR : int {
    BTPRG_FAILED = 1,               ///< any failure that has no value of its own
    BTPRG_RELEASE_UNAVAILABLE = 10  ///< the boot loader's release could not be asked for
};

/// What the engines for Renesas chips (U2 and U4) share: the printer is told to enter its boot loader, comes
/// back on USB as a boot device, is connected to, and is programmed in units of the size that it names. The
/// engines differ in their flow, in asking for the boot loader's release (with the security commands that
/// newer releases want), and in how they leave the boot loader after success and after failure.
class RenesasBoot : public UpgradeEngine {
 public:
    bool SendFW(UpgradeDataInfo& info, CComPort& port, PSWFile& package, CommPortSettings& settings,
                void* ctx1, void* ctx2) override;

    /// Tells the printer to enter its boot loader and waits up to 10 s × multiplier for an answer of eight
    /// bytes. True also when they are not the right ones: the wait for the boot device decides (kept:
    /// required).
    bool EnterUSBBootDirectModeOnUSB(CComPort& port);

    /// Opens the boot device `deviceName` ("vendor|product|serial") and leads it up to its blank checks. The
    /// port is closed at the end in any case; its write time-out stays at 5000 ms. `err` tells why it failed;
    /// `programmingSize` gets the bytes of one unit, 0 when the device did not say.
    bool InitConnectRenesasDevice(CComPort& port, const char* deviceName, BTPRGERROR& err,
                                  int& programmingSize);

    /// Programs the package's firmware into the boot device, in the state that InitConnectRenesasDevice left
    /// it in. 1 on success, 0 on failure; the port is closed in either case and its packet size stays at
    /// 57344 bytes.
    int StartUpgradeUsb(UpgradeDataInfo& info, CComPort& port, const char* deviceName, PSWFile& package,
                        CommPortSettings& settings, void* ctx1, void* ctx2, int programmingSize);

    /// What is done with the open boot device after a failure.
    virtual bool SendResetCommandUSB(CComPort& port) = 0;

    bool bNewBootloader;  ///< the boot loader speaks the newer dialect

 protected:
    /// `asksRelease`: the boot loader is asked for its release, and secured if that is 1.00 or newer.
    RenesasBoot(int mode, int upgComponents, int timem, bool asksRelease, bool newBootloader)
        : UpgradeEngine(mode, upgComponents, timem),
          bNewBootloader(newBootloader),
          asksRelease_(asksRelease) {}

    /// What is done with the open boot device after success. The result is not looked at.
    virtual bool ResetAfterSuccess(CComPort& port) = 0;

 private:
    bool MayStart(CComPort& port, PSWFile& package, const char* tag) const;
    bool ProgramBootDevice(UpgradeDataInfo& info, CComPort& port, PSWFile& package,
                           CommPortSettings& settings, const char* tag);
    bool Connect(RenesasLink& link, BTPRGERROR& err, int& programmingSize, const char* tag);
    bool Secure(RenesasLink& link, BTPRGERROR& err, const char* tag);
    bool Program(CComPort& port, const RenesasUnits& units, const char* tag);

    const bool asksRelease_;
};

#pragma once

#include <vector>

#include "upgrade/BTPRGERROR.h"

class CComPort;

/// The way from an open Renesas boot device to its blank checks: the exchanges in their order, and what is
/// learned on it.
class RenesasConnection {
 public:
    /// `tag`: of the log lines. `asksRelease`: the boot loader is asked for its release, and secured if that
    /// is 1.00 or newer. `newBootloader` and `programmingSize` are the caller's and filled in on the way.
    RenesasConnection(const char* tag, bool asksRelease, bool& newBootloader, int& programmingSize)
        : tag_(tag),
          asksRelease_(asksRelease),
          newBootloader_(newBootloader),
          programmingSize_(programmingSize) {}

    /// Makes the exchanges over `port`, pausing 100 ms × `timem` after each. False at the first one that
    /// fails; `err` is then set if its reason has a value of its own.
    bool Make(CComPort& port, int timem, BTPRGERROR& err);

 private:
    struct Step;
    using Answer = std::vector<unsigned char>;

    bool Always() const { return true; }
    bool AsksRelease() const { return asksRelease_; }
    bool IsSecured() const { return supportsSecurity_; }
    bool IsNew() const { return newBootloader_; }
    bool IsOld() const { return !newBootloader_; }

    void TakeNothing(const Answer& answer);
    void TakeRelease(const Answer& answer);
    void TakeDialect(const Answer& answer);
    void TakeProgrammingSize(const Answer& answer);
    void TakeUserArea(const Answer& answer);

    const char* tag_;
    bool asksRelease_;
    bool supportsSecurity_ = false;
    bool& newBootloader_;
    int& programmingSize_;
};

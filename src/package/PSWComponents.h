#pragma once

#include <cstdint>
#include <vector>

/// One component of a package: bit 13 a module, bit 12 sent after the firmware, low bits the kind. 0 is the
/// firmware.
using PSWCOMPONENTS = std::uint32_t;

/// The values that reading a package produces, and the two flags they are made of.
namespace PSWComponent {
inline constexpr PSWCOMPONENTS kModule = 0x2000;
inline constexpr PSWCOMPONENTS kAfter = 0x1000;
inline constexpr PSWCOMPONENTS kFirmware = 0;
inline constexpr PSWCOMPONENTS kFont = kModule | 0x0002;
inline constexpr PSWCOMPONENTS kData = kModule | 0x0004;
inline constexpr PSWCOMPONENTS kLogo = kModule | kAfter | 0x0008;
inline constexpr PSWCOMPONENTS kOther = kModule | kAfter | 0x0010;
}  // namespace PSWComponent

/// What a package delivers, in the order in which its headers name it; a value may stand there more than
/// once.
class PSWComponents {
 public:
    void Add(PSWCOMPONENTS value);
    void ResetList();
    int Size() const;

    /// The entry at `index` from 0; 0 past the end, the first entry for a negative index.
    PSWCOMPONENTS Get(int index) const;

    bool IsModule(int index) const;
    /// True as well for the firmware and past the end.
    bool IsModuleBefore(int index) const;
    bool IsModuleAfter(int index) const;

    bool HasComponent(PSWCOMPONENTS value) const;
    /// Index of the first entry equal to `value`; 0 also when there is none.
    int GetComponentIndex(PSWCOMPONENTS value) const;

    /// True when an entry behind the first one is a module (kept: the first entry is never looked at).
    bool HasModuleToChoose() const;
    bool HasBeginModules() const;
    bool HasAfterModules() const;

    /// Moves all modules to the other side of the firmware by their flag; their order stays.
    void ConvertModulesBeforeToAfter();
    void ConvertModulesAfterToBefore();

    /// Prints the list on standard output.
    void DumpWholeList() const;

 private:
    std::vector<PSWCOMPONENTS> values_;
};

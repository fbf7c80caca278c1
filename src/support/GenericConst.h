#pragma once

#include <array>
#include <cstdint>

/// Constants that more than one wing of the program needs.
namespace GenericConst {

/// Protocol versions that the program speaks (100 is "1.00"). Eight slots are looked at and the free ones
/// hold 0, so that a printer that reports 0.00 counts as supported (kept: required).
inline constexpr std::array<std::uint64_t, 8> Table_ProtocollVersionsSupported{100};

// The byte strings of the status handshake and of answer framing: the ports need them as well as the
// protocol, whose table `Commands` names them for everybody above.
inline constexpr unsigned char kStx = 0x02;
inline constexpr unsigned char kEtx = 0x03;
inline constexpr unsigned char kCancel[] = {0x18};
inline constexpr unsigned char kGetGsi[] = {0x1D, 0x49, 0x01};
inline constexpr unsigned char kGetGsiFf[] = {0x1D, 0x49, 0xFF};
inline constexpr unsigned char kGetFirmwareRelease[] = {0x1D, 0x49, 0x03};
inline constexpr unsigned char kSelectEscPos[] = {0x1C, 0x3C, 0x45, 0x50, 0x4F, 0x53, 0x3E};
inline constexpr unsigned char kDataBytesBegin[] = {'<', 'D', 'A', 'T', 'A', 'B', 'Y', 'T', 'E', 'S', '>'};
inline constexpr unsigned char kDataBytesEnd[] = {'<', '/', 'D', 'A', 'T', 'A', 'B', 'Y', 'T', 'E', 'S', '>'};

}  // namespace GenericConst

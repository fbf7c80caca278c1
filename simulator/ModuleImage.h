#pragma once

#include <cstddef>
#include <string>

#include "simulator/DeviceModel.h"

namespace simulator {

/// The layout of a module file, for those who write one and those who receive one: a text header whose last
/// byte is the key of the body, the body, 12 bytes more, 2 bytes that nobody reads, and two sums.
namespace ModuleImage {

inline constexpr std::size_t kHeader = 4102;
inline constexpr std::size_t kMark = 10;  ///< "B" or "L"
inline constexpr std::size_t kKeyByte = kHeader - 1;
inline constexpr std::size_t kOutsideFileSize = 12;  ///< 6 bytes before and 6 behind what FILE_SIZE counts
inline constexpr std::size_t kOutsideBody = 4108;    ///< of what FILE_SIZE counts

/// The text of a header key (with its colon); empty without it.
std::string Header(const Bytes& image, const std::string& key);

/// Length of the body of a whole image.
std::size_t BodySize(const Bytes& image);

/// Scrambles the body and puts the key in its place: mode 1, mode 0, or not at all. The image may still be
/// without the 6 bytes at its end.
void Scramble(Bytes& image, int mode, unsigned char key);

/// Whether the two sums of a whole image hold.
bool SumsHold(const Bytes& image);
void StoreSums(Bytes& image);

}  // namespace ModuleImage

}  // namespace simulator

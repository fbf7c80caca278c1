#pragma once

#include <cstdint>
#include <memory>
#include <vector>

/// The class of a status bit. The standard bits use 0, 1 and 2.
using SignalFamilyTable = std::int32_t;

/// What one bit of a status says. The parsers read numbers at the very start of a text, as it stands.
class StatusBitInfo {
 public:
    StatusBitInfo() = default;
    /// Copies both texts, each cut to 511 characters.
    StatusBitInfo(std::int32_t byte, std::int32_t bit, std::int32_t id, const char* description,
                  const char* additionalDescription, SignalFamilyTable signalFamily);

    /// "byte|bit". False when there are not two parts or one is no number; the byte may then be set already.
    bool AddByteBit(const char* text);
    bool AddId(const char* text);
    bool AddSignal(const char* text);

    std::int32_t iByte = 0;  ///< from 1
    std::int32_t iBit = 0;   ///< 0 to 7
    std::int32_t iID = 0;
    char strDescription[512] = {};
    char strAdditionalDescription[512] = {};
    SignalFamilyTable iSignalFamily = 0;
};

/// The descriptions of status bits, at most one for each bit.
class StatusBitList {
 public:
    /// Takes the place of the description of the same bit, or the last place.
    void Put(std::unique_ptr<StatusBitInfo> info);

    void Clear() { listBits.clear(); }

    /// The descriptions of bits 0 to 7 of bytes 1 to `bytes`, in the bits' order. They stay the list's.
    std::vector<StatusBitInfo*> InBitOrder(std::int32_t bytes) const;

    const std::vector<std::unique_ptr<StatusBitInfo>>& All() const { return listBits; }

 private:
    std::vector<std::unique_ptr<StatusBitInfo>> listBits;
};

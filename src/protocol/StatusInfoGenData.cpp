#include "protocol/StatusInfoGenData.h"

#include <algorithm>
#include <memory>

namespace {

struct StandardBit {
    std::int32_t byte;
    std::int32_t bit;
    const char* description;
    SignalFamilyTable signalFamily;
};

constexpr StandardBit kStandardBits[] = {
    {1, 0, "Paper not present", 2},
    {1, 2, "Near paper end", 1},
    {1, 5, "Ticket present in output", 1},
    {2, 0, "Thermal print head lifted", 1},
    {2, 1, "Cover opened", 1},
    {2, 2, "Spooling", 0},
    {2, 3, "Drag motor rolling", 0},
    {2, 5, "LF key pressed", 0},
    {2, 6, "FF key pressed", 0},
    {3, 0, "Head temperature Error", 2},
    {3, 1, "COM Error", 2},
    {3, 3, "Power supply voltage Error", 2},
    {3, 4, "Wait char Timeout Error", 2},
    {3, 5, "Command Error", 2},
    {3, 6, "Paper jam", 2},
    {4, 0, "Cutter Error", 2},
    {4, 2, "RAM Error", 2},
    {4, 3, "EEPROM Error", 2},
};

}  // namespace

void StatusInfoGenData::InitWithStandardBits() {
    bitList.Clear();
    for (const StandardBit& row : kStandardBits)
        bitList.Put(
            std::make_unique<StatusBitInfo>(row.byte, row.bit, 0, row.description, "", row.signalFamily));
}

bool StatusInfoGenData::AddStatusBitInfo(StatusBitInfo* info) {
    if (info == nullptr) return false;
    bitList.Put(std::unique_ptr<StatusBitInfo>(info));
    return true;
}

void StatusInfoGenData::AddStatusBitInfoList(const std::vector<StatusBitInfo*>& list) {
    for (StatusBitInfo* const info : list) AddStatusBitInfo(info);
}

std::vector<StatusBitInfo*> StatusInfoGenData::GetOnlyBitsAvailable() const {
    constexpr int kMaskBits = 64;
    std::vector<StatusBitInfo*> bits = bitList.InBitOrder(iNumBytes);
    const auto unsupported = [this](const StatusBitInfo* info) {
        const std::int64_t position = (std::int64_t{info->iByte} - 1) * 8 + info->iBit;
        return position >= kMaskBits || ((uiSupportedMask >> static_cast<unsigned>(position)) & 1U) == 0;
    };
    bits.erase(std::remove_if(bits.begin(), bits.end(), unsupported), bits.end());
    return bits;
}

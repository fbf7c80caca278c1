#include "simulator/CommandParser.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace simulator {

namespace {

struct Row {
    Request request;
    std::size_t fixed;   // bytes that are given below
    std::size_t length;  // of the whole request
    std::array<unsigned char, 7> bytes;
};

constexpr std::array<Row, 14> kRequests{{
    {Request::Cancel, 1, 1, {0x18}},
    {Request::Select, 7, 7, {0x1C, '<', 'E', 'P', 'O', 'S', '>'}},
    {Request::Status, 3, 3, {0x1D, 0x49, 0x01}},
    {Request::ExtendedStatus, 3, 3, {0x1D, 0x49, 0xFF}},
    {Request::Release, 3, 3, {0x1D, 0x49, 0x03}},
    {Request::ProtocolVersion, 3, 3, {0x1F, 0xFF, 0x01}},
    {Request::SetupHeader, 3, 3, {0x1F, 0xFF, 0x02}},
    {Request::DataAvailable, 3, 3, {0x1F, 0xFF, 0x28}},
    {Request::UpgradeInfo, 3, 3, {0x1F, 0xFF, 0x70}},
    {Request::ModulesList, 3, 3, {0x1F, 0xFF, 0x40}},
    {Request::StartBanks, 2, 4, {0x1C, 0xFD}},
    {Request::ProgramBanks, 2, 8, {0x1C, 0xFF}},
    {Request::BootRenesas, 3, 3, {0x1C, 0x4C, 0x49}},
    {Request::BootSiliconLabs, 2, 2, {0x1C, 0xEE}},
}};

}  // namespace

Request CommandParser::Take(unsigned char byte) {
    bytes_.push_back(byte);
    for (const Row& row : kRequests) {
        const std::size_t compared = std::min(bytes_.size(), row.fixed);
        if (!std::equal(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(compared),
                        row.bytes.begin()))
            continue;
        return bytes_.size() == row.length ? row.request : Request::Incomplete;
    }
    return Request::None;
}

}  // namespace simulator

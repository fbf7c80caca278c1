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
    Exchange asked = Exchange::Status;  // of an inquiry
};

constexpr std::array<Row, 14> kRequests{{
    {Request::Cancel, 1, 1, {0x18}},
    {Request::Select, 7, 7, {0x1C, '<', 'E', 'P', 'O', 'S', '>'}},
    {Request::Inquiry, 3, 3, {0x1D, 0x49, 0x01}, Exchange::Status},
    {Request::Inquiry, 3, 3, {0x1D, 0x49, 0xFF}, Exchange::ExtendedStatus},
    {Request::Inquiry, 3, 3, {0x1D, 0x49, 0x03}, Exchange::Release},
    {Request::Inquiry, 3, 3, {0x1F, 0xFF, 0x01}, Exchange::ProtocolVersion},
    {Request::Inquiry, 3, 3, {0x1F, 0xFF, 0x02}, Exchange::SetupHeader},
    {Request::Inquiry, 3, 3, {0x1F, 0xFF, 0x28}, Exchange::DataAvailable},
    {Request::Inquiry, 3, 3, {0x1F, 0xFF, 0x70}, Exchange::UpgradeInfo},
    {Request::Inquiry, 3, 3, {0x1F, 0xFF, 0x40}, Exchange::ModulesList},
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
        asked_ = row.asked;
        return bytes_.size() == row.length ? row.request : Request::Incomplete;
    }
    return Request::None;
}

}  // namespace simulator

#include "package/PSWSlice.h"

#include <optional>

std::int64_t PayloadStart(std::uint64_t address, bool isFilePosition, int payloadFilePosition) {
    return static_cast<std::int64_t>(address) - (isFilePosition ? payloadFilePosition : 0);
}

ByteView UpTo(const unsigned char* payload, std::int64_t start, std::uint64_t length) {
    if (payload == nullptr || start < 0) return {};
    return {payload, static_cast<std::size_t>(start) + length};
}

bool CopySlice(ByteView payload, std::int64_t start, std::uint64_t length, OwnedBytes& data,
               std::uint64_t& size) {
    data.reset();
    size = 0;
    if (start < 0 && length != 0) return false;
    const std::optional<ByteView> slice =
        payload.Slice(length == 0 ? 0 : static_cast<std::size_t>(start), length);
    if (!slice) return false;
    data = CopyBytes(*slice);
    if (data == nullptr) return false;
    size = length;
    return true;
}

#include "package/PSWHeader.h"

int PSWHeader::ExtractHederInfo(unsigned char* file, int position, bool* upgradeFieldsFollow) {
    return ExtractHederInfo(ByteView::Vouched(file), position, upgradeFieldsFollow);
}

int PSWHeader::ExtractDataBuffer(unsigned char* /*payload*/, int /*payloadFilePosition*/) {
    return 0;
}

int PSWHeader::ExtractHederInfo(ByteView /*file*/, int /*position*/, bool* /*upgradeFieldsFollow*/) {
    return 0;
}

int PSWHeader::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    return ExtractDataBuffer(const_cast<unsigned char*>(payload.data), payloadFilePosition);
}

std::uint64_t PSWHeader::DataSize() const {
    return 0;
}

bool PSWHeader::TakeSlice(ByteView payload, std::int64_t start, std::uint64_t length, OwnedBytes& data,
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

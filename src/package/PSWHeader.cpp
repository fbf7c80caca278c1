#include "package/PSWHeader.h"

int PSWHeader::ExtractHederInfo(ByteView /*file*/, int /*position*/, bool* /*upgradeFieldsFollow*/) {
    return 0;
}

int PSWHeader::ExtractDataBuffer(ByteView /*payload*/, int /*payloadFilePosition*/) {
    return 0;
}

std::uint64_t PSWHeader::DataSize() const {
    return 0;
}

#include "package/PSWHeader.h"

#include "package/PSWField.h"

int PSWHeader::ExtractHederInfo(unsigned char* /*file*/, int /*position*/, bool* /*upgradeFieldsFollow*/) {
    return 0;
}

int PSWHeader::ExtractDataBuffer(unsigned char* /*payload*/, int /*payloadFilePosition*/) {
    return 0;
}

int PSWHeader::ExtractHederInfo(ByteView file, int position, bool* upgradeFieldsFollow) {
    return ExtractHederInfo(const_cast<unsigned char*>(file.data), position, upgradeFieldsFollow);
}

int PSWHeader::ExtractDataBuffer(ByteView payload, int payloadFilePosition) {
    return ExtractDataBuffer(const_cast<unsigned char*>(payload.data), payloadFilePosition);
}

ByteView PSWHeader::RecordAt(const unsigned char* file, int position, std::uint64_t more) {
    if (file == nullptr || position < 0) return {};
    return {file, static_cast<std::size_t>(position) + kRecordSize + more};
}

std::uint64_t PSWHeader::DataSize() const {
    return 0;
}

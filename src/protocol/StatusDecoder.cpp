#include <memory>
#include <utility>
#include <vector>

#include "protocol/FieldReader.h"
#include "protocol/ProtocollFieldInfo.h"
#include "protocol/RecordDecoders.h"
#include "protocol/StatusData.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "support/GenericFunctions.h"
#include "support/Text.h"

namespace {

/// The four bytes of the general status, or the mask of its bits.
const ProtocollFieldInfo& StatusBytes(FieldReader& fields) {
    constexpr std::uint32_t kSize = 4;
    const ProtocollFieldInfo& bytes = fields.Data();
    if (bytes.uiRawSize != kSize) {
        fields.Say("Buffer Size error: %u - %u", kSize, bytes.uiRawSize);
        fields.Fail();
    }
    return bytes;
}

template <class Record>
void ReadStatusPorts(FieldReader& fields, Record& record) {
    std::int32_t ways = 0;
    fields.Int("StatusPorts : ", ways);
    record.SetStatusPorts(ways);
}

/// A text that the bit's own parser reads.
void Parse(FieldReader& fields, StatusBitInfo& bit, bool (StatusBitInfo::*parse)(const char*),
           const char* failure) {
    const ProtocollFieldInfo& text = fields.String();
    if (fields.Ok() && !(bit.*parse)(text.strText.c_str())) fields.Fail(failure);
}

/// The printer's descriptions of its bits. `logsBit` false logs the braces of a format instead of the bit
/// (kept).
///
/// kept: byte and bit, identifier and family arrive with their delimiters and are parsed as they stand, so
/// that a text such as <1|0> fails; only an answer without descriptions gives a record.
template <class Record>
void ReadBits(FieldReader& fields, bool logsBit, Record& record) {
    std::vector<std::unique_ptr<StatusBitInfo>> bits;
    std::int32_t count = 0;
    fields.Int("Number of bits to explain : ", count);
    for (std::int32_t i = 0; i < count && fields.Ok(); ++i) {
        auto bit = std::make_unique<StatusBitInfo>();
        Parse(fields, *bit, &StatusBitInfo::AddByteBit, "Add Byte/Bit Error");
        fields.Say("Byte : %d", bit->iByte);
        if (logsBit)
            fields.Say("Bit : %d", bit->iBit);
        else
            fields.Write("Bit : {0}");
        Parse(fields, *bit, &StatusBitInfo::AddId, "Add Bit ID Error");
        fields.Say("Id : %d", bit->iID);
        CopyText(bit->strDescription, fields.Text().strText.c_str());
        fields.Say("Description : %s", bit->strDescription);
        if (fields.Int() != 0) CopyText(bit->strAdditionalDescription, fields.Text().strText.c_str());
        fields.Say("Additional Description : %s", bit->strAdditionalDescription);
        Parse(fields, *bit, &StatusBitInfo::AddSignal, "Add Signal Family Error");
        fields.Say("Signal Family : %d", bit->iSignalFamily);
        bits.push_back(std::move(bit));
    }
    if (!fields.Ok()) return;
    for (auto& bit : bits) record.AddStatusBitInfo(bit.release());
}

}  // namespace

std::unique_ptr<StatusInfoGenData> DecodeStatusInfoGen(FieldReader& fields) {
    auto record = std::make_unique<StatusInfoGenData>();
    ReadStatusPorts(fields, *record);
    const ProtocollFieldInfo& mask = StatusBytes(fields);
    if (fields.Ok())
        record->uiSupportedMask = GenericFunctions::ConvertByteBufferToULong4(mask.pRawData.get());
    fields.Say("Bit mask supported : 0x%08x", static_cast<std::uint32_t>(record->uiSupportedMask));
    ReadBits(fields, true, *record);
    if (!fields.Ok()) return nullptr;
    return record;
}

std::unique_ptr<StatusInfoExtData> DecodeStatusInfoExt(FieldReader& fields) {
    auto record = std::make_unique<StatusInfoExtData>();
    ReadStatusPorts(fields, *record);
    fields.Int("Number of bytes of extended status : ", record->iNumBytes);
    ReadBits(fields, false, *record);
    if (!fields.Ok()) return nullptr;
    return record;
}

std::unique_ptr<StatusData> DecodeStatus(FieldReader& fields) {
    auto status = std::make_unique<StatusData>();
    const ProtocollFieldInfo& bytes = StatusBytes(fields);
    status->pData.assign(bytes.pRawData.get(), bytes.pRawData.get() + bytes.uiRawSize);
    if (!fields.Ok()) return nullptr;
    return status;
}

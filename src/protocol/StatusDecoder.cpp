#include <memory>
#include <utility>
#include <vector>

#include "protocol/FieldWalk.h"
#include "protocol/FixedText.h"
#include "protocol/RecordDecoders.h"
#include "protocol/StatusData.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"

namespace {

/// The four bytes of the general status, or the mask of its bits.
FieldStep StatusBytes(Expect::Take store) {
    constexpr std::uint32_t kSize = 4;
    return Expect::Data([store = std::move(store)](const ProtocollFieldInfo& field, FieldWalk& walk) {
        if (field.uiRawSize == kSize) return store(field, walk);
        Log::WriteLogP(walk.Tag(), "Buffer Size error: %u - %u", kSize, field.uiRawSize);
        return false;
    });
}

/// Reads the printer's descriptions of its bits.
///
/// kept: byte and bit, identifier and family arrive with their delimiters and are parsed as they stand, so
/// that a text such as <1|0> fails; only an answer without descriptions gives a record.
class BitReader {
 public:
    /// `logsBit` false logs the braces of a format instead of the bit (kept).
    explicit BitReader(bool logsBit) : bLogsBit(logsBit) {}

    std::vector<FieldStep> Steps() {
        return {
            Expect::Int("Number of bits to explain : ", iCount),
            Expect::Repeat(
                iCount,
                {
                    Parsed(&StatusBitInfo::AddByteBit, "Add Byte/Bit Error"),
                    Expect::Note([this](const FieldWalk& walk) { LogByteBit(walk.Tag()); }),
                    Parsed(&StatusBitInfo::AddId, "Add Bit ID Error"),
                    LogNumber("Id : ", &StatusBitInfo::iID),
                    Expect::Text(CopyTo(&StatusBitInfo::strDescription)),
                    LogText("Description : ", &StatusBitInfo::strDescription),
                    Expect::Flag(iHasMore),
                    Expect::Repeat(iHasMore,
                                   {Expect::Text(CopyTo(&StatusBitInfo::strAdditionalDescription))}),
                    LogText("Additional Description : ", &StatusBitInfo::strAdditionalDescription),
                    Parsed(&StatusBitInfo::AddSignal, "Add Signal Family Error"),
                    LogNumber("Signal Family : ", &StatusBitInfo::iSignalFamily),
                    Expect::Note([this](const FieldWalk&) { Keep(); }),
                }),
        };
    }

    /// Hands the descriptions over to `record`.
    template <class Record>
    void GiveTo(Record& record) {
        std::vector<StatusBitInfo*> list;
        list.reserve(listBits.size());
        for (auto& info : listBits) list.push_back(info.release());
        record.AddStatusBitInfoList(list);
    }

 private:
    using Text = char (StatusBitInfo::*)[512];

    FieldStep Parsed(bool (StatusBitInfo::*parse)(const char*), const char* failure) {
        return Expect::String([this, parse, failure](const ProtocollFieldInfo& field, const FieldWalk& walk) {
            return ((current.*parse)(field.strText.c_str())) || walk.Fail(failure);
        });
    }

    Expect::Take CopyTo(Text member) {
        return [this, member](const ProtocollFieldInfo& field, const FieldWalk&) {
            CopyFixedText(current.*member, field.strText.c_str());
            return true;
        };
    }

    FieldStep LogText(const char* label, Text member) {
        return Expect::Note([this, label, member](const FieldWalk& walk) {
            Log::WriteLogP(walk.Tag(), "%s%s", label, current.*member);
        });
    }

    FieldStep LogNumber(const char* label, std::int32_t StatusBitInfo::*member) {
        return Expect::Note([this, label, member](const FieldWalk& walk) {
            Log::WriteLogP(walk.Tag(), "%s%d", label, current.*member);
        });
    }

    void LogByteBit(const char* tag) const {
        Log::WriteLogP(tag, "Byte : %d", current.iByte);
        if (bLogsBit)
            Log::WriteLogP(tag, "Bit : %d", current.iBit);
        else
            Log::WriteLog(tag, "Bit : {0}");
    }

    void Keep() {
        listBits.push_back(std::make_unique<StatusBitInfo>(current));
        current = {};
    }

    bool bLogsBit;
    std::int32_t iCount = 0;
    std::int32_t iHasMore = 0;
    StatusBitInfo current;
    std::vector<std::unique_ptr<StatusBitInfo>> listBits;
};

template <class Record>
FieldStep StatusPorts(Record& record) {
    return Expect::Int([&record](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        record.SetStatusPorts(field.iValue);
        Log::WriteLogP(walk.Tag(), "StatusPorts : %d", field.iValue);
        return true;
    });
}

}  // namespace

std::unique_ptr<StatusInfoGenData> DecodeStatusInfoGen(FieldWalk& walk) {
    auto record = std::make_unique<StatusInfoGenData>();
    BitReader bits(true);
    const auto mask = [&record](const ProtocollFieldInfo& field, const FieldWalk& at) {
        record->uiSupportedMask = GenericFunctions::ConvertByteBufferToULong4(field.pRawData.get());
        Log::WriteLogP(at.Tag(), "Bit mask supported : 0x%08x",
                       static_cast<std::uint32_t>(record->uiSupportedMask));
        return true;
    };
    if (!walk.Run({StatusPorts(*record), StatusBytes(mask)}) || !walk.Run(bits.Steps())) return nullptr;
    bits.GiveTo(*record);
    return record;
}

std::unique_ptr<StatusInfoExtData> DecodeStatusInfoExt(FieldWalk& walk) {
    auto record = std::make_unique<StatusInfoExtData>();
    BitReader bits(false);
    const FieldStep size = Expect::Int("Number of bytes of extended status : ", record->iNumBytes);
    if (!walk.Run({StatusPorts(*record), size}) || !walk.Run(bits.Steps())) return nullptr;
    bits.GiveTo(*record);
    return record;
}

std::unique_ptr<StatusData> DecodeStatus(FieldWalk& walk) {
    auto status = std::make_unique<StatusData>();
    const auto store = [&status](const ProtocollFieldInfo& field, const FieldWalk&) {
        status->pData.assign(field.pRawData.get(), field.pRawData.get() + field.uiRawSize);
        return true;
    };
    if (!walk.Run({StatusBytes(store)})) return nullptr;
    return status;
}

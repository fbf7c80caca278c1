// Answers of a printer, split and decoded as every caller does.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollFields.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "support/Log.h"

namespace {

/// An answer sum is not found by chance. An input that ends in this byte gets the right one in its place.
constexpr std::uint8_t kPutSum = 'S';

std::vector<unsigned char> WithSum(const std::uint8_t* data, std::size_t size) {
    std::vector<unsigned char> answer(data, data + size);
    if (size == 0 || answer.back() != kPutSum) return answer;
    answer.pop_back();
    unsigned int sum = 0;
    for (std::size_t i = 1; i < answer.size(); ++i) sum += answer[i];
    const std::string field = "<" + std::to_string(sum & 0xFFU) + ">\x03";
    answer.insert(answer.end(), field.begin(), field.end());
    return answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A destination that nothing is written to: the lines are made all the same.
    constexpr unsigned int kNowhere = 3;
    Log::SetLogEnable(kNowhere, true);
    const std::vector<unsigned char> answer = WithSum(data, size);
    ProtocollFields fields;
    fields.CreateFields(answer.data(), static_cast<int>(answer.size()));
    PrinterSetError error;
    fields.CheckAnswer(&error);
    std::uint64_t dataErrors = 0;
    const ProtocolRecord record = ProtocolRecord::Decode(fields, nullptr, &dataErrors);
    if (const auto* const general = record.As<StatusInfoGenData>()) general->GetOnlyBitsAvailable();
    if (const auto* const extended = record.As<StatusInfoExtData>()) extended->GetOnlyBitsAvailable();
    int lines = 0;
    ProtocollFields::DeleteToolAnswer(fields.CreateToolAnswer(&lines));
    return 0;
}

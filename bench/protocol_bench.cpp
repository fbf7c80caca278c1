// Splitting and decoding of a printer's answers. Two sizes of each show that the time grows with the bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollFields.h"

namespace {

using Bytes = std::vector<unsigned char>;

/// STX, the body and its answer sum.
Bytes Answer(const std::string& body) {
    unsigned int sum = 0;
    for (const char c : body) sum += static_cast<unsigned char>(c);
    const std::string whole = "\x02" + body + "<" + std::to_string(sum & 0xFFU) + ">\x03";
    return {whole.begin(), whole.end()};
}

Bytes FontAnswer(std::int64_t size) {
    std::string font;
    for (std::int64_t i = 0; i < size; ++i) font += static_cast<char>(i * 7 + i / 251);
    return Answer("<C96><" + std::to_string(size) + "><DATABYTES>" + font + "</DATABYTES>");
}

/// A setup item with as many choices that the answer has about `fields` fields.
Bytes ListAnswer(std::int64_t fields) {
    const std::int64_t choices = fields - 14;
    std::string body = "<C4><77><0><1>";
    body += std::string("Speed") + '\0' + "<0><10><10><11><" + std::to_string(choices) + ">";
    for (std::int64_t i = 0; i < choices; ++i) body += "choice " + std::to_string(i) + '\0';
    return Answer(body);
}

Bytes IdentifierAnswer(std::int64_t fields) {
    const std::int64_t ids = fields - 5;
    std::string body = "<C3><" + std::to_string(ids) + ">";
    for (std::int64_t i = 0; i < ids; ++i) body += "<" + std::to_string(1000 + i) + ">";
    return Answer(body);
}

template <Bytes (*Make)(std::int64_t)>
void Decode(benchmark::State& state) {
    const Bytes answer = Make(state.range(0));
    for ([[maybe_unused]] auto step : state) {
        ProtocollFields fields;
        fields.CreateFields(answer.data(), static_cast<int>(answer.size()));
        const ProtocolRecord record = ProtocolRecord::Decode(fields);
        if (!record) {
            state.SkipWithError("the answer was not decoded");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(answer.size()));
}

BENCHMARK_TEMPLATE(Decode, FontAnswer)
    ->ArgName("bytes")
    ->Arg(1 << 20)
    ->Arg(8 << 20)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Decode, ListAnswer)
    ->ArgName("fields")
    ->Arg(10000)
    ->Arg(80000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Decode, IdentifierAnswer)
    ->ArgName("fields")
    ->Arg(10000)
    ->Arg(80000)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

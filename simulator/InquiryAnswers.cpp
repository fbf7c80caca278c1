#include "simulator/InquiryAnswers.h"

#include <vector>

#include "simulator/AnswerBuilder.h"

namespace simulator {

namespace {

Bytes LinesAnswer(int request, const std::vector<std::string>& lines) {
    AnswerBuilder answer(request);
    answer.Number(lines.size());
    for (const std::string& line : lines) answer.Line(line);
    return answer.Frame();
}

}  // namespace

Bytes InquiryAnswer(Exchange exchange, const PrinterOptions& options, const std::string& release) {
    const auto ids = std::to_string(options.family) + ";" + std::to_string(options.model) + ";" +
                     std::to_string(options.customization);
    const std::uint16_t extended = options.extendedStatus.value_or(options.status);
    switch (exchange) {
        case Exchange::Status:
            return {options.extendedStatus ? static_cast<unsigned char>(0xFF) : options.status};
        case Exchange::ExtendedStatus:
            return {static_cast<unsigned char>(extended >> 8U), static_cast<unsigned char>(extended & 0xFFU)};
        case Exchange::Release:
            return {release.begin(), release.end()};
        case Exchange::ProtocolVersion:
            return AnswerBuilder(1).Field(options.protocolVersion).Frame();
        case Exchange::SetupHeader:
            return LinesAnswer(2, options.setupLines);
        case Exchange::DataAvailable:
            return AnswerBuilder(40).Number(options.dataAvailable).Frame();
        case Exchange::ModulesList:
            return LinesAnswer(64, options.modules);
        case Exchange::UpgradeInfo:
            return AnswerBuilder(112).Field(options.mode).Field(options.configuration).Field(ids).Frame();
        default:
            return {};
    }
}

}  // namespace simulator

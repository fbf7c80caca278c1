#include "simulator/AnswerBuilder.h"

namespace simulator {

namespace {

constexpr unsigned char kStartOfText = 0x02;
constexpr unsigned char kEndOfText = 0x03;
constexpr unsigned char kRefused = 0x15;

}  // namespace

AnswerBuilder::AnswerBuilder(int request) : bytes_{kStartOfText} {
    Append("<C" + std::to_string(request) + ">");
}

AnswerBuilder& AnswerBuilder::Field(const std::string& text) {
    Append("<" + text + ">");
    return *this;
}

AnswerBuilder& AnswerBuilder::Number(unsigned long long value) {
    return Field(std::to_string(value));
}

AnswerBuilder& AnswerBuilder::Line(const std::string& text) {
    Append(text);
    bytes_.push_back(0);
    return *this;
}

Bytes AnswerBuilder::Frame() const {
    Bytes frame = bytes_;
    frame.push_back(kEndOfText);
    return frame;
}

Bytes AnswerBuilder::Refusal(int request, int code) {
    AnswerBuilder answer(request);
    answer.bytes_.push_back(kRefused);
    answer.Field("ERR" + std::to_string(code));
    return answer.Frame();
}

void AnswerBuilder::Append(const std::string& text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
}

}  // namespace simulator

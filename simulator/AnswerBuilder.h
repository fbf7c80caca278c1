#pragma once

#include <string>

#include "simulator/DeviceModel.h"

namespace simulator {

/// Builds a framed answer: STX, the command tag, fields, ETX.
///
///     AnswerBuilder(112).Field("U3").Field("").Field("12;3;0").Frame()
class AnswerBuilder {
 public:
    /// Begins the answer to request 1F FF `request`.
    explicit AnswerBuilder(int request);

    /// A field between "<" and ">"; an empty text gives an empty field.
    AnswerBuilder& Field(const std::string& text);
    AnswerBuilder& Number(unsigned long long value);
    /// A text line with its ending zero byte.
    AnswerBuilder& Line(const std::string& text);

    /// The answer with its ETX.
    Bytes Frame() const;

    /// A refusal: NACK and an error code.
    static Bytes Refusal(int request, int code);

 private:
    void Append(const std::string& text);
    Bytes bytes_;
};

}  // namespace simulator

#pragma once

#include <cstddef>

#include "protocol/ProtocollFieldInfo.h"

/// Splits one answer into fields, in one pass. It reads the answer in place, so the bytes have to outlive it.
class FieldSplitter {
 public:
    FieldSplitter(const unsigned char* answer, std::size_t length) : pAnswer(answer), uiLength(length) {}

    /// The fields, at most `maxFields`. What is not ended by the end of the answer is no field.
    ProtocollFieldList Split(std::size_t maxFields);

 private:
    // Each takes the field that begins at `start` and returns the index behind it: the answer's length when
    // the field is not ended.
    std::size_t TakeTagged(std::size_t start);
    std::size_t TakeBinary(std::size_t tag, std::size_t payload);
    std::size_t TakeTextLine(std::size_t start);

    void AddControl(unsigned char byte, FTYPE type);
    void AddTagged(std::size_t start, std::size_t end);
    FTYPE TypeOfText(const std::string& content) const;

    std::unique_ptr<ProtocollFieldInfo> NewField(FTYPE type, std::size_t start, std::size_t end) const;

    const unsigned char* pAnswer;
    std::size_t uiLength;
    ProtocollFieldList listFields;
};

#pragma once

#include <cstdint>

/// Why a printer refused: filled by ProtocollFields::CheckAnswer.
struct PrinterSetError {
    /// The code that CheckAnswer stores for an answer that is not framed as one.
    static constexpr std::int32_t kFraming = 13;

    std::int32_t iErrorCode = 0;  ///< kFraming, or the code that the printer gave; 0 when none was stored
};

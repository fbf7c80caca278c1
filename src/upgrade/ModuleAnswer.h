#pragma once

#include <cstddef>

#include "upgrade/AnswerReads.h"

/// The one-byte answers with which a printer reports how it programmed a module or a data bank.
namespace ModuleAnswer {

inline constexpr unsigned char kProgrammed = 0xAA;

/// The bytes that one kind of exchange recognises; all others are passed over.
struct Recognised {
    const unsigned char* bytes;
    std::size_t count;
};

/// For a module and for a data bank. Kept: the first knows 0x95 and not 0x99, the second the reverse.
extern const Recognised kOfModule;
extern const Recognised kOfDataBank;

/// Makes one read of up to 8192 bytes. The first recognised byte in it, or -1. Logs the length of what came.
int ReadOnce(AnswerReads& reads, const Recognised& recognised, const char* tag);

/// Logs what an answer other than kProgrammed means.
void LogError(unsigned char answer, const char* tag);

}  // namespace ModuleAnswer

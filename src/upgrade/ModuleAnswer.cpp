#include "upgrade/ModuleAnswer.h"

#include <algorithm>
#include <iterator>

#include "support/Log.h"

namespace ModuleAnswer {

namespace {

constexpr unsigned char kModuleBytes[] = {kProgrammed, 0x33, 0x44, 0x66, 0x77, 0x88, 0x95};
constexpr unsigned char kDataBankBytes[] = {kProgrammed, 0x33, 0x44, 0x66, 0x77, 0x88, 0x99};

struct Meaning {
    unsigned char answer;
    const char* text;
};

constexpr Meaning kMeanings[] = {
    {0x33, "ID Module Error"},     {0x44, "Module Error"},      {0x66, "Ram Error"},
    {0x77, "Program Flash Error"}, {0x88, "Clear Flash Error"}, {0x95, "Checksum Error"},
};

}  // namespace

const Recognised kOfModule{kModuleBytes, std::size(kModuleBytes)};
const Recognised kOfDataBank{kDataBankBytes, std::size(kDataBankBytes)};

int ReadOnce(AnswerReads& reads, const Recognised& recognised, const char* tag) {
    const unsigned int read = reads.Read(8192);
    if (read == 0) return -1;
    Log::WriteLogP(tag, "Read Answer len: %d", static_cast<int>(read));
    const unsigned char* end = reads.Data() + read;
    const unsigned char* found =
        std::find_first_of(reads.Data(), end, recognised.bytes, recognised.bytes + recognised.count);
    return found == end ? -1 : *found;
}

void LogError(unsigned char answer, const char* tag) {
    const char* text = "Generic Error";
    for (const Meaning& meaning : kMeanings) {
        if (meaning.answer == answer) text = meaning.text;
    }
    Log::WriteLogP(tag, "Answer Error(0x%02x) : %s", answer, text);
}

}  // namespace ModuleAnswer

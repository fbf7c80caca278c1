#include "upgrade/ModuleAnswer.h"

#include <algorithm>
#include <iterator>

#include "support/Log.h"

unsigned int AnswerReads::Read(unsigned int most) {
    if (reads_++ != 0) pacer_.AfterRead(lastRead_);
    unsigned int err = 0;
    const auto ask = std::min(most, kLargestRead);
    lastRead_ = std::min(port_.Read(buffer_.data(), ask, &err), static_cast<unsigned int>(buffer_.size()));
    return lastRead_;
}

namespace ModuleAnswer {

namespace {

constexpr int kProgrammed = 0xAA;

struct Meaning {
    int answer;
    const char* text;
};

constexpr Meaning kMeanings[] = {
    {0x33, "ID Module Error"},     {0x44, "Module Error"},      {0x66, "Ram Error"},
    {0x77, "Program Flash Error"}, {0x88, "Clear Flash Error"}, {0x95, "Checksum Error"},
};

/// The first recognised byte of one read, or -1.
int ReadOnce(AnswerReads& reads, const Recognised& recognised, const char* tag) {
    const unsigned int read = reads.Read(AnswerReads::kLargestRead);
    if (read == 0) return -1;
    Log::WriteLogP(tag, "Read Answer len: %d", static_cast<int>(read));
    const unsigned char* end = reads.Data() + read;
    const unsigned char* found =
        std::find_first_of(reads.Data(), end, std::begin(recognised.bytes), std::end(recognised.bytes));
    return found == end ? -1 : *found;
}

}  // namespace

int Await(CComPort& port, Wait limit, const Recognised& recognised, const char* tag) {
    AnswerReads reads(port, limit);
    for (;;) {
        const int answer = ReadOnce(reads, recognised, tag);
        if (answer >= 0 && recognised.lateCounts) return answer;
        if (reads.Expired()) return -1;
        if (answer >= 0) return answer;
    }
}

bool Judge(int answer, const char* tag) {
    if (answer == kProgrammed) return true;
    if (answer < 0) return Log::Fail(tag, "Wait Answer Error");
    const char* text = "Generic Error";
    for (const Meaning& meaning : kMeanings) {
        if (meaning.answer == answer) text = meaning.text;
    }
    return Log::FailP(tag, "Answer Error(0x%02x) : %s", answer, text);
}

}  // namespace ModuleAnswer

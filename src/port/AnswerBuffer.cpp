#include "port/AnswerBuffer.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "support/GenericConst.h"

namespace {

constexpr std::size_t kGrowBy = 4096;

}  // namespace

unsigned char* AnswerBuffer::Room() {
    if (used_ + kReadSize > kMaxSize) return nullptr;
    if (capacity_ < used_ + kReadSize) {
        // Half as much again once the answer is long, so that a long one is not copied for every 4096 bytes.
        const std::size_t capacity = capacity_ + std::max(kGrowBy, capacity_ / 2);
        void* const grown = std::realloc(data_.get(), capacity);
        if (grown == nullptr) return nullptr;
        static_cast<void>(data_.release());
        data_.reset(static_cast<unsigned char*>(grown));
        capacity_ = capacity;
    }
    return data_.get() + used_;
}

bool AnswerBuffer::Add(std::size_t bytes) {
    const std::size_t before = used_;
    used_ += std::min(bytes, kReadSize);
    if (awaited_ == Awaited::DataBytesBegin) {
        // An ETX of an earlier read would have ended the answer.
        if (!PassOver(GenericConst::kDataBytesBegin)) return HasEtxFrom(before);
        awaited_ = Awaited::DataBytesEnd;
    }
    if (awaited_ == Awaited::DataBytesEnd) {
        if (!PassOver(GenericConst::kDataBytesEnd)) return false;
        awaited_ = Awaited::Etx;
    }
    const bool complete = HasEtxFrom(scanFrom_);
    scanFrom_ = used_;
    return complete;
}

// Looks for the pattern from scanFrom_ on and moves that behind it. When it is not there, moves it to where
// the pattern may begin once more bytes have come.
template <class Pattern>
bool AnswerBuffer::PassOver(const Pattern& pattern) {
    const unsigned char* const from = data_.get() + scanFrom_;
    const unsigned char* const end = data_.get() + used_;
    const unsigned char* const found = std::search(from, end, std::begin(pattern), std::end(pattern));
    if (found != end) {
        scanFrom_ = static_cast<std::size_t>(found - data_.get()) + std::size(pattern);
        return true;
    }
    if (used_ >= scanFrom_ + std::size(pattern)) scanFrom_ = used_ - (std::size(pattern) - 1);
    return false;
}

bool AnswerBuffer::HasEtxFrom(std::size_t position) const {
    return std::memchr(data_.get() + position, GenericConst::kEtx, used_ - position) != nullptr;
}

#include "port/AnswerBuffer.h"

#include <algorithm>
#include <cstring>

#include "support/GenericConst.h"

namespace {

constexpr std::size_t kGrowBy = 4096;

}  // namespace

unsigned char* AnswerBuffer::Room() {
    if (uiUsed_ + kReadSize > kMaxSize) return nullptr;
    if (uiCapacity_ < uiUsed_ + kReadSize) {
        // Half as much again once the answer is long, so that a long one is not copied for every 4096 bytes.
        const std::size_t capacity = uiCapacity_ + std::max(kGrowBy, uiCapacity_ / 2);
        void* const grown = std::realloc(pData_.get(), capacity);
        if (grown == nullptr) return nullptr;
        static_cast<void>(pData_.release());
        pData_.reset(static_cast<unsigned char*>(grown));
        uiCapacity_ = capacity;
    }
    return pData_.get() + uiUsed_;
}

bool AnswerBuffer::Add(std::size_t bytes) {
    const std::size_t before = uiUsed_;
    uiUsed_ += std::min(bytes, kReadSize);
    if (awaited_ == Awaited::DataBytesBegin) {
        // An ETX of an earlier read would have ended the answer.
        if (!PassOver(GenericConst::kDataBytesBegin)) return HasEtxFrom(before);
        awaited_ = Awaited::DataBytesEnd;
    }
    if (awaited_ == Awaited::DataBytesEnd) {
        if (!PassOver(GenericConst::kDataBytesEnd)) return false;
        awaited_ = Awaited::Etx;
    }
    const bool complete = HasEtxFrom(uiScanFrom_);
    uiScanFrom_ = uiUsed_;
    return complete;
}

// Looks for the pattern from uiScanFrom_ on and moves that behind it. When it is not there, moves it to where
// the pattern may begin once more bytes have come.
template <class Pattern>
bool AnswerBuffer::PassOver(const Pattern& pattern) {
    const unsigned char* const from = pData_.get() + uiScanFrom_;
    const unsigned char* const end = pData_.get() + uiUsed_;
    const unsigned char* const found = std::search(from, end, pattern.begin(), pattern.end());
    if (found != end) {
        uiScanFrom_ = static_cast<std::size_t>(found - pData_.get()) + pattern.size();
        return true;
    }
    if (uiUsed_ >= uiScanFrom_ + pattern.size()) uiScanFrom_ = uiUsed_ - (pattern.size() - 1);
    return false;
}

bool AnswerBuffer::HasEtxFrom(std::size_t position) const {
    return std::memchr(pData_.get() + position, GenericConst::kEtx, uiUsed_ - position) != nullptr;
}

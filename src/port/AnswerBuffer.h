#pragma once

#include <cstddef>

#include "support/Owned.h"

/// Collects one protocol answer read by read and tells when it is complete: at the first ETX, or, once
/// "<DATABYTES>" has come, at the first ETX behind the "</DATABYTES>" that follows it. Every byte is looked
/// at a fixed number of times, however many reads bring it.
class AnswerBuffer {
 public:
    /// Free bytes at `Room()`: more than a read may ask, as much as any read may bring.
    static constexpr std::size_t kReadSize = 1024;
    /// No printer's answer comes near this: a peer that sends more is not answering.
    static constexpr std::size_t kMaxSize = std::size_t{16} * 1024 * 1024;

    /// Where the next read puts up to kReadSize bytes. Null when the answer has outgrown kMaxSize or memory
    /// is out.
    unsigned char* Room();

    /// Takes over the `bytes` that a read put at `Room()`. True when the answer is complete.
    bool Add(std::size_t bytes);

    std::size_t Size() const { return used_; }

    /// Hands the answer over, to be released with `free`.
    unsigned char* Release() { return data_.release(); }

 private:
    enum class Awaited { DataBytesBegin, DataBytesEnd, Etx };

    template <class Pattern>
    bool PassOver(const Pattern& pattern);
    bool HasEtxFrom(std::size_t position) const;

    OwnedBytes data_;
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;
    Awaited awaited_ = Awaited::DataBytesBegin;
    std::size_t scanFrom_ = 0;  ///< where what is awaited may begin at the earliest
};

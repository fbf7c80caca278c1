#pragma once

#include <cstddef>
#include <string>

#include "simulator/DeviceModel.h"

namespace simulator {

/// Receives one module: a module file's image with its body descrambled and the key byte cleared. Its length
/// is that of its header's FILE_SIZE and 12 bytes more.
///
/// The two checksums in the image were made over the scrambled body with the key in its place. An image whose
/// key was cleared no longer says which key that was, so the receiver looks for a key under which both sums
/// hold; a body longer than a mebibyte is taken without that.
class ModuleReceiver {
 public:
    void Start();

    /// Takes what belongs to the module; fewer than `size` bytes once it is whole or cannot be one.
    std::size_t Take(const unsigned char* data, std::size_t size);

    /// The image is whole, or it showed that it is none (`Complaint` then tells).
    bool Done() const { return Broken() || (whole_ != 0 && image_.size() == whole_); }
    bool Broken() const { return !broken_.empty(); }

    std::size_t Taken() const { return image_.size(); }
    /// The whole length; 0 until the header is in.
    std::size_t Whole() const { return whole_; }

    /// What is wrong with a module that is done; empty when all is well.
    std::string Complaint() const;

    const Bytes& Image() const { return image_; }
    /// The text of a header key (with its colon); empty without it.
    std::string Header(const std::string& key) const;

 private:
    std::size_t NextStop() const;
    void CheckHeader();
    bool SumsHoldUnderSomeKey() const;

    Bytes image_;
    std::size_t whole_ = 0;
    std::string broken_;
};

}  // namespace simulator

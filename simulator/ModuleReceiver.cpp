#include "simulator/ModuleReceiver.h"

#include <algorithm>
#include <cstdlib>

#include "simulator/ModuleImage.h"

namespace simulator {

namespace {

constexpr std::size_t kLongest = 64U << 20U;
constexpr std::size_t kMostSearched = 1U << 20U;

}  // namespace

void ModuleReceiver::Start() {
    image_.clear();
    broken_.clear();
    whole_ = 0;
}

std::size_t ModuleReceiver::Take(const unsigned char* data, std::size_t size) {
    std::size_t taken = 0;
    while (taken < size && !Done()) {
        const std::size_t stop = NextStop();
        const std::size_t count = std::min(size - taken, stop - image_.size());
        image_.insert(image_.end(), data + taken, data + taken + count);
        taken += count;
        if (image_.size() == stop) CheckHeader();
    }
    return taken;
}

std::size_t ModuleReceiver::NextStop() const {
    if (whole_ != 0) return whole_;
    return image_.size() <= ModuleImage::kMark ? ModuleImage::kMark + 1 : ModuleImage::kHeader;
}

void ModuleReceiver::CheckHeader() {
    if (whole_ != 0) return;
    const unsigned char mark = image_[ModuleImage::kMark];
    if (mark != 'B' && mark != 'L') {
        broken_ = "bytes that are neither a request nor a module";
        return;
    }
    if (image_.size() < ModuleImage::kHeader) return;
    const unsigned long fileSize = std::strtoul(Header("FILE_SIZE:").c_str(), nullptr, 10);
    if (fileSize < ModuleImage::kOutsideBody || fileSize > kLongest) {
        broken_ = "module without a usable FILE_SIZE";
    } else {
        whole_ = fileSize + ModuleImage::kOutsideFileSize;
        image_.reserve(whole_);
    }
}

std::string ModuleReceiver::Header(const std::string& key) const {
    return ModuleImage::Header(image_, key);
}

std::string ModuleReceiver::Complaint() const {
    if (Broken()) return broken_;
    if (Header("MOD_ID:").size() != 1) return "module without a kind";
    return ModuleImage::SumsHold(image_) || SumsHoldUnderSomeKey() ? std::string{}
                                                                   : "module sums do not hold";
}

bool ModuleReceiver::SumsHoldUnderSomeKey() const {
    const std::string mode = Header("ENMODE:");
    if (image_[ModuleImage::kKeyByte] != 0 || (mode != "0" && mode != "1")) return false;
    if (ModuleImage::BodySize(image_) > kMostSearched) return true;
    for (unsigned key = 1; key <= 0xFF; ++key) {
        Bytes scrambled = image_;
        ModuleImage::Scramble(scrambled, mode == "1" ? 1 : 0, static_cast<unsigned char>(key));
        if (ModuleImage::SumsHold(scrambled)) return true;
    }
    return false;
}

}  // namespace simulator

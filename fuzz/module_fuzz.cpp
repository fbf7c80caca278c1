// Any bytes as a module file. Their checksums are put right first, or hardly any would get past them.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz/MemoryFile.h"
#include "package/ModuleData.h"

namespace {

void CorrectChecksums(std::vector<unsigned char>& bytes) {
    if (bytes.size() < 12) return;
    const ModuleChecksums sums = ModuleChecksums::Of({bytes.data() + 6, bytes.size() - 12});
    unsigned char* const stored = bytes.data() + bytes.size() - 4;
    stored[0] = static_cast<unsigned char>(sums.sum >> 8);
    stored[1] = static_cast<unsigned char>(sums.sum & 0xFF);
    stored[2] = static_cast<unsigned char>(sums.mixed >> 8);
    stored[3] = static_cast<unsigned char>(sums.mixed & 0xFF);
}

// A header line at its start and a header's worth of blanks behind: short inputs reach the fields, too.
std::vector<unsigned char> Extended(const std::uint8_t* data, std::size_t size) {
    std::vector<unsigned char> bytes(data, data + size);
    if (size < 4120) bytes.resize(4120 + size % 64, ' ');
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::vector<unsigned char> bytes = Extended(data, size);
    CorrectChecksums(bytes);
    ModuleData memory;
    ModuleData file;
    const bool loaded = memory.LoadModuleFromMemory(bytes.data(), static_cast<int>(bytes.size()));
    const MemoryFile onDisk(bytes.data(), bytes.size());
    if (file.LoadModuleFromFile(onDisk.Name().c_str()) != loaded) std::abort();
    if (!loaded) return 0;
    std::array<char, 512> text{};
    memory.GetFileInfo(text.data(), text.size());
    if (memory.GetModuleID() == 0 || memory.pModuleBuffer == nullptr) std::abort();
    return 0;
}

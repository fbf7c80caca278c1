// Any bytes as a package file: loading, looking up, describing.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "fuzz/MemoryFile.h"
#include "package/PSWFile.h"

namespace {

// Every byte that a header claims to hold is really there.
void TouchAll(PSWFile& package) {
    std::uint64_t sum = 0;
    if (const PSWHeaderBin* bin = package.GetHeaderBin()) {
        for (std::uint64_t i = 0; i < bin->Payload().size; ++i) sum += bin->pData[i];
    }
    const std::unique_ptr<std::vector<PSWHeader*>> modules(package.GetHeaders(HTYPE_MODULE));
    for (PSWHeader* header : *modules) {
        const auto& module = dynamic_cast<const PSWHeaderModule&>(*header);
        if (module.uiDataSize != module.uiModuleSize) std::abort();
        for (std::uint64_t i = 0; i < module.uiDataSize; ++i) sum += module.pData[i];
    }
    if (sum == UINT64_MAX) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryFile file(data, size);
    PSWFile package;
    if (!package.LoadPSWFromFile(file.Name().c_str(), false)) return 0;
    TouchAll(package);
    std::array<char, 512> text{};
    package.GetFileInfo(text.data(), text.size());
    return 0;
}
